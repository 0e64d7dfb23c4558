#include "inspection/Monitor.h"

#include <chrono>
#include <string>
#include <utility>

#include "inspection/Printable.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/Path.h"
#include "kova/core/StatusCodes.h"
#include "kova/core/headers.h"
#include "kova/kit/Ask.h"
#include "kova/kit/Result.h"
#include "middleware/RequestHeader.h"

namespace kova::kit::detail {

namespace {

using std::chrono::duration_cast;
using std::chrono::microseconds;
using SteadyClock = std::chrono::steady_clock;

constexpr std::string_view EVENTS = "events";
// The memory of an item without its texts and payloads.
constexpr std::size_t ITEM_SIZE = 256;

std::int64_t now() {
    return duration_cast<microseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

// Returns whether the request is for the monitor. The root of a service ignores empty parts of a
// path, so "//.kova/monitor" is a path of the monitor, too.
bool isOwn(const std::string& path) {
    if (path.find(".kova") == std::string::npos) {
        return false;
    }
    const std::string text = Path(path).toString();
    const std::string_view mount = Monitor::MOUNT;
    return text.compare(0, mount.size(), mount) == 0 &&
           (text.size() == mount.size() || text[mount.size()] == '/');
}

std::string textOf(const Payload& payload) {
    return {reinterpret_cast<char const*>(payload.data()),
            static_cast<std::size_t>(payload.size())};
}

// Returns the header as JSON, without the token of the client.
std::string headerOf(const util::config::Value& header) {
    if (!header.isDictionary()) {
        return {};
    }
    const auto& entries = static_cast<const util::config::Dictionary&>(header);
    if (entries[headers::AUTH_TOKEN].isUndefined()) {
        return textOf(Payload::createFromConfig(header));
    }
    const Tree copy(header.clone());
    static_cast<void>(
        static_cast<util::config::Dictionary&>(*copy).remove(headers::AUTH_TOKEN, true));
    return textOf(Payload::createFromConfig(*copy));
}

void setPayload(MonitoredEvent& event, const Payload& payload) {
    event.type = printable(payload.getMimeType());
    event.bytes = payload.size();
    if (event.bytes <= Monitor::LONGEST_PAYLOAD) {
        event.payload = textOf(payload);
    }
}

std::size_t sizeOf(const MonitoredEvent& event) {
    return ITEM_SIZE + event.path.size() + event.header.size() + event.payload.size();
}

}  // namespace

// --- One request ---------------------------------------------------------------------------------

/// The response handler of one request.
class Monitor::Observation final : public IResponseHandler<Response> {
public:
    Observation(std::shared_ptr<Monitor> monitor, const Request& request, ResponseHandler handler)
        : monitor_(std::move(monitor)),
          handler_(std::move(handler)),
          hasEvents_(monitor_->events_.isWatched()) {
        const Peer peer = peerOf(request);
        seen_.id = ++monitor_->lastId_;
        seen_.start = now();
        seen_.command = printable(request.getCommand());
        seen_.path = printable(request.getPath());
        seen_.client = printable(headerText(request, headers::CLIENT_ID));
        seen_.uid = peer.uid;
        seen_.pid = peer.pid;
        seen_.address = printable(peer.address);
        seen_.code = statuscodes::NO_CONTENT;
        seen_.requestBytes = request.getPayload().size();
        if (hasEvents_) {
            reportRequest(request);
        }
    }
    ~Observation() override { end("cancelled", nullptr); }
    Observation(const Observation&) = delete;
    Observation& operator=(const Observation&) = delete;

    bool onNext(const Response& value) override {
        ++seen_.values;
        seen_.code = value.getStatusCode();
        seen_.answerBytes += value.getPayload().size();
        if (hasEvents_) {
            report("value", &value);
        }
        return handler_->onNext(value);
    }
    void onError(const Response& error) override {
        seen_.code = error.getStatusCode();
        seen_.answerBytes += error.getPayload().size();
        end("failed", &error);
        handler_->onError(error);
    }
    void onCompleted() override {
        end("completed", nullptr);
        handler_->onCompleted();
    }

private:
    MonitoredEvent eventOf(char const* kind) const {
        MonitoredEvent event;
        event.id = seen_.id;
        event.kind = kind;
        event.time = seen_.start + duration_cast<microseconds>(SteadyClock::now() - begun_).count();
        return event;
    }
    void reportRequest(const Request& request) const {
        MonitoredEvent event = eventOf("request");
        event.command = seen_.command;
        event.path = seen_.path;
        event.uid = seen_.uid;
        event.pid = seen_.pid;
        event.address = seen_.address;
        event.header = headerOf(request.getHeader());
        setPayload(event, request.getPayload());
        send(std::move(event));
    }
    void report(char const* kind, const Response* response) const {
        if (!monitor_->events_.isWatched()) {
            return;
        }
        MonitoredEvent event = eventOf(kind);
        if (response != nullptr) {
            event.code = response->getStatusCode();
            event.header = headerOf(response->getHeader());
            setPayload(event, response->getPayload());
        }
        send(std::move(event));
    }
    void send(MonitoredEvent&& event) const {
        const std::size_t size = sizeOf(event);
        monitor_->events_.add(std::move(event), size);
    }
    void end(char const* kind, const Response* error) {
        if (std::exchange(hasEnded_, true)) {
            return;
        }
        if (hasEvents_) {
            report(kind, error);
        }
        if (monitor_->requests_.isWatched()) {
            seen_.end = kind;
            seen_.duration = duration_cast<microseconds>(SteadyClock::now() - begun_).count();
            const std::size_t size = ITEM_SIZE + seen_.path.size() + seen_.client.size();
            monitor_->requests_.add(std::move(seen_), size);
        }
    }

    const std::shared_ptr<Monitor> monitor_;
    const ResponseHandler handler_;
    const bool hasEvents_;
    bool hasEnded_ = false;
    const SteadyClock::time_point begun_ = SteadyClock::now();
    MonitoredRequest seen_;
};

Monitor::ResponseHandler Monitor::observe(const Request& request, ResponseHandler handler) {
    if (handler == nullptr || isOwn(request.getPath())) {
        return handler;
    }
    return std::make_unique<Observation>(shared_from_this(), request, std::move(handler));
}

// --- The resource --------------------------------------------------------------------------------

namespace {

/// Serves the two streams.
class MonitorHandler final : public IResourceHandler {
public:
    MonitorHandler(const Mountable& requests, const Mountable& events,
                   std::function<bool(const Peer&)> isAllowed)
        : requests_(requests.handler()),
          events_(events.handler()),
          isAllowed_(std::move(isAllowed)) {}

    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler,
                        const std::string& resourcePath) override {
        const Ask ask(request, resourcePath);
        if (!isAllowed_(ask.peer())) {
            return refuse(
                *handler, statuscodes::FORBIDDEN,
                ask.command() + " '" + request.getPath() + "' is not allowed to this peer");
        }
        if (ask.path() != EVENTS) {
            return requests_->actionRequest(request, std::move(handler), resourcePath);
        }
        if (ask.accept() != mimetypes::AXOBIN_TYPE) {
            return refuse(*handler, statuscodes::BAD_REQUEST,
                          std::string("events are only in the format ") + mimetypes::AXOBIN_TYPE);
        }
        return events_->actionRequest(request, std::move(handler), "");
    }
    // The handles of all resources differ, so the other stream ignores the handle.
    void cancelRequest(void* handle) override {
        requests_->cancelRequest(handle);
        events_->cancelRequest(handle);
    }

private:
    static void* refuse(IResponseHandler<Response>& handler, unsigned short code,
                        std::string reason) {
        handler.onError(Error{code, std::move(reason)}.toResponse());
        return nullptr;
    }

    const std::unique_ptr<IResourceHandler> requests_;
    const std::unique_ptr<IResourceHandler> events_;
    const std::function<bool(const Peer&)> isAllowed_;
};

}  // namespace

std::unique_ptr<IResourceHandler> Monitor::makeHandler(
    std::function<bool(const Peer&)> isAllowed) const {
    return std::make_unique<MonitorHandler>(requests_.stream(), events_.stream(),
                                            std::move(isAllowed));
}

}  // namespace kova::kit::detail
