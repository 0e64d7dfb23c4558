// Uses the middleware with designated initializers, which need C++20.
#include <gtest/gtest.h>

#include "kova/kit/Middleware.h"
#include "kova/testing/Recording.h"
#include "support/HeldService.h"
#include "tracing/Channel.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;
using Events = testing::Recording::Events;

TEST(MiddlewareSketch, AllMiddlewareWorksInOneChain) {
    const ::tracing::Channel channel("SKETCH_REQUESTS", 7, ::tracing::Channel::SHARED);
    const MetricsRegistry registry;
    test::HeldService service;
    const auto allowed = [](const Ask& ask) { return ask.path() != "/secret"; };

    Chain api(service);
    api.use(logging(channel));
    api.use(metrics(registry));
    api.use(authorize([](const Request& r, const Peer& p) {
        return p.uid == 0 || r.getCommand() == "retrieve";
    }));
    api.use(deadline(1h));
    api.use(limit({.pending = 100, .perPeer = 10, .streams = 50}));
    api.use(faults({.seed = 1, .drop = 0.01, .delay = 20ms}));
    api.use([&](Ask& ask, Next next) { return allowed(ask) ? next(ask) : refuse(403, "no"); });

    auto secret = testing::record();
    auto state = testing::record();
    api.actionRequest({"retrieve", "/secret"}, secret.handler());
    api.actionRequest({"retrieve", "/state"}, state.handler());
    EXPECT_EQ(secret.waitFor(1), (Events{"error 403 no"}));
    service.waitForRequests(1);
    service.answer(1);
    EXPECT_EQ(state.waitFor(2), (Events{"value 200", "completed"}));
    EXPECT_NE(registry.text().find("code=\"4xx\"} 1\n"), std::string::npos);
}

}  // namespace
}  // namespace kova::kit
