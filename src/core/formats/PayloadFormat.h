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

/// What the framework knows about the payloads of one mime type.
///
/// The formats are one constant table, which any thread may use. A new format is a row in
/// PayloadFormat.cpp, its codec, and their tests.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): in the order of the columns
struct PayloadFormat {
    /// The number of the mime type.
    mimetypes::MimeTypeID id;
    /// The mime type.
    char const* name;
    /// Whether the interface translates between number and name.
    bool isTranslated;
    /// Whether the bytes are text. A format that neither is text nor has a `replay` is opaque.
    bool isText;
    /// Replays a structured payload into a serializer. Returns true on success. Null for a format
    /// whose payloads are not converted to JSON.
    bool (*replay)(util::ByteBufferReader& reader, util::serializer::IStructuredSerializer& target);
    /// Returns a new writer of such payloads, or null without memory. Null for a format that has no
    /// writer.
    util::serializer::IStructuredSerializer* (*createSerializer)();
    /// Returns a new reader of such payloads, or null without memory. Null for a format that has no
    /// reader.
    util::serializer::IStructuredPullDeserializer* (*createDeserializer)();

    /// Returns the format with this number or name, or null.
    static PayloadFormat const* find(mimetypes::MimeTypeID id) noexcept;
    static PayloadFormat const* find(std::string_view name) noexcept;
};

}  // namespace kova::detail
