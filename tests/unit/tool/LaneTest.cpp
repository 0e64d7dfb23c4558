#include "Lane.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

namespace kova::tool {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::Pair;

/// Keeps the response handlers of requests, or answers at once with an error.
class ManualService : public IKovaApi {
public:
    void* actionRequest(const Request& /*request*/,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override {
        ++requests;
        if (refusals > 0) {
            --refusals;
            handler->onError(Response::createErrorResponse(503, refusal.c_str()));
            return nullptr;
        }
        handlers.push_back(std::move(handler));
        return handlers.back().get();
    }
    void cancelRequest(void* /*handle*/) override {}

    /// Removes and returns the oldest response handler.
    std::unique_ptr<IResponseHandler<Response>> next() {
        auto handler = std::move(handlers.front());
        handlers.erase(handlers.begin());
        return handler;
    }
    void complete() { next()->onCompleted(); }

    int requests = 0;
    int refusals = 0;
    std::string refusal = "busy";
    std::vector<std::unique_ptr<IResponseHandler<Response>>> handlers;
};

class LaneTest : public testing::Test {
protected:
    LanePlan closed(std::size_t inFlight) const {
        return {std::nullopt, now, now + hours(1), inFlight};
    }
    LanePlan open(milliseconds interval, LanePlan::Clock::duration since) const {
        return {interval, now - since, now + hours(1), 2};
    }

    const LanePlan::Clock::time_point now = LanePlan::Clock::now();
    const Request request{"retrieve", "/level", Payload()};
    ManualService service;
};

TEST_F(LaneTest, ClosedLoopKeepsRequestsInFlight) {
    Lane lane(service, request, closed(3));
    EXPECT_EQ(lane.pump(), now + hours(1));
    EXPECT_EQ(service.requests, 3);
    service.complete();
    EXPECT_EQ(service.requests, 4);
    EXPECT_EQ(service.handlers.size(), 3U);
    EXPECT_EQ(lane.result().answered, 1U);
    EXPECT_EQ(lane.result().open, 3U);
    EXPECT_EQ(lane.result().unsent, 0U);
}

TEST_F(LaneTest, StopEndsTheLoop) {
    Lane lane(service, request, closed(1));
    lane.pump();
    lane.stop();
    EXPECT_FALSE(lane.isOver());
    service.complete();
    EXPECT_TRUE(lane.isOver());
    EXPECT_EQ(service.requests, 1);
}

TEST_F(LaneTest, PlanWhoseEndHasPassedSendsOneRequest) {
    Lane lane(service, request, {std::nullopt, now, now, 2});
    lane.pump();
    EXPECT_EQ(service.requests, 1);
    EXPECT_FALSE(lane.isOver());
    service.complete();
    EXPECT_EQ(service.requests, 1);
    EXPECT_TRUE(lane.isOver());
}

TEST_F(LaneTest, PlanWithARateSendsNothingAfterItsEnd) {
    Lane lane(service, request, {milliseconds(1), now, now, 2});
    EXPECT_EQ(lane.pump(), now);
    EXPECT_EQ(service.requests, 0);
    EXPECT_EQ(lane.result().unsent, 0U);
}

TEST_F(LaneTest, NothingIsUnsentBeforeThePlanBegins) {
    Lane lane(service, request, open(milliseconds(1), hours(-1)));
    EXPECT_EQ(lane.pump(), now + hours(1));
    EXPECT_EQ(service.requests, 0);
    EXPECT_EQ(lane.result().unsent, 0U);
}

TEST_F(LaneTest, LatencyCountsFromTheIntendedStart) {
    // The requests were due 100, 90, ... 0 ms ago, but only two can be open at a time.
    Lane lane(service, request, open(milliseconds(10), milliseconds(100)));
    lane.pump();
    EXPECT_EQ(service.requests, 2);
    EXPECT_GE(lane.result().unsent, 9U);
    service.complete();
    EXPECT_EQ(service.requests, 3);
    EXPECT_GE(lane.result().latencies.max(), 100'000'000U);
    service.complete();
    service.complete();
    EXPECT_GE(lane.result().latencies.quantile(0), 80'000'000U);
}

TEST_F(LaneTest, NextStartIsReturnedIfMoreCanBeSent) {
    Lane lane(service, request, open(milliseconds(3'600'000), milliseconds(0)));
    EXPECT_EQ(lane.pump(), now + hours(1));
    EXPECT_EQ(service.requests, 1);
    Lane soon(service, request, open(milliseconds(1'000'000), milliseconds(0)));
    EXPECT_EQ(soon.pump(), now + milliseconds(1'000'000));
}

TEST_F(LaneTest, ErrorsAreCountedByCode) {
    Lane lane(service, request, closed(1));
    lane.pump();
    service.next()->onError(Response::createErrorResponse(404, "nothing"));
    service.next()->onError(Response::createErrorResponse(429, "slow down"));
    service.next()->onError(Response::createErrorResponse(404, "nothing"));
    EXPECT_THAT(lane.result().errors, ElementsAre(Pair(404, 2), Pair(429, 1)));
    EXPECT_EQ(lane.result().answered, 0U);
    EXPECT_EQ(lane.result().latencies.count(), 0U);
    EXPECT_EQ(service.requests, 4);
}

TEST_F(LaneTest, LostConnectionEndsTheLoop) {
    Lane lane(service, request, closed(1));
    lane.pump();
    service.next()->onError(Response::createErrorResponse(503, "lost: the service has ended"));
    EXPECT_TRUE(lane.isOver());
    EXPECT_EQ(lane.result().lost, "lost: the service has ended");
    EXPECT_EQ(service.requests, 1);
}

TEST_F(LaneTest, RequestsThatFailImmediatelyCauseNoRecursion) {
    service.refusals = 1'000'000;
    Lane lane(service, request, closed(100));
    lane.pump();
    EXPECT_EQ(service.requests, 100);
    EXPECT_THAT(lane.result().errors, ElementsAre(Pair(503, 100)));
    service.refusals = 0;
    lane.pump();
    EXPECT_EQ(lane.result().open, 100U);
}

TEST(LaneResultTest, SumHasTheCountsOfBothResults) {
    LaneResult one;
    one.answered = 1;
    one.errors[404] = 2;
    one.latencies.add(5);
    LaneResult other;
    other.answered = 10;
    other.errors[404] = 1;
    other.open = 3;
    other.unsent = 4;
    other.lost = "lost: it";
    one.add(other);
    EXPECT_EQ(one.answered, 11U);
    EXPECT_THAT(one.errors, ElementsAre(Pair(404, 3)));
    EXPECT_EQ(one.open, 3U);
    EXPECT_EQ(one.unsent, 4U);
    EXPECT_EQ(one.lost, "lost: it");
    EXPECT_EQ(one.latencies.count(), 1U);
    LaneResult last;
    last.lost = "lost: later";
    one.add(last);
    EXPECT_EQ(one.lost, "lost: it") << "the first reason stays";
}

}  // namespace
}  // namespace kova::tool
