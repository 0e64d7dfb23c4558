#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>

#include "kova/kit/Middleware.h"
#include "kova/testing/ManualClock.h"
#include "kova/testing/Recording.h"
#include "support/HeldService.h"
#include "util/config/Dictionary.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;
using Events = testing::Recording::Events;

const Request REQUEST("retrieve", "/state");

FaultOptions shares(double drop, double error, std::uint64_t seed = 1) {
    FaultOptions options;
    options.seed = seed;
    options.drop = drop;
    options.error = error;
    return options;
}

/// Returns the outcome of 1000 requests, one letter for each: "d", "e" or ".".
std::string faultsOf(const FaultOptions& options) {
    test::HeldService service;
    service.onRequest = [&](std::size_t number) { service.answer(number); };
    Chain chain(service);
    chain.use(faults(options));
    std::string text;
    for (int i = 0; i < 1000; ++i) {
        auto recording = testing::record();
        EXPECT_EQ(chain.actionRequest(REQUEST, recording.handler()), nullptr);
        EXPECT_EQ(recording.living(), 0U);
        const Events events = recording.events();
        text += events.empty() ? 'd' : events[0] == "error 503 an injected fault" ? 'e' : '.';
    }
    return text;
}

TEST(Faults, EqualSeedsProduceEqualFaults) {
    const std::string first = faultsOf(shares(0.1, 0.2));
    EXPECT_EQ(faultsOf(shares(0.1, 0.2)), first);
    EXPECT_NE(faultsOf(shares(0.1, 0.2, 2)), first);
}

TEST(Faults, FaultsHaveTheConfiguredShare) {
    const auto count = [](const std::string& text, char letter) {
        return std::count(text.begin(), text.end(), letter);
    };
    const std::string some = faultsOf(shares(0.1, 0.2));
    EXPECT_NEAR(static_cast<double>(count(some, 'd')), 100, 30);
    EXPECT_NEAR(static_cast<double>(count(some, 'e')), 200, 40);
    EXPECT_EQ(faultsOf(shares(0, 0)), std::string(1000, '.'));
    EXPECT_EQ(faultsOf(shares(1, 0)), std::string(1000, 'd'));
    EXPECT_EQ(faultsOf(shares(0, 1)), std::string(1000, 'e'));
}

TEST(Faults, SharesOutOfRangeAreRejected) {
    EXPECT_THROW(faults(shares(-0.1, 0)), std::invalid_argument);
    EXPECT_THROW(faults(shares(0, -0.1)), std::invalid_argument);
    EXPECT_THROW(faults(shares(0.6, 0.5)), std::invalid_argument);
    EXPECT_THROW(faults(shares(NAN, 0)), std::invalid_argument);
}

TEST(Faults, ErrorHasTheConfiguredCode) {
    test::HeldService service;
    Chain chain(service);
    FaultOptions options = shares(0, 1);
    options.code = 502;
    chain.use(faults(options));
    auto recording = testing::record();
    chain.actionRequest(REQUEST, recording.handler());
    EXPECT_EQ(recording.events(), (Events{"error 502 an injected fault"}));
}

TEST(Faults, MiddlewareInFrontSeesDroppedRequestEndWith500) {
    test::HeldService service;
    Chain chain(service);
    chain.use(deadline(1h)).use(faults(shares(1, 0)));
    auto recording = testing::record();
    chain.actionRequest(REQUEST, recording.handler());
    EXPECT_EQ(recording.waitFor(1), (Events{"error 500 the service dropped retrieve '/state'"}));
}

// --- Delay ---------------------------------------------------------------------------------------

struct Delayed {
    explicit Delayed(std::chrono::milliseconds limit = 0s) {
        FaultOptions options;
        options.delay = 20ms;
        options.clock = &clock;
        chain.use(deadline(limit, &deadlineClock)).use(faults(options));
        chain.use(authorize([this](const Request&, const Peer& peer) {
            seen = peer;
            return true;
        }));
    }

    testing::ManualClock clock;
    testing::ManualClock deadlineClock;
    Peer seen;
    test::HeldService service;
    Chain chain{service};
    testing::Recording recording = testing::record();
};

TEST(FaultsDelay, RequestsAreForwardedInOrderAfterTheDelay) {
    Delayed delayed;
    delayed.chain.actionRequest({"retrieve", "/1"}, delayed.recording.handler());
    delayed.clock.advance(5ms);
    delayed.chain.actionRequest({"retrieve", "/2"}, delayed.recording.handler());
    delayed.clock.advance(14ms);
    EXPECT_THROW(delayed.service.request(1), std::out_of_range);
    delayed.clock.advance(1ms);
    delayed.service.waitForRequests(1);
    EXPECT_THROW(delayed.service.request(2), std::out_of_range);
    delayed.clock.advance(5ms);
    delayed.service.waitForRequests(2);
    EXPECT_EQ(delayed.service.request(1).getPath(), "/1");
    EXPECT_EQ(delayed.service.request(2).getPath(), "/2");
    delayed.service.answer(2);
    delayed.service.answer(1);
    EXPECT_EQ(delayed.recording.waitFor(4),
              (Events{"value 200", "completed", "value 200", "completed"}));
}

TEST(FaultsDelay, DelayedRequestKeepsItsPeer) {
    Delayed delayed;
    {
        const Peer peer{1000, 100, 7, "unix:"};
        const PeerScope scope(peer);
        delayed.chain.actionRequest(REQUEST, delayed.recording.handler());
    }
    delayed.clock.advance(20ms);
    delayed.service.waitForRequests(1);
    EXPECT_EQ(delayed.seen.uid, 1000);
    EXPECT_EQ(delayed.seen.address, "unix:");
    delayed.service.answer(1);
}

TEST(FaultsDelay, CancelledRequestIsNotForwarded) {
    Delayed delayed;
    void* const handle = delayed.chain.actionRequest(REQUEST, delayed.recording.handler());
    delayed.chain.cancelRequest(handle);
    delayed.chain.cancelRequest(handle);
    EXPECT_EQ(delayed.recording.living(), 0U);
    delayed.chain.actionRequest({"retrieve", "/next"}, delayed.recording.handler());
    delayed.clock.advance(20ms);
    delayed.service.waitForRequests(1);
    EXPECT_EQ(delayed.service.request(1).getPath(), "/next");
    delayed.service.answer(1);
    EXPECT_EQ(delayed.recording.waitFor(2), (Events{"value 200", "completed"}));
}

TEST(FaultsDelay, CancelledRequestIsForgotten) {
    Delayed delayed;
    auto header = std::make_shared<util::config::Dictionary>();
    const std::weak_ptr<util::config::Dictionary> kept = header;
    void* const handle = delayed.chain.actionRequest(Request("retrieve", "/state", header),
                                                     delayed.recording.handler());
    header.reset();
    EXPECT_FALSE(kept.expired());
    delayed.chain.cancelRequest(handle);
    EXPECT_TRUE(kept.expired());
}

TEST(FaultsDelay, CancellationDuringForwardingIsNotLost) {
    Delayed delayed;
    void* const handle = delayed.chain.actionRequest(REQUEST, delayed.recording.handler());
    delayed.service.onRequest = [&](std::size_t) { delayed.chain.cancelRequest(handle); };
    delayed.clock.advance(20ms);
    EXPECT_EQ(delayed.service.waitForCancelled(1), (std::vector<std::size_t>{1}));
    EXPECT_EQ(delayed.recording.events(), Events());
    delayed.service.take(1).reset();
}

TEST(FaultsDelay, CancellationAfterTheDelayReachesTheService) {
    Delayed delayed;
    void* const handle = delayed.chain.actionRequest(REQUEST, delayed.recording.handler());
    delayed.clock.advance(20ms);
    delayed.service.waitForRequests(1);
    delayed.chain.cancelRequest(handle);
    EXPECT_EQ(delayed.service.waitForCancelled(1), (std::vector<std::size_t>{1}));
    EXPECT_EQ(delayed.recording.living(), 0U);
    delayed.service.take(1).reset();
}

TEST(FaultsDelay, DelayCountsTowardsTheDeadline) {
    Delayed delayed(10ms);
    delayed.chain.actionRequest(REQUEST, delayed.recording.handler());
    delayed.deadlineClock.advance(10ms);
    EXPECT_EQ(delayed.recording.waitFor(1),
              (Events{"error 504 no answer within 10 ms to retrieve '/state'"}));
}

TEST(FaultsDelay, DestructionDestroysDelayedRequests) {
    auto recording = testing::record();
    test::HeldService service;
    {
        Chain chain(service);
        FaultOptions options;
        options.delay = 1h;
        chain.use(faults(options));
        chain.actionRequest(REQUEST, recording.handler());
        chain.actionRequest(REQUEST, recording.handler());
    }
    EXPECT_EQ(recording.living(), 0U);
    EXPECT_EQ(recording.events(), Events());
    EXPECT_THROW(service.request(1), std::out_of_range);
}

}  // namespace
}  // namespace kova::kit
