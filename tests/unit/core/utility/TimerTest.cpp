#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <type_traits>

#include "kova/core/Timer.h"
#include "osal/AlarmTimer.h"
#include "support/ManualClock.h"

namespace {

using kova::FunctionalTimer;
using kova::test::ManualClock;
using std::chrono::milliseconds;

static_assert(std::is_base_of_v<osal::Timer, FunctionalTimer>);
static_assert(std::has_virtual_destructor_v<FunctionalTimer>);

class TimerTest : public testing::Test {
protected:
    std::function<void()> counting() {
        return [this] { ++calls; };
    }

    int calls = 0;
    ManualClock clock;
    osal::AlarmTimer alarms{clock};
    // Keeps the thread of the timer running.
    FunctionalTimer idle{[] {}, alarms};
};

TEST_F(TimerTest, CallsItsFunctionOnceForEachStart) {
    FunctionalTimer timer(counting(), alarms);
    for (int start = 1; start < 4; ++start) {
        EXPECT_FALSE(timer.start(milliseconds(10)));
        clock.advance(milliseconds(9));
        EXPECT_EQ(calls, start - 1);
        clock.advance(milliseconds(1));
        EXPECT_EQ(calls, start);
        clock.advance(milliseconds(100));
        EXPECT_EQ(calls, start);
    }
}

TEST_F(TimerTest, StoppedTimerDoesNotCallItsFunction) {
    FunctionalTimer timer(counting(), alarms);
    EXPECT_FALSE(timer.start(milliseconds(10)));
    timer.stop();
    clock.advance(milliseconds(10));
    EXPECT_EQ(calls, 0);
}

TEST_F(TimerTest, DestroyedTimerDoesNotCallItsFunctionAndReleasesIt) {
    const auto owned = std::make_shared<int>();
    std::unique_ptr<osal::Timer> timer =
        std::make_unique<FunctionalTimer>([this, owned] { ++calls; }, alarms);
    EXPECT_FALSE(timer->start(milliseconds(10)));
    timer.reset();
    EXPECT_EQ(owned.use_count(), 1);
    clock.advance(milliseconds(10));
    EXPECT_EQ(calls, 0);
}

TEST_F(TimerTest, FunctionCanRestartItsTimer) {
    std::unique_ptr<FunctionalTimer> timer;
    timer = std::make_unique<FunctionalTimer>(
        [&] {
            ++calls;
            EXPECT_FALSE(timer->start(milliseconds(10)));
        },
        alarms);
    EXPECT_FALSE(timer->start(milliseconds(10)));
    clock.advance(milliseconds(10));
    clock.advance(milliseconds(10));
    EXPECT_EQ(calls, 2);
}

TEST_F(TimerTest, FunctionCanDestroyItsTimer) {
    const auto owned = std::make_shared<int>(7);
    std::unique_ptr<FunctionalTimer> timer;
    timer = std::make_unique<FunctionalTimer>(
        [&, owned] {
            timer.reset();
            calls += *owned;
        },
        alarms);
    EXPECT_FALSE(timer->start(milliseconds(10)));
    clock.advance(milliseconds(10));
    EXPECT_EQ(calls, 7);
    EXPECT_EQ(owned.use_count(), 1);
}

TEST_F(TimerTest, CallbackCallsTheFunction) {
    FunctionalTimer timer(counting(), alarms);
    FunctionalTimer::timerCallback(&timer);
    EXPECT_EQ(calls, 1);
}

TEST_F(TimerTest, CallbackThrowsBadFunctionCallForAnEmptyFunction) {
    FunctionalTimer timer(std::function<void()>(), alarms);
    EXPECT_THROW(FunctionalTimer::timerCallback(&timer), std::bad_function_call);
}

TEST(TimerDefaultTimerTest, FunctionRunsOnAnotherThread) {
    std::promise<std::thread::id> called;
    FunctionalTimer timer([&] { called.set_value(std::this_thread::get_id()); });
    EXPECT_FALSE(timer.start(milliseconds(1)));
    EXPECT_NE(called.get_future().get(), std::this_thread::get_id());
}

TEST(TimerConcurrencyTest, DestroyingWaitsForTheFunction) {
    osal::AlarmTimer alarms;
    for (int round = 0; round < 50; ++round) {
        std::promise<void> entered;
        bool done = false;  // not atomic: destroying the timer synchronizes
        {
            FunctionalTimer timer(
                [&] {
                    entered.set_value();
                    std::this_thread::yield();
                    done = true;
                },
                alarms);
            EXPECT_FALSE(timer.start(milliseconds(1)));
            entered.get_future().wait();
        }
        EXPECT_TRUE(done) << round;
    }
}

}  // namespace
