#include <algorithm>
#include <utility>

#include "api/RecordedError.h"
#include "api/Report.h"
#include "kova/core/Commands.h"
#include "kova/core/Factory.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/StaticComposedKovaServiceImpl.h"
#include "kova/core/StatusCodes.h"
#include "kova/core/TypeSerializers.h"
#include "servicecomposition/ServiceChannel.h"
#include "util/ByteBufferWriter.h"

namespace kova {

namespace {

constexpr unsigned long INITIAL_CAPACITY = 1024;

// Writes one element of an array. Returns true on success.
bool serializeName(util::serializer::IStructuredSerializer& serializer, const std::string& name) {
    return !serializer.beginElement() && !serializer::serialize(serializer, name) &&
           !serializer.endElement();
}

// Writes the names as one array. Returns true on success.
bool serializeNames(util::serializer::IStructuredSerializer& serializer,
                    const std::vector<std::string>& names) {
    return !serializer.beginArray() &&
           std::all_of(names.begin(), names.end(),
                       [&](const std::string& name) { return serializeName(serializer, name); }) &&
           !serializer.endArray();
}

// Writes a whole payload that contains the names. Returns true on success. Reports an error if the
// mime type has no serializer.
bool serializeNames(const std::string& mimeType, const std::vector<std::string>& names,
                    util::ByteBufferWriter& writer) {
    const std::unique_ptr<util::serializer::IStructuredSerializer> serializer(
        serializer::Factory::createSerializer(mimetypes::typename2id(mimeType)));
    if (!serializer) {
        detail::report({"src/core/servicecomposition/RootHandler", __LINE__},
                       errors::UndefinedMimeType, mimeType);
        return false;
    }
    unsigned long written = 0;
    return !serializer->beginSerialize(&writer, nullptr) && serializeNames(*serializer, names) &&
           !serializer->endSerialize(written);
}

}  // namespace

StaticComposedKovaServiceImpl::RootHandler::RootHandler(
    std::function<std::string(const Request&)>&& mimeTypeFunc, std::vector<std::string>&& names)
    : names_(std::move(names)), mimeTypeFunc_(std::move(mimeTypeFunc)) {}

void* StaticComposedKovaServiceImpl::RootHandler::actionRequest(
    const Request& request, std::unique_ptr<IResponseHandler<Response>>&& handler,
    const std::string& /*resourcePath*/) noexcept {
    if (request.getCommand() == commands::RETRIEVE) {
        const std::string mimeType = mimeTypeFunc_(request);
        detail::serviceChannel.trace(1, "[RootHandler::actionRequest] mime_type: %s",
                                     mimeType.c_str());
        sendUpdate(handler, mimeType);
    } else {
        detail::serviceChannel.trace(
            3, "[RootHandler::actionRequest] wrong request: command %s illegal",
            request.getCommand().c_str());
        handler->onError(
            Response::createErrorResponse(statuscodes::BAD_REQUEST, "Service Root read-only"));
    }
    return IKovaApi::UNDEFINED_REQUEST_HANDLE;
}

void StaticComposedKovaServiceImpl::RootHandler::cancelRequest(void* /*handle*/) noexcept {
    // There is nothing to cancel, because no request stays pending.
}

bool StaticComposedKovaServiceImpl::RootHandler::sendUpdate(
    std::unique_ptr<IResponseHandler<Response>>& handler, const std::string& mimeType) {
    util::ByteBufferWriter writer(INITIAL_CAPACITY);
    detail::RecordedError error;
    if (!serializeNames(mimeType, names_, writer)) {
        if (detail::serviceChannel.isEnabled(4)) {
            detail::serviceChannel.trace(
                4, "[RootHandler::sendUpdate] can't serialize the body, reason='%s'",
                error.reason());
        }
        error.acknowledge();
        handler->onError(Response::createErrorResponse(statuscodes::INTERNAL_SERVER_ERROR,
                                                       "Unable to serialize resource list"));
        return true;
    }
    const Response response(statuscodes::OK, writer.size() > 0
                                                 ? Payload::createFromWriter(writer, mimeType)
                                                 : Payload());
    if (detail::serviceChannel.isEnabled(1)) {
        detail::serviceChannel.trace(1, "[RootHandler] sendUpdate: %s",
                                     response.toString().c_str());
    }
    handler->onNext(response);
    handler->onCompleted();
    return false;
}

}  // namespace kova
