#include "SystemHandler.h"

#include <atomic>
#include <utility>
#include <vector>

#include "Replies.h"
#include "kova/core/Commands.h"
#include "kova/core/StatusCodes.h"
#include "util/config/Array.h"
#include "util/config/Scalars.h"

namespace device {

namespace {

bool wantsStream(const kova::Request& request) {
    std::string semantic;
    const bool none = request.getHeaderValue("$response-semantic").get(semantic);
    return !none && semantic == "persistent-stream";
}

}  // namespace

struct SystemHandler::Stream {
    Stream(kova::Request asked, std::string what,
           std::unique_ptr<kova::IResponseHandler<kova::Response>> receiver)
        : request(std::move(asked)), name(std::move(what)), handler(std::move(receiver)) {}

    const kova::Request request;
    const std::string name;
    const std::unique_ptr<kova::IResponseHandler<kova::Response>> handler;
    std::atomic<bool> cancelled{false};
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
    } else if (!resourcePath.empty() && wantsStream(request) && info_.has(resourcePath)) {
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
        for (const std::string& each : info_.names()) {
            list.add(new util::config::ValueString(each));
        }
        return makeResponse(request, code, list);
    }
    if (!info_.has(name)) {
        return kova::Response::createErrorResponse(
            kova::statuscodes::NOT_FOUND, ("path '" + request.getPath() + "' not found").c_str());
    }
    const auto facts = info_.read(name);
    return facts ? makeResponse(request, code, *facts)
                 : kova::Response::createErrorResponse(
                       kova::statuscodes::SERVICE_UNAVAILABLE,
                       ("the system does not tell about '" + name + "'").c_str());
}

void* SystemHandler::openStream(const kova::Request& request,
                                std::unique_ptr<kova::IResponseHandler<kova::Response>>&& handler,
                                const std::string& name) {
    auto stream = std::make_shared<Stream>(request, name, std::move(handler));
    void* const handle = stream.get();
    {
        const std::lock_guard<std::mutex> guard(mutex_);
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
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopping_) {
        wake_.wait(lock, [this] { return stopping_ || !streams_.empty(); });
        std::vector<std::shared_ptr<Stream>> due;
        for (const auto& entry : streams_) {
            due.push_back(entry.second);
        }
        lock.unlock();
        for (const auto& stream : due) {
            send(*stream);
        }
        due.clear();
        lock.lock();
        wake_.wait_for(lock, interval_, [this] { return stopping_; });
    }
}

void SystemHandler::send(Stream& stream) {
    const kova::Response response = respond(stream.request, kova::statuscodes::STREAM, stream.name);
    if (stream.cancelled) {
        return;
    }
    if (response.isErrorResponse()) {
        stream.handler->onError(response);
        cancelRequest(&stream);
    } else if (stream.handler->onNext(response)) {
        // The receiver has seen enough; completion clears the service's entry.
        stream.handler->onCompleted();
        cancelRequest(&stream);
    }
}

}  // namespace device
