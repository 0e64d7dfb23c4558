#include "Replies.h"

#include <memory>

#include "kova/core/Factory.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/StatusCodes.h"
#include "kova/core/TypeSerializers.h"
#include "util/ByteBufferWriter.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"

namespace device {

namespace {

namespace statuscodes = kova::statuscodes;
using util::serializer::IStructuredSerializer;

// Writes any kind of node; true on failure, as all serializer operations.
bool serialize(IStructuredSerializer& serializer, const util::config::Value& value) {
    if (value.isDictionary()) {
        return kova::serializer::serialize(serializer,
                                           static_cast<const util::config::Dictionary&>(value));
    }
    if (value.isArray()) {
        return kova::serializer::serialize(serializer,
                                           static_cast<const util::config::Array&>(value));
    }
    return kova::serializer::serialize(serializer, value);
}

}  // namespace

std::string acceptedType(const kova::Request& request) {
    std::string type;
    const bool none = request.getMimeTypeHeader().get(type);
    return none ? kova::mimetypes::JSON_TYPE : type;
}

kova::Response makeResponse(const kova::Request& request, unsigned short code,
                            const util::config::Value& value) {
    const std::string type = acceptedType(request);
    const std::unique_ptr<IStructuredSerializer> serializer(
        kova::serializer::Factory::createSerializer(kova::mimetypes::typename2id(type)));
    if (!serializer) {
        return kova::Response::createErrorResponse(
            statuscodes::BAD_REQUEST, ("there is no answer in the type '" + type + "'").c_str());
    }
    util::ByteBufferWriter writer(1024);
    unsigned long written = 0;
    if (serializer->beginSerialize(&writer, nullptr) || serialize(*serializer, value) ||
        serializer->endSerialize(written)) {
        return kova::Response::createErrorResponse(
            statuscodes::INTERNAL_SERVER_ERROR,
            ("the value has no form in the type '" + type + "'").c_str());
    }
    return {code, kova::Payload::createFromWriter(writer, type)};
}

void answer(kova::IResponseHandler<kova::Response>& handler, const kova::Response& response) {
    if (response.isErrorResponse()) {
        handler.onError(response);
    } else {
        handler.onNext(response);
        handler.onCompleted();
    }
}

void refuseCommand(kova::IResponseHandler<kova::Response>& handler, const kova::Request& request) {
    handler.onError(kova::Response::createErrorResponse(
        statuscodes::BAD_REQUEST, ("command '" + request.getCommand() +
                                   "' not supported for path '" + request.getPath() + "'")
                                      .c_str()));
}

}  // namespace device
