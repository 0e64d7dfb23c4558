// The cost of a whole request: routing, wrappers, the table of pending requests, and the answer.
#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <string>
#include <utility>

#include "kova/core/StaticComposedKovaService.h"
#include "support/Contest.h"
#include "support/PlainService.h"
#include "support/Resources.h"

namespace kova::bench {

namespace {

/// A service, the resource that receives the request, and the request, which is reused.
template <typename Service, typename Handlers, typename Resource>
struct Setup {
    explicit Setup(long count)
        : request("retrieve", pathBelow(count)),
          service(mounts<Resource, Handlers>(count, asked)) {}

    void* ask() { return service.actionRequest(request, std::make_unique<Receiver>()); }

    Resource* asked = nullptr;
    Request request;
    Service service;
};

template <typename Resource>
using KovaSetup = Setup<StaticComposedKovaService,
                        std::map<std::string, std::unique_ptr<IResourceHandler>>, Resource>;
template <typename Resource>
using PlainSetup = Setup<PlainService, PlainService::Handlers, Resource>;

template <typename Setup>
auto answeredAtOnce(long count) {
    return [count] { return [setup = std::make_shared<Setup>(count)] { return setup->ask(); }; };
}

template <typename Setup>
auto answeredLater(long count) {
    return [count] {
        return [setup = std::make_shared<Setup>(count)] {
            void* const handle = setup->ask();
            setup->asked->answer();
            return handle;
        };
    };
}

const Entries ENTRIES([] {
    for (const long count : {10L, 1000L}) {
        const std::string among = " among " + std::to_string(count);
        contest("answered at once," + among, "kova",
                answeredAtOnce<KovaSetup<ImmediateResource>>(count));
        contest("answered at once," + among, "plain",
                answeredAtOnce<PlainSetup<ImmediateResource>>(count));
        contest("answered later," + among, "kova",
                answeredLater<KovaSetup<PendingResource>>(count));
        contest("answered later," + among, "plain",
                answeredLater<PlainSetup<PendingResource>>(count));
        contest("cancelled," + among, "kova", [=] {
            return [setup = std::make_shared<KovaSetup<PendingResource>>(count)] {
                setup->service.cancelRequest(setup->ask());
                return 0;
            };
        });
    }
});

}  // namespace

}  // namespace kova::bench
