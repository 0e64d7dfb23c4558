#include "Replies.h"

#include <memory>

#include "kova/core/Factory.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/StatusCodes.h"
#include "kova/core/TypeSerializers.h"
#include "kova/core/headers.h"
#include "util/ByteBufferWriter.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"

namespace device {

namespace {

namespace statuscodes = kova::statuscodes;
using util::serializer::IStructuredSerializer;

// Writes a node of any type. Returns true on failure, like all serializer operations.
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

bool wantsStream(const kova::Request& request) {
    std::string semantic;
    const bool none = request.getHeaderValue(kova::headers::RESPONSE_SEMANTIC).get(semantic);
    return !none && semantic == kova::headers::PERSISTENT_STREAM;
}

kova::Response makeResponse(const kova::Request& request, unsigned short code,
                            const Writer& write) {
    const std::string type = acceptedType(request);
    const std::unique_ptr<IStructuredSerializer> serializer(
        kova::serializer::Factory::createSerializer(kova::mimetypes::typename2id(type)));
    if (!serializer) {
        return fail(request, statuscodes::BAD_REQUEST,
                    "there is no answer in the type '" + type + "'");
    }
    util::ByteBufferWriter writer(1024);
    unsigned long written = 0;
    if (serializer->beginSerialize(&writer, nullptr) || write(*serializer) ||
        serializer->endSerialize(written)) {
        return fail(request, statuscodes::INTERNAL_SERVER_ERROR,
                    "the value has no form in the type '" + type + "'");
    }
    return {code, kova::Payload::createFromWriter(writer, type)};
}

kova::Response makeResponse(const kova::Request& request, unsigned short code,
                            const util::config::Value& value) {
    return makeResponse(request, code, [&value](IStructuredSerializer& serializer) {
        return serialize(serializer, value);
    });
}

kova::Response fail(unsigned short code, const std::string& reason) {
    return kova::Response::createErrorResponse(code, reason.c_str());
}

kova::Response fail(const kova::Request& request, unsigned short code, const std::string& reason) {
    return fail(code, "path '" + request.getPath() + "': " + reason);
}

kova::Response notFound(const kova::Request& request) {
    return fail(statuscodes::NOT_FOUND, "path '" + request.getPath() + "' not found");
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
    handler.onError(fail(statuscodes::BAD_REQUEST, "command '" + request.getCommand() +
                                                       "' not supported for path '" +
                                                       request.getPath() + "'"));
}

}  // namespace device
