#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>

#include "osal/Alarm.h"
#include "osal/AlarmTimer.h"
#include "support/ManualClock.h"

namespace {

using kova::test::ManualClock;
using osal::Alarm;
using osal::AlarmTimer;
using std::chrono::milliseconds;

void doNothing(void*) {}

TEST(AlarmTimerTest, UnusedTimerHasNoThread) {
    ManualClock clock;
    { const AlarmTimer timer(clock); }
    EXPECT_FALSE(clock.isWaitedOn());
}

TEST(AlarmTimerTest, ThreadRunsWhileThereAreAlarms) {
    ManualClock clock;
    AlarmTimer timer(clock);
    for (int round = 0; round < 3; ++round) {
        auto first = std::make_unique<Alarm>(timer, doNothing, nullptr);
        clock.settle();
        auto second = std::make_unique<Alarm>(timer, doNothing, nullptr);
        first.reset();
        clock.settle();
        second.reset();
        EXPECT_FALSE(clock.isWaitedOn()) << round;
    }
}

TEST(AlarmTimerTest, AllCallbacksRunOnTheThreadOfTheTimer) {
    ManualClock clock;
    AlarmTimer timer(clock);
    std::thread::id threads[2];
    const auto note = [](void* id) {
        *static_cast<std::thread::id*>(id) = std::this_thread::get_id();
    };
    Alarm first(timer, note, &threads[0]);
    Alarm second(timer, note, &threads[1]);
    ASSERT_FALSE(first.arm(milliseconds(1)));
    ASSERT_FALSE(second.arm(milliseconds(2)));
    clock.advance(milliseconds(2));
    EXPECT_EQ(threads[0], threads[1]);
    EXPECT_NE(threads[0], std::thread::id());
    EXPECT_NE(threads[0], std::this_thread::get_id());
}

// An alarm that destroys itself, the last one of its timer, in its callback.
struct LastAlarm {
    explicit LastAlarm(AlarmTimer& timer) : alarm(new Alarm(timer, expired, this)) {}
    static void expired(void* user) {
        auto* const self = static_cast<LastAlarm*>(user);
        self->alarm.reset();
        self->done.set_value();
    }
    std::unique_ptr<Alarm> alarm;
    std::promise<void> done;
};

TEST(AlarmTimerTest, ThreadRestartsAfterACallbackDestroyedTheLastAlarm) {
    ManualClock clock;
    AlarmTimer timer(clock);
    for (int round = 0; round < 100; ++round) {
        LastAlarm last(timer);
        ASSERT_FALSE(last.alarm->arm(milliseconds(0)));
        last.done.get_future().wait();
    }
    Alarm another(timer, doNothing, nullptr);
    clock.settle();
}

TEST(AlarmTimerTest, CanBeDestroyedAfterItsLastAlarm) {
    for (int round = 0; round < 100; ++round) {
        ManualClock clock;
        AlarmTimer timer(clock);
        LastAlarm last(timer);
        ASSERT_FALSE(last.alarm->arm(milliseconds(0)));
        last.done.get_future().wait();
    }
}

TEST(AlarmTimerTest, SharedTimerMeasuresDelaysOnTheSteadyClock) {
    std::promise<std::chrono::steady_clock::time_point> called;
    Alarm alarm(
        Alarm::DEFAULT_TIMER,
        [](void* promise) {
            static_cast<std::promise<std::chrono::steady_clock::time_point>*>(promise)->set_value(
                std::chrono::steady_clock::now());
        },
        &called);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_FALSE(alarm.arm(milliseconds(1)));
    EXPECT_GE(called.get_future().get() - start, milliseconds(1));
}

TEST(AlarmTimerDeathTest, DestroyingATimerWithAlarmsAborts) {
    EXPECT_DEATH(
        {
            auto timer = std::make_unique<AlarmTimer>();
            Alarm alarm(*timer, doNothing, nullptr);
            timer.reset();
        },
        "");
}

TEST(AlarmTimerDeathTest, ExceptionInACallbackTerminatesTheProcess) {
    EXPECT_DEATH(
        {
            Alarm alarm(
                Alarm::DEFAULT_TIMER, [](void*) { throw std::runtime_error("from the callback"); },
                nullptr);
            static_cast<void>(alarm.arm(milliseconds(0)));
            std::promise<void>().get_future().wait();
        },
        "from the callback");
}

TEST(AlarmTimerDeathTest, ProcessCanExitWithArmedAlarms) {
    EXPECT_EXIT(
        {
            static Alarm alarm(
                Alarm::DEFAULT_TIMER,
                [](void*) { static_cast<void>(alarm.rearm(milliseconds(1))); }, nullptr);
            static_cast<void>(alarm.arm(milliseconds(0)));
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(AlarmTimerDeathTest, ProcessCanExitWithLeakedAlarms) {
    EXPECT_EXIT(
        {
            static Alarm* const alarm = new Alarm(
                Alarm::DEFAULT_TIMER,
                [](void*) { static_cast<void>(alarm->rearm(milliseconds(1))); }, nullptr);
            static_cast<void>(alarm->arm(milliseconds(0)));
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(AlarmTimerDeathTest, CallbackCanExitTheProcess) {
    EXPECT_EXIT(
        {
            static Alarm alarm(
                Alarm::DEFAULT_TIMER, [](void*) { std::exit(0); }, nullptr);
            static_cast<void>(alarm.arm(milliseconds(0)));
            std::promise<void>().get_future().wait();
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
