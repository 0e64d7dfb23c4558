#include "kova/core/RootAccessor.h"

#include <optional>
#include <utility>

#include "api/RecordedError.h"
#include "api/Report.h"
#include "kova/core/Commands.h"
#include "kova/core/Factory.h"
#include "kova/core/GenericObject.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/TypeSerializers.h"
#include "kova/core/headers.h"
#include "kova/core/response_handlers.h"
#include "kova/core/tracing.h"
#include "tracing/Channel.h"
#include "util/ByteBufferReader.h"

namespace kova {

namespace {

using Names = std::vector<std::string>;
using Receiver = std::shared_ptr<IResponseHandler<Names>>;

constexpr char const* FILE_NAME = "src/core/servicecomposition/RootAccessor";
// The source positions in reports are fixed by the interface.
constexpr detail::SourcePosition UNDEFINED_MIME_TYPE{FILE_NAME, 59};
constexpr detail::SourcePosition UNREADABLE_BODY{FILE_NAME, 74};

const ::tracing::Channel channel("KOVA_CLIENT_ROOTACCESSOR", ::tracing::Channel::SILENT,
                                 ::tracing::Channel::SHARED);

// Reads one array of strings. Returns true on success.
bool readNames(util::serializer::IStructuredPullDeserializer& deserializer, Names& names) {
    if (deserializer.beginArray()) {
        return false;
    }
    while (!deserializer.isArrayEnd()) {
        names.emplace_back();
        if (deserializer.beginElement() || serializer::deserialize(deserializer, names.back()) ||
            deserializer.endElement()) {
            return false;
        }
    }
    return !deserializer.endArray();
}

// Returns the list of names in the payload. On failure, reports an error and returns nothing.
std::optional<Names> namesIn(const Payload& payload) {
    const std::string& mimeType = payload.getMimeType();
    const std::unique_ptr<util::serializer::IStructuredPullDeserializer> deserializer(
        serializer::Factory::createDeserializer(mimetypes::typename2id(mimeType)));
    if (!deserializer) {
        channel.trace(4, "[trackResources] onNext: undefined mimeType '%s'", mimeType.c_str());
        detail::report(UNDEFINED_MIME_TYPE, errors::UndefinedMimeType, mimeType);
        return std::nullopt;
    }
    util::ByteBufferReader reader(payload.data(), payload.size(), false);
    Names names;
    detail::RecordedError error;
    if (deserializer->beginDeserialize(&reader, nullptr) || !readNames(*deserializer, names)) {
        if (channel.isEnabled(4)) {
            channel.trace(4, "[trackResources] can't create response data, reason=%s",
                          error.reason());
        }
        error.acknowledge();
        detail::report(UNREADABLE_BODY, errors::DeserializationError, "std::vector<std::string>");
        return std::nullopt;
    }
    deserializer->endDeserialize();
    return names;
}

bool deliver(const Response& response, IResponseHandler<Names>& receiver) noexcept {
    if (channel.isEnabled(1)) {
        channel.trace(1, "[trackResources] onNext: %s", response.toString().c_str());
    } else {
        channel.trace(2, "[trackResources] onNext: sc=%d", int{response.getStatusCode()});
    }
    const std::optional<Names> names = namesIn(response.getPayload());
    return !names || receiver.onNext(*names);
}

// Each lambda copies the receiver to keep it alive, because aborting the tracking inside the call
// destroys the lambda.
// NOLINTBEGIN(performance-unnecessary-copy-initialization)
std::unique_ptr<IResponseHandler<Response>> wrap(const Receiver& receiver) {
    return std::make_unique<responsehandlers::FuncResponseHandler<Response>>(
        [receiver](const Response& response) {
            const Receiver held = receiver;
            return deliver(response, *held);
        },
        [receiver](const Response& error) {
            channel.trace(2, "[trackResources] onError");
            const Receiver held = receiver;
            held->onError(error);
        },
        [receiver] {
            channel.trace(2, "[trackResources] onCompleted");
            const Receiver held = receiver;
            held->onCompleted();
        });
}
// NOLINTEND(performance-unnecessary-copy-initialization)

}  // namespace

RootAccessor::RootAccessor(IKovaApi* service, const std::string& mimeType,
                           const std::string& tracingInfo)
    : service_(service), mimeType_(mimeType), tracingInfo_(tracingInfo) {}

RootAccessor& RootAccessor::operator=(RootAccessor&& other) noexcept {
    if (this != &other) {
        service_ = other.service_;
        mimeType_ = std::move(other.mimeType_);
        tracingInfo_ = std::move(other.tracingInfo_);
    }
    return *this;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): signature fixed by the interface
void* RootAccessor::trackResources(Receiver handler) noexcept {
    std::shared_ptr<util::config::Dictionary> header = std::make_shared<GenericObject>();
    Request request(commands::RETRIEVE, "/", header);
    request.setMimeType(mimetypes::typename2id(mimeType_));
    headers::appendTracingInfo(request, tracingInfo_, tracing::getTraceClientId());
    void* const handle = service_->actionRequest(request, wrap(handler));
    channel.trace(2, "[trackResources] handle=%p", handle);
    if (channel.isEnabled(1)) {
        channel.trace(1, "[trackResources] '%s'", request.toString().c_str());
    }
    return handle;
}

void RootAccessor::abortTracking(void* handle) noexcept {
    channel.trace(2, "[cancelRequest] handle=%p", handle);
    service_->cancelRequest(handle);
}

}  // namespace kova
