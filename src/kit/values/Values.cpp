#include "kova/kit/Values.h"

#include <memory>

#include "PullReader.h"
#include "PushWriter.h"
#include "kova/core/Factory.h"
#include "util/ByteBufferReader.h"
#include "util/ByteBufferWriter.h"

namespace kova::kit::detail {

namespace {

using kova::serializer::Factory;

/// The capacity that is reserved for a payload.
constexpr unsigned long FIRST_CAPACITY = 256;

Error unknownFormat(unsigned short code, const std::string& mimeType) {
    return {code, "expected a payload of JSON or binary structured data, found " +
                      State::quoted(mimeType)};
}

}  // namespace

std::optional<Error> readPayload(const Payload& payload, const Limits& limits,
                                 bool (*read)(Reader&, void*), void* out) {
    const std::unique_ptr<util::serializer::IStructuredPullDeserializer> in(
        Factory::createDeserializer(mimetypes::typename2id(payload.getMimeType())));
    if (in == nullptr) {
        return unknownFormat(statuscodes::BAD_REQUEST, payload.getMimeType());
    }
    util::ByteBufferReader bytes(payload.data(), payload.size(), false);
    PullReader reader(*in, limits);
    if (reader.begin(bytes) && read(reader, out) && reader.end()) {
        return std::nullopt;
    }
    return reader.error(statuscodes::BAD_REQUEST);
}

Result<Payload> writePayload(const std::string& mimeType, const Limits& limits,
                             bool (*write)(Writer&, const void*), const void* value) {
    const std::unique_ptr<util::serializer::IStructuredSerializer> out(
        Factory::createSerializer(mimetypes::typename2id(mimeType)));
    if (out == nullptr) {
        return unknownFormat(statuscodes::INTERNAL_SERVER_ERROR, mimeType);
    }
    util::ByteBufferWriter bytes(FIRST_CAPACITY);
    PushWriter writer(*out, limits);
    if (writer.begin(bytes) && write(writer, value) && writer.end()) {
        return Payload::createFromWriter(bytes, mimeType);
    }
    return writer.error(statuscodes::INTERNAL_SERVER_ERROR);
}

}  // namespace kova::kit::detail
