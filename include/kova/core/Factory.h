#pragma once

#include <memory>

#include "kova/core/Export.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/TypeSerializers.h"
#include "util/ByteBufferWriter.h"
#include "util/serializer/IStructuredPullDeserializer.h"
#include "util/serializer/IStructuredSerializer.h"

namespace util::config {
class Value;
}

namespace kova::serializer {

/// Creates the objects that write and read structured payloads.
///
/// The class has no state; any thread may call its functions. The caller owns the returned object,
/// keeps it in a `std::unique_ptr` and uses it in one thread at a time.
///
///     std::unique_ptr<util::serializer::IStructuredSerializer> serializer(
///         kova::serializer::Factory::createSerializer(kova::mimetypes::JSON));
///     util::ByteBufferWriter writer(256);
///     unsigned long size = 0;
///     bool failed = serializer == nullptr || serializer->beginSerialize(&writer, nullptr) ||
///                   kova::serializer::serialize(*serializer, 640) ||
///                   serializer->endSerialize(size);
///
/// All functions return null if memory for the object is exhausted. They throw `std::bad_alloc` if
/// memory for a part of the object is exhausted.
class KOVA_API Factory {
public:
    Factory() = delete;

    /// Returns a serializer for the mime type: one for compact JSON text or one for the big-endian
    /// binary format. Returns null for every other type: plain text, octet streams and msgpack have
    /// no serializer.
    [[nodiscard]] static util::serializer::IStructuredSerializer* createSerializer(
        mimetypes::MimeTypeID mimeType);

    /// Returns a deserializer for the mime type, or null for the types that have no serializer.
    [[nodiscard]] static util::serializer::IStructuredPullDeserializer* createDeserializer(
        mimetypes::MimeTypeID mimeType);

    /// Returns a deserializer that reads a value tree in memory (`GenericDataPullDeserializer`).
    /// The tree is borrowed: it must stay alive and unchanged as long as the result is used.
    [[nodiscard]] static util::serializer::IStructuredPullDeserializer*
    createGenericDataDeserializer(const util::config::Value& root);
};

}  // namespace kova::serializer
