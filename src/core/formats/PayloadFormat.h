#pragma once

#include <string_view>

#include "kova/core/MimeTypes.h"

namespace util {
class ByteBufferReader;
}
namespace util::serializer {
class IStructuredPullDeserializer;
class IStructuredSerializer;
}  // namespace util::serializer

namespace kova::detail {

/// The properties of the payloads of one mime type.
///
/// The formats are one constant table, which any thread may use. A new format needs a row in
/// PayloadFormat.cpp, a codec, and tests.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): in the order of the columns
struct PayloadFormat {
    /// The number of the mime type.
    mimetypes::MimeTypeID id;
    /// The mime type.
    char const* name;
    /// True if the public functions convert `id` to `name` and `name` to `id`.
    bool isTranslated;
    /// True if the payloads are text. A format is called opaque if it is not text and has no
    /// `replay`.
    bool isText;
    /// Replays a structured payload into a serializer; returns true on success. The pointer is null
    /// if payloads of the format are not converted to JSON.
    bool (*replay)(util::ByteBufferReader& reader, util::serializer::IStructuredSerializer& target);
    /// Creates a serializer; returns null if memory is exhausted. The pointer itself is null if the
    /// format has no serializer.
    util::serializer::IStructuredSerializer* (*createSerializer)();
    /// Creates a deserializer; returns null if memory is exhausted. The pointer itself is null if
    /// the format has no deserializer.
    util::serializer::IStructuredPullDeserializer* (*createDeserializer)();

    /// Returns the format with this number or name, or null.
    static PayloadFormat const* find(mimetypes::MimeTypeID id) noexcept;
    static PayloadFormat const* find(std::string_view name) noexcept;
};

}  // namespace kova::detail
