// What a whole request costs: routing, wrappers, the table of pending requests, and the answer.
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

/// A service, the resource that is asked, and the request, which is used again and again.
template <typename Service, typename Handlers, typename Resource>
struct Scene {
    explicit Scene(long count)
        : request("retrieve", pathBelow(count)),
          service(mounts<Resource, Handlers>(count, asked)) {}

    void* ask() { return service.actionRequest(request, std::make_unique<Receiver>()); }

    Resource* asked = nullptr;
    Request request;
    Service service;
};

template <typename Resource>
using KovaScene = Scene<StaticComposedKovaService,
                        std::map<std::string, std::unique_ptr<IResourceHandler>>, Resource>;
template <typename Resource>
using PlainScene = Scene<PlainService, PlainService::Handlers, Resource>;

template <typename Scene>
auto answeredAtOnce(long count) {
    return [count] { return [scene = std::make_shared<Scene>(count)] { return scene->ask(); }; };
}

template <typename Scene>
auto answeredLater(long count) {
    return [count] {
        return [scene = std::make_shared<Scene>(count)] {
            void* const handle = scene->ask();
            scene->asked->answer();
            return handle;
        };
    };
}

const Entries ENTRIES([] {
    for (const long count : {10L, 1000L}) {
        const std::string among = " among " + std::to_string(count);
        contest("answered at once," + among, "kova", answeredAtOnce<KovaScene<Prompt>>(count));
        contest("answered at once," + among, "plain", answeredAtOnce<PlainScene<Prompt>>(count));
        contest("answered later," + among, "kova", answeredLater<KovaScene<Patient>>(count));
        contest("answered later," + among, "plain", answeredLater<PlainScene<Patient>>(count));
        contest("cancelled," + among, "kova", [=] {
            return [scene = std::make_shared<KovaScene<Patient>>(count)] {
                scene->service.cancelRequest(scene->ask());
                return 0;
            };
        });
    }
});

}  // namespace

}  // namespace kova::bench
