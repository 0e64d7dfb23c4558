#pragma once

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <utility>

#include "kova/core/IResourceHandler.h"
#include "kova/core/IResponseHandler.h"
#include "kova/core/Request.h"
#include "kova/core/Response.h"

namespace kova::bench {

/// A resource that answers before `actionRequest` returns.
class ImmediateResource : public IResourceHandler {
public:
    void* actionRequest(const Request&, std::unique_ptr<IResponseHandler<Response>>&& handler,
                        const std::string&) override {
        handler->onNext(response_);
        handler->onCompleted();
        return nullptr;
    }
    void cancelRequest(void*) override {}

private:
    const Response response_{200};
};

/// A resource whose request is pending until `answer` is called.
class PendingResource : public IResourceHandler {
public:
    void* actionRequest(const Request&, std::unique_ptr<IResponseHandler<Response>>&& handler,
                        const std::string&) override {
        handler_ = std::move(handler);
        return this;
    }
    void cancelRequest(void*) override { handler_.reset(); }
    void answer() {
        handler_->onNext(response_);
        handler_->onCompleted();
        handler_.reset();
    }

private:
    const Response response_{200};
    std::unique_ptr<IResponseHandler<Response>> handler_;
};

class Receiver : public IResponseHandler<Response> {
public:
    bool onNext(const Response& value) override {
        benchmark::DoNotOptimize(value.getStatusCode());
        return false;
    }
    void onError(const Response&) override {}
    void onCompleted() override {}
};

/// Returns `count` resources with the mounts "/svc/r0", "/svc/r1" and so on. Sets `asked` to the
/// last one.
template <typename Resource, typename Handlers>
Handlers mounts(long count, Resource*& asked) {
    Handlers handlers;
    for (long i = 0; i < count; ++i) {
        auto resource = std::make_unique<Resource>();
        asked = resource.get();
        handlers["/svc/r" + std::to_string(i)] = std::move(resource);
    }
    return handlers;
}

/// Returns a path of four segments, two of them below the last mount.
inline std::string pathBelow(long mounts) {
    return "/svc/r" + std::to_string(mounts - 1) + "/a/b";
}

}  // namespace kova::bench
