// A service behind a chain of middleware, and the inspection of this service.
#include <chrono>
#include <iostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "kova/kit/Chain.h"
#include "kova/kit/Client.h"
#include "kova/kit/InspectionViews.h"
#include "kova/kit/Middleware.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"

namespace command = kova::kit::command;
using kova::kit::Ask;
using kova::kit::Client;
using kova::kit::Reply;
using std::chrono::milliseconds;

template <typename T>
void print(const std::string& what, const kova::kit::Result<T>& answer) {
    std::cout << what << ": " << (answer ? "done" : answer.error().toString()) << '\n';
}

// Adds the middleware to the chain. A request passes it in this order.
void protect(kova::kit::Chain& api, const kova::kit::MetricsRegistry& registry) {
    api.use(kova::kit::logging("PLAYER_REQUESTS"));
    api.use(kova::kit::metrics(registry, {"/level", "/slow"}));
    api.use(kova::kit::authorize([](const kova::Request& request, const kova::kit::Peer& peer) {
        return request.getCommand() == "retrieve" || peer.uid == kova::kit::Peer::self().uid;
    }));
    api.use([](Ask& ask, kova::kit::Next next) {
        return ask.clientId() != "guest" ? next(ask) : kova::kit::refuse(403, "not for guests");
    });
    kova::kit::LimitOptions limits;
    limits.perPeer = 2;
    api.use(kova::kit::limit(limits));
    api.use(kova::kit::deadline(milliseconds(1000)));
}

void useThrough(kova::IKovaApi& api) {
    kova::kit::ClientOptions options;
    options.clientId = "guest";
    const Client guest(api, options);
    print("a guest", guest.retrieve<int>("/level").get());
    const Client client(api);
    print("the level", client.retrieve<int>("/level").get());
    print("no answer in time", client.retrieve<int>("/slow").get());

    const auto first = client.retrieve<int>("/slow").start();
    const auto second = client.retrieve<int>("/slow").start();
    print("a third request", client.retrieve<int>("/level").get());
}

// Sends requests as another user, which the chain does not let update anything.
void useAsStranger(kova::IKovaApi& api) {
    const kova::kit::Peer stranger{kova::kit::Peer::self().uid + 1, 100, 4711, "unix:"};
    const kova::kit::PeerScope scope(stranger);
    const Client client(api);
    print("a stranger reads", client.retrieve<int>("/level").get());
    print("a stranger updates", client.update("/level", 40).get());
    print("a stranger looks inside", client.retrieve("/.kova/version").get());
}

int main() {
    std::vector<Reply<int>> unanswered;
    kova::kit::Resource level;
    level.on(command::retrieve, "", [](const Ask&) { return 30; });
    level.on(command::update, "", [](const Ask&, int /*wanted*/) {});
    kova::kit::Resource slow;
    slow.on(command::retrieve, "",
            [&](const Ask&, Reply<int> reply) { unanswered.push_back(std::move(reply)); });

    kova::kit::MetricsRegistry registry;
    kova::kit::InspectionOptions inspection;
    inspection.metrics = [registry] { return registry.text(); };
    kova::kit::ServiceBuilder builder;
    builder.name("player").version("1.2.0").inspect(inspection);
    const auto service = builder.mount("/level", level).mount("/slow", slow).build();
    kova::kit::Chain api(*service);
    protect(api, registry);
    useThrough(api);
    useAsStranger(api);

    const Client client(*service);
    const auto version = client.retrieve<kova::kit::VersionView>("/.kova/version").get().orThrow();
    std::cout << version.name << ' ' << version.version << '\n';
    std::string page;
    kova::Payload::createStringFrom(client.retrieve("/.kova/metrics").get().orThrow(), page, true);
    std::istringstream metrics(page);
    for (std::string line; std::getline(metrics, line);) {
        if (line.find("kova_requests_total{") == 0) {
            std::cout << line << '\n';
        }
    }
}
