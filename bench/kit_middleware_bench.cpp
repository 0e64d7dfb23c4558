// The cost of a chain of middleware in front of a service.
#include <benchmark/benchmark.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "kova/core/StaticComposedKovaService.h"
#include "kova/kit/Chain.h"
#include "kova/kit/Middleware.h"
#include "support/Contest.h"
#include "support/Resources.h"

namespace kova::bench {

namespace {

using Handlers = std::map<std::string, std::unique_ptr<IResourceHandler>>;

/// A composed service with ten resources that answer at once.
struct Service {
    Service() : service(mounts<ImmediateResource, Handlers>(10, asked)) {}

    ImmediateResource* asked = nullptr;
    StaticComposedKovaService service;
    Request request{"retrieve", pathBelow(10)};
};

auto bare() {
    return [service = std::make_shared<Service>()] {
        return service->service.actionRequest(service->request, std::make_unique<Receiver>());
    };
}

/// A service behind the middleware that `use` adds.
template <typename Use>
auto through(Use use) {
    auto service = std::make_shared<Service>();
    auto chain = std::make_shared<kit::Chain>(service->service);
    use(*chain);
    return [service, chain] {
        return chain->actionRequest(service->request, std::make_unique<Receiver>());
    };
}

kit::LimitOptions limits() {
    kit::LimitOptions options;
    options.pending = 100;
    options.perPeer = 10;
    options.streams = 50;
    return options;
}

void useAll(kit::Chain& chain) {
    chain.use(kit::logging("BENCH_REQUESTS"));
    chain.use(kit::metrics(kit::MetricsRegistry()));
    chain.use(kit::deadline(std::chrono::seconds(5)));
    chain.use(kit::limit(limits()));
}

void useFunction(kit::Chain& chain) {
    chain.use([](kit::Ask& ask, kit::Next next) {
        return ask.path().empty() ? kit::refuse(403, "no") : next(ask);
    });
}

/// Registers a case with two contestants: the service behind a chain, and the bare service.
template <typename Use>
void contestOfChain(char const* name, Use use) {
    contest(name, "kova", [use] { return through(use); });
    contest(name, "plain", [] { return bare(); });
}

const Entries ENTRIES([] {
    contestOfChain("request through logging (off), metrics, deadline, limits", useAll);
    contestOfChain("request through a chain, empty", [](kit::Chain&) {});
    contestOfChain("request through logging (off)",
                   [](kit::Chain& chain) { chain.use(kit::logging("BENCH_REQUESTS")); });
    contestOfChain("request through metrics",
                   [](kit::Chain& chain) { chain.use(kit::metrics(kit::MetricsRegistry())); });
    contestOfChain("request through a deadline",
                   [](kit::Chain& chain) { chain.use(kit::deadline(std::chrono::seconds(5))); });
    contestOfChain("request through limits",
                   [](kit::Chain& chain) { chain.use(kit::limit(limits())); });
    contestOfChain("request through a function", useFunction);
});

}  // namespace

}  // namespace kova::bench
