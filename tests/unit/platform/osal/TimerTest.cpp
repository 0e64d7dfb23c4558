#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>

#include "osal/AlarmTimer.h"
#include "osal/Timer.h"
#include "support/ManualClock.h"

namespace {

using kova::test::ManualClock;
using osal::AlarmTimer;
using osal::Timer;
using std::chrono::milliseconds;

// A derived timer with additional members.
class CountingTimer : public Timer {
public:
    CountingTimer(bool periodic, AlarmTimer& timer) : Timer(expired, periodic, timer) {}
    ~CountingTimer() override { stop(); }

    int calls = 0;
    std::function<void(CountingTimer&)> onExpiry;

private:
    static void expired(Timer* timer) {
        auto* const self = static_cast<CountingTimer*>(timer);
        ++self->calls;
        if (self->onExpiry) {
            const auto keep = self->onExpiry;
            keep(*self);
        }
    }
};

class TimerTest : public testing::Test {
protected:
    ManualClock clock;
    AlarmTimer alarms{clock};
    // Keeps the thread of `alarms` alive.
    CountingTimer idle{false, alarms};
};

TEST_F(TimerTest, OneShotTimerExpiresOnce) {
    CountingTimer timer(false, alarms);
    ASSERT_FALSE(timer.start(milliseconds(10)));
    clock.advance(milliseconds(9));
    EXPECT_EQ(timer.calls, 0);
    clock.advance(milliseconds(1));
    EXPECT_EQ(timer.calls, 1);
    clock.advance(milliseconds(10));
    EXPECT_EQ(timer.calls, 1);
}

TEST_F(TimerTest, PeriodicTimerExpiresRepeatedly) {
    CountingTimer timer(true, alarms);
    ASSERT_FALSE(timer.start(milliseconds(10)));
    for (int expiry = 1; expiry < 5; ++expiry) {
        clock.advance(milliseconds(9));
        EXPECT_EQ(timer.calls, expiry - 1);
        clock.advance(milliseconds(1));
        EXPECT_EQ(timer.calls, expiry);
    }
}

TEST_F(TimerTest, StartingAgainReplacesThePendingExpiry) {
    CountingTimer timer(true, alarms);
    ASSERT_FALSE(timer.start(milliseconds(10)));
    ASSERT_FALSE(timer.start(milliseconds(15)));
    clock.advance(milliseconds(14));
    EXPECT_EQ(timer.calls, 0);
    clock.advance(milliseconds(1));
    EXPECT_EQ(timer.calls, 1);
    clock.advance(milliseconds(15));
    EXPECT_EQ(timer.calls, 2);
}

TEST_F(TimerTest, StartWithAZeroIntervalKeepsTheTimerRunning) {
    CountingTimer timer(true, alarms);
    ASSERT_FALSE(timer.start(milliseconds(10)));
    EXPECT_TRUE(timer.start(milliseconds(0)));
    EXPECT_TRUE(timer.start(milliseconds(-1)));
    clock.advance(milliseconds(10));
    clock.advance(milliseconds(10));
    EXPECT_EQ(timer.calls, 2);
}

TEST_F(TimerTest, StoppedTimerDoesNotExpire) {
    CountingTimer timer(true, alarms);
    timer.stop();
    ASSERT_FALSE(timer.start(milliseconds(10)));
    timer.stop();
    clock.advance(milliseconds(10));
    EXPECT_EQ(timer.calls, 0);
}

TEST_F(TimerTest, CallbackCanStopAPeriodicTimer) {
    CountingTimer timer(true, alarms);
    timer.onExpiry = [](CountingTimer& self) { self.stop(); };
    ASSERT_FALSE(timer.start(milliseconds(10)));
    clock.advance(milliseconds(10));
    clock.advance(milliseconds(10));
    EXPECT_EQ(timer.calls, 1);
}

TEST_F(TimerTest, StartingInTheCallbackCountsFromNow) {
    CountingTimer timer(false, alarms);
    timer.onExpiry = [](CountingTimer& self) { EXPECT_FALSE(self.start(milliseconds(20))); };
    ASSERT_FALSE(timer.start(milliseconds(10)));
    clock.advance(milliseconds(15));
    clock.advance(milliseconds(19));
    EXPECT_EQ(timer.calls, 1);
    clock.advance(milliseconds(1));
    EXPECT_EQ(timer.calls, 2);
}

TEST_F(TimerTest, CallbackCanDestroyAPeriodicTimer) {
    int calls = 0;
    auto timer = std::make_unique<CountingTimer>(true, alarms);
    timer->onExpiry = [&](CountingTimer&) {
        ++calls;
        timer.reset();
    };
    ASSERT_FALSE(timer->start(milliseconds(10)));
    clock.advance(milliseconds(10));
    clock.advance(milliseconds(10));
    EXPECT_EQ(calls, 1);
}

}  // namespace
