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

/// Makes the objects that write and read structured payloads.
///
/// It keeps nothing; any thread may call it. What it returns belongs to the caller, who deletes it
/// (keep it in a `std::unique_ptr`) and uses it in one thread at a time.
///
///     std::unique_ptr<util::serializer::IStructuredSerializer> serializer(
///         kova::serializer::Factory::createSerializer(kova::mimetypes::JSON));
///     util::ByteBufferWriter writer(256);
///     unsigned long size = 0;
///     bool failed = serializer == nullptr || serializer->beginSerialize(&writer, nullptr) ||
///                   kova::serializer::serialize(*serializer, 640) ||
///                   serializer->endSerialize(size);
///
/// All three give null when the memory for the object is exhausted, and let `std::bad_alloc`
/// through when it is for a part of it.
class KOVA_API Factory {
public:
    Factory() = delete;

    /// What writes payloads of a mime type: compact JSON text or the big-endian binary structured
    /// format. Null for every other mime type; plain text, octet streams and msgpack have none.
    [[nodiscard]] static util::serializer::IStructuredSerializer* createSerializer(
        mimetypes::MimeTypeID mimeType);

    /// What reads payloads of a mime type; null for the same types as above.
    [[nodiscard]] static util::serializer::IStructuredPullDeserializer* createDeserializer(
        mimetypes::MimeTypeID mimeType);

    /// What reads a value tree in memory as if it were a payload (`GenericDataPullDeserializer`).
    /// The tree is borrowed: it stays alive and unchanged as long as the result is used.
    [[nodiscard]] static util::serializer::IStructuredPullDeserializer*
    createGenericDataDeserializer(const util::config::Value& root);
};

}  // namespace kova::serializer
