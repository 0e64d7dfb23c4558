#include <gtest/gtest.h>

#include "kova/core/headers.h"
#include "kova/kit/Middleware.h"
#include "kova/testing/ManualClock.h"
#include "kova/testing/Recording.h"
#include "support/HeldService.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;
using Events = testing::Recording::Events;

const Request REQUEST("retrieve", "/state");
const Events TIMED_OUT{"error 504 no answer within 5000 ms to retrieve '/state'"};

struct Timed {
    Timed() { chain.use(metrics(registry, {"/state"})).use(deadline(5s, &clock)); }

    testing::ManualClock clock;
    MetricsRegistry registry;
    test::HeldService service;
    Chain chain{service};
    testing::Recording recording = testing::record();
};

TEST(Deadline, LateRequestIsCancelledAndAnsweredWith504) {
    Timed timed;
    timed.chain.actionRequest(REQUEST, timed.recording.handler());
    timed.clock.advance(4999ms);
    EXPECT_EQ(timed.recording.events(), Events());
    timed.clock.advance(1ms);
    EXPECT_EQ(timed.recording.waitFor(1), TIMED_OUT);
    EXPECT_EQ(timed.service.waitForCancelled(1), (std::vector<std::size_t>{1}));
    EXPECT_NE(timed.registry.text().find("code=\"5xx\"} 1\n"), std::string::npos);
    EXPECT_NE(timed.registry.text().find("kova_requests_pending 0\n"), std::string::npos);
}

TEST(Deadline, AnswersBeforeTheDeadlineAreUnchanged) {
    Timed timed;
    timed.chain.actionRequest(REQUEST, timed.recording.handler());
    timed.clock.advance(4999ms);
    timed.service.answer(1);
    timed.clock.advance(1h);
    EXPECT_EQ(timed.recording.events(), (Events{"value 200", "completed"}));
}

TEST(Deadline, ValueWithoutAnEndDoesNotMeetTheDeadline) {
    Timed timed;
    timed.chain.actionRequest(REQUEST, timed.recording.handler());
    timed.service[1].onNext(Response(298));
    timed.clock.advance(5s);
    EXPECT_EQ(timed.recording.waitFor(2)[1], TIMED_OUT[0]);
}

TEST(Deadline, DeadlineOfAStreamAppliesToItsFirstValue) {
    Timed timed;
    Request request("retrieve", "/state");
    headers::appendResponseSemantic(request, headers::PERSISTENT_STREAM);
    timed.chain.actionRequest(request, timed.recording.handler());
    timed.service[1].onNext(Response(299));
    timed.clock.advance(1h);
    timed.service[1].onNext(Response(299));
    timed.service.take(1)->onCompleted();
    EXPECT_EQ(timed.recording.events(), (Events{"value 299", "value 299", "completed"}));
    auto late = testing::record();
    timed.chain.actionRequest(request, late.handler());
    timed.clock.advance(5s);
    EXPECT_EQ(late.waitFor(1), TIMED_OUT);
}

TEST(Deadline, ShorterOfTwoDeadlinesApplies) {
    for (const bool shorterFirst : {true, false}) {
        testing::ManualClock clock;
        test::HeldService service;
        Chain chain(service);
        chain.use(deadline(shorterFirst ? 1s : 9s, &clock));
        chain.use(deadline(shorterFirst ? 9s : 1s, &clock)).use(deadline(0s));
        auto recording = testing::record();
        chain.actionRequest(REQUEST, recording.handler());
        clock.advance(1s);
        EXPECT_EQ(recording.waitFor(1),
                  (Events{"error 504 no answer within 1000 ms to retrieve '/state'"}));
        service.waitForCancelled(1);
    }
}

}  // namespace
}  // namespace kova::kit
