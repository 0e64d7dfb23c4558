#include "support/WireService.h"

#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "kova/core/IResourceHandler.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/http/Connect.h"
#include "kova/http/Endpoint.h"
#include "kova/kit/Client.h"
#include "kova/kit/Service.h"
#include "kova/kit/StreamOptions.h"
#include "kova/kit/Values.h"
#include "kova/kit/Worker.h"
#include "support/Wire.h"

namespace kova::bench {

namespace {

using ResponseHandler = std::unique_ptr<IResponseHandler<Response>>;

Response makeResponse() {
    const std::string bytes = wirePayload();
    return {200, Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                        bytes.size(), mimetypes::OCTET_STREAM_TYPE)};
}

void answer(IResponseHandler<Response>& handler, const Response& value) {
    handler.onNext(value);
    handler.onCompleted();
}

class AnsweringResource final : public IResourceHandler {
public:
    explicit AnsweringResource(int values = 1) : values_(values) {}

    void* actionRequest(const Request&, ResponseHandler&& handler, const std::string&) override {
        for (int i = 1; i < values_; ++i) {
            handler->onNext(value_);
        }
        answer(*handler, value_);
        return nullptr;
    }
    void cancelRequest(void*) override {}

private:
    const int values_;
    const Response value_ = makeResponse();
};

/// Answers on the thread of a `kit::Worker`.
class LaterResource final : public IResourceHandler {
public:
    void* actionRequest(const Request&, ResponseHandler&& handler, const std::string&) override {
        std::shared_ptr<IResponseHandler<Response>> shared = std::move(handler);
        const bool isPosted = worker_.tryPost([this, shared] { answer(*shared, value_); });
        require(isPosted, "worker");
        return this;
    }
    void cancelRequest(void*) override {}

private:
    const Response value_ = makeResponse();
    kit::Worker worker_;
};

class StreamResource final : public IResourceHandler {
public:
    void* actionRequest(const Request& request, ResponseHandler&& handler,
                        const std::string& path) override {
        if (request.getCommand() == "update") {
            std::string text;
            Payload::createStringFrom(request.getPayload(), text, true);
            std::shared_ptr<IResponseHandler<Response>> shared = std::move(handler);
            const bool isPosted = worker_.tryPost([this, shared, count = std::stoul(text)] {
                send(count);
                answer(*shared, value_);
            });
            require(isPosted, "worker");
            return this;
        }
        Response first = makeResponse();
        const kit::StreamQueue queue{1024, path == "latest" ? kit::Conflate : kit::Wait};
        const auto terms = kit::toTree(queue.toString());
        first.add2header(kit::STREAM_QUEUE, *terms.value());
        void* const handle = handler.get();
        handler->onNext(first);
        const std::lock_guard<std::mutex> guard(mutex_);
        streams_[handle] = std::move(handler);
        return handle;
    }
    void cancelRequest(void* handle) override {
        const std::lock_guard<std::mutex> guard(mutex_);
        streams_.erase(handle);
    }

private:
    void send(std::size_t count) {
        std::vector<std::shared_ptr<IResponseHandler<Response>>> streams;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            for (const auto& [handle, stream] : streams_) {
                streams.push_back(stream);
            }
        }
        while (count-- > 0) {
            for (const auto& stream : streams) {
                stream->onNext(value_);
            }
        }
    }

    const Response value_ = makeResponse();
    std::mutex mutex_;
    std::map<void*, std::shared_ptr<IResponseHandler<Response>>> streams_;
    kit::Worker worker_;
};

class PendingResource final : public IResourceHandler {
public:
    void* actionRequest(const Request& request, ResponseHandler&& handler,
                        const std::string&) override {
        if (request.getCommand() == "update") {
            answer(*handler, {200, Payload::createFromString(std::to_string(cancelledAt_))});
            cancelledAt_ = 0;
            return nullptr;
        }
        handler_ = std::move(handler);
        return this;
    }
    void cancelRequest(void*) override {
        cancelledAt_ = std::chrono::steady_clock::now().time_since_epoch().count();
        handler_.reset();
    }

private:
    // Used on the thread of the endpoint only.
    ResponseHandler handler_;
    std::int64_t cancelledAt_ = 0;
};

std::map<std::string, std::unique_ptr<IResourceHandler>> makeResources() {
    std::map<std::string, std::unique_ptr<IResourceHandler>> resources;
    for (int i = 4; i < 10; ++i) {
        resources["/svc/r" + std::to_string(i)] = std::make_unique<AnsweringResource>();
    }
    resources[WIRE_TEN] = std::make_unique<AnsweringResource>(10);
    resources[WIRE_LATER] = std::make_unique<LaterResource>();
    resources[WIRE_PENDING] = std::make_unique<PendingResource>();
    resources[WIRE_STREAM] = std::make_unique<StreamResource>();
    return resources;
}

void serve(IKovaApi& service, const std::string& path) {
    const http::Endpoint endpoint(service, "unix:" + path);
    for (;;) {
        ::pause();
    }
}

/// Reads the monitor of a service until the process is killed.
void readMonitor(const std::string& path) {
    http::ConnectOptions options;
    options.patience = std::chrono::seconds(10);
    const auto service = http::connect("unix:" + path, options);
    require(service.ok(), "kova::http::connect");
    const kit::Client client(**service);
    const kit::Subscription requests =
        client.watch<Payload>("/.kova/monitor")
            .onEnd([](const kit::End&) { require(false, "kova: the monitor has ended"); })
            .start();
    for (;;) {
        ::pause();
    }
}

}  // namespace

std::unique_ptr<IKovaApi> makeWireService() {
    return std::make_unique<StaticComposedKovaService>(makeResources());
}

void serveWireService(const std::string& path) {
    serve(*makeWireService(), path);
}

void serveInspectedService(const std::string& path) {
    kit::ServiceBuilder builder;
    builder.mount(WIRE_RESOURCE, std::make_unique<AnsweringResource>()).inspect();
    const auto service = builder.build();
    serve(*service, path);
}

void serveMonitoredService(const std::string& path) {
    const pid_t reader = ::fork();
    require(reader >= 0, "fork");
    if (reader == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        readMonitor(path);
    }
    serveInspectedService(path);
}

}  // namespace kova::bench
