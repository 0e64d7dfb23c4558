#pragma once

#include <memory>
#include <string>

#include "kova/core/Factory.h"
#include "kova/core/dovglobals/Date.h"
#include "kova/core/dovglobals/DateTime.h"
#include "kova/core/dovglobals/Duration.h"
#include "kova/core/dovglobals/Formats.h"
#include "kova/core/dovglobals/GeoPosition.h"
#include "kova/core/dovglobals/Language.h"
#include "kova/core/dovglobals/RGBA.h"
#include "kova/core/dovglobals/Time.h"
#include "kova/core/dovglobals/Units.h"
#include "support/Buffers.h"
#include "util/ByteBufferReader.h"
#include "util/ByteBufferWriter.h"
#include "util/serializer/IStructuredPullDeserializer.h"
#include "util/serializer/IStructuredSerializer.h"

namespace kova::test {

// Include the headers of the types before this header: the templates below find only functions of
// kova::serializer that are already declared.

/// Returns the bytes of a payload that contains only `value`; empty when writing fails.
template <typename T>
std::string written(mimetypes::MimeTypeID mimeType, const T& value) {
    const std::unique_ptr<util::serializer::IStructuredSerializer> serializer(
        serializer::Factory::createSerializer(mimeType));
    util::ByteBufferWriter writer(64);
    unsigned long size = 0;
    const bool failed = serializer->beginSerialize(&writer, nullptr) ||
                        serializer::serialize(*serializer, value) || serializer->endSerialize(size);
    return failed ? std::string() : bytesOf(writer);
}

/// Reads a value from a payload that contains nothing else. Returns false on success, like
/// `deserialize`.
template <typename T>
bool readPayload(mimetypes::MimeTypeID mimeType, const std::string& bytes, T& value) {
    const std::unique_ptr<util::serializer::IStructuredPullDeserializer> deserializer(
        serializer::Factory::createDeserializer(mimeType));
    util::ByteBufferReader reader(reinterpret_cast<unsigned char const*>(bytes.data()),
                                  bytes.size(), false);
    return deserializer->beginDeserialize(&reader, nullptr) ||
           serializer::deserialize(*deserializer, value) || deserializer->endDeserialize();
}

/// Reads a value from a node of a value tree. Returns false on success, like `deserialize`.
template <typename T>
bool readTree(const util::config::Value& node, T& value) {
    const std::unique_ptr<util::serializer::IStructuredPullDeserializer> deserializer(
        serializer::Factory::createGenericDataDeserializer(node));
    return deserializer->beginDeserialize(nullptr, nullptr) ||
           serializer::deserialize(*deserializer, value);
}

/// Returns the binary payload of a text of less than 256 bytes: the head of a text string, then the
/// bytes.
inline std::string binaryText(const std::string& text) {
    const char length = static_cast<char>(text.size());
    return (text.size() < 24 ? std::string(1, static_cast<char>(0x60 + length))
                             : std::string("\x78") + length) +
           text;
}

}  // namespace kova::test
