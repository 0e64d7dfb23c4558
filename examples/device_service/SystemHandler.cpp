#include "SystemHandler.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "Replies.h"
#include "kova/core/Commands.h"
#include "kova/core/StatusCodes.h"
#include "util/config/Array.h"
#include "util/config/Scalars.h"

namespace device {

struct SystemHandler::Stream {
    Stream(kova::Request asked, std::string what,
           std::unique_ptr<kova::IResponseHandler<kova::Response>> receiver)
        : request(std::move(asked)), name(std::move(what)), handler(std::move(receiver)) {}

    const kova::Request request;
    const std::string name;
    const std::unique_ptr<kova::IResponseHandler<kova::Response>> handler;
    std::atomic<bool> cancelled{false};
    /// The time to send the next value; guarded by the mutex of the SystemHandler.
    Clock::time_point due;
};

SystemHandler::SystemHandler(SystemInfo info, std::chrono::milliseconds interval)
    : info_(std::move(info)), interval_(interval), sender_([this] { sendStreams(); }) {}

SystemHandler::~SystemHandler() {
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    sender_.join();
}

void* SystemHandler::actionRequest(
    const kova::Request& request, std::unique_ptr<kova::IResponseHandler<kova::Response>>&& handler,
    const std::string& resourcePath) {
    if (request.getCommand() != kova::commands::RETRIEVE) {
        refuseCommand(*handler, request);
    } else if (wantsStream(request) && SystemInfo::has(resourcePath)) {
        return openStream(request, std::move(handler), resourcePath);
    } else {
        answer(*handler, respond(request, kova::statuscodes::OK, resourcePath));
    }
    return kova::IKovaApi::UNDEFINED_REQUEST_HANDLE;
}

kova::Response SystemHandler::respond(const kova::Request& request, unsigned short code,
                                      const std::string& name) const {
    if (name.empty()) {
        util::config::Array list;
        for (const std::string& each : SystemInfo::names()) {
            list.add(new util::config::ValueString(each));
        }
        return makeResponse(request, code, list);
    }
    if (!SystemInfo::has(name)) {
        return notFound(request);
    }
    const auto facts = info_.read(name);
    return facts
               ? makeResponse(request, code, *facts)
               : fail(request, kova::statuscodes::SERVICE_UNAVAILABLE, "the system does not tell");
}

void* SystemHandler::openStream(const kova::Request& request,
                                std::unique_ptr<kova::IResponseHandler<kova::Response>>&& handler,
                                const std::string& name) {
    auto stream = std::make_shared<Stream>(request, name, std::move(handler));
    if (!send(*stream)) {
        return kova::IKovaApi::UNDEFINED_REQUEST_HANDLE;
    }
    stream->due = Clock::now() + interval_;
    void* handle = nullptr;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        // A handle is a number that is never dereferenced.
        handle = reinterpret_cast<void*>(++lastHandle_);  // NOLINT(performance-no-int-to-ptr)
        streams_.emplace(handle, std::move(stream));
    }
    wake_.notify_all();
    return handle;
}

void SystemHandler::cancelRequest(void* handle) {
    std::shared_ptr<Stream> stream;
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto found = streams_.find(handle);
    if (found != streams_.end()) {
        stream = std::move(found->second);
        stream->cancelled = true;
        streams_.erase(found);
    }
}

void SystemHandler::sendStreams() {
    const auto earlier = [](const auto& a, const auto& b) { return a.second->due < b.second->due; };
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopping_) {
        const auto next = std::min_element(streams_.begin(), streams_.end(), earlier);
        if (next == streams_.end()) {
            wake_.wait(lock);
        } else if (next->second->due > Clock::now()) {
            const Clock::time_point due = next->second->due;
            wake_.wait_until(lock, due);
        } else {
            auto [handle, stream] = *next;
            stream->due = Clock::now() + interval_;
            lock.unlock();
            if (!send(*stream)) {
                cancelRequest(handle);
            }
            stream.reset();  // without the lock: this may destroy the response handler
            lock.lock();
        }
    }
}

// Sends the current value. Returns false if the stream ends with this value or was cancelled.
bool SystemHandler::send(Stream& stream) const {
    const kova::Response response = respond(stream.request, kova::statuscodes::STREAM, stream.name);
    if (stream.cancelled) {
        return false;
    }
    if (response.isErrorResponse()) {
        stream.handler->onError(response);
        return false;
    }
    const bool enough = stream.handler->onNext(response);
    if (enough && !stream.cancelled) {
        stream.handler->onCompleted();
    }
    return !enough;
}

}  // namespace device
