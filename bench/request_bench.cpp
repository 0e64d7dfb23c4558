// What a whole request costs: routing, wrappers, the table of pending requests, and the answer.
#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "kova/core/StaticComposedKovaService.h"
#include "support/Allocations.h"

namespace {

using kova::IResponseHandler;
using kova::Request;
using kova::Response;
using Handler = std::unique_ptr<IResponseHandler<Response>>;

/// Answers before it returns.
class Prompt : public kova::IResourceHandler {
public:
    void* actionRequest(const Request&, Handler&& handler, const std::string&) override {
        handler->onNext(response_);
        handler->onCompleted();
        return nullptr;
    }
    void cancelRequest(void*) override {}

private:
    const Response response_{200};
};

/// Leaves the request pending until it is told to answer.
class Patient : public kova::IResourceHandler {
public:
    void* actionRequest(const Request&, Handler&& handler, const std::string&) override {
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
    Handler handler_;
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

template <typename Resource>
std::unique_ptr<kova::StaticComposedKovaService> makeService(long mounts, Resource*& asked) {
    std::map<std::string, std::unique_ptr<kova::IResourceHandler>> handlers;
    for (long i = 0; i < mounts; ++i) {
        auto resource = std::make_unique<Resource>();
        asked = resource.get();
        handlers["/svc/r" + std::to_string(i)] = std::move(resource);
    }
    return std::make_unique<kova::StaticComposedKovaService>(std::move(handlers));
}

// The path has four segments, two of them below the mount.
Request requestTo(long mounts) {
    return {"retrieve", "/svc/r" + std::to_string(mounts - 1) + "/a/b"};
}

void answeredAtOnce(benchmark::State& state) {
    Prompt* asked = nullptr;
    const auto service = makeService(state.range(0), asked);
    const Request request = requestTo(state.range(0));
    const kova::bench::AllocationCounter counter(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(service->actionRequest(request, std::make_unique<Receiver>()));
    }
}
BENCHMARK(answeredAtOnce)->Arg(10)->Arg(1000);

void answeredWhilePending(benchmark::State& state) {
    Patient* asked = nullptr;
    const auto service = makeService(state.range(0), asked);
    const Request request = requestTo(state.range(0));
    const kova::bench::AllocationCounter counter(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(service->actionRequest(request, std::make_unique<Receiver>()));
        asked->answer();
    }
}
BENCHMARK(answeredWhilePending)->Arg(10)->Arg(1000);

void cancelledWhilePending(benchmark::State& state) {
    Patient* asked = nullptr;
    const auto service = makeService(state.range(0), asked);
    const Request request = requestTo(state.range(0));
    const kova::bench::AllocationCounter counter(state);
    for (auto _ : state) {
        service->cancelRequest(service->actionRequest(request, std::make_unique<Receiver>()));
    }
}
BENCHMARK(cancelledWhilePending)->Arg(10)->Arg(1000);

}  // namespace
