#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "kova/core/Alarm.h"
#include "kova/core/Errors.h"
#include "osal/AlarmTimer.h"
#include "support/ManualClock.h"
#include "support/Reports.h"

namespace {

using kova::FunctionalAlarm;
using kova::test::ManualClock;
using kova::test::Reports;
using std::chrono::milliseconds;

class AlarmTest : public testing::Test {
protected:
    std::function<void()> counting() {
        return [this] { ++calls; };
    }

    int calls = 0;
    ManualClock clock;
    osal::AlarmTimer timer{clock};
    // Keeps the thread of the timer running.
    FunctionalAlarm idle{[] {}, timer};
};

TEST_F(AlarmTest, OneShotAlarmCallsItsFunctionOnce) {
    FunctionalAlarm alarm(counting(), timer);
    EXPECT_FALSE(alarm.start(10, false));
    clock.advance(milliseconds(9));
    EXPECT_EQ(calls, 0);
    clock.advance(milliseconds(1));
    EXPECT_EQ(calls, 1);
    clock.advance(milliseconds(100));
    EXPECT_EQ(calls, 1);
}

TEST_F(AlarmTest, PeriodicAlarmCallsItsFunctionInEachInterval) {
    FunctionalAlarm alarm(counting(), timer);
    EXPECT_FALSE(alarm.start(10, true));
    for (int call = 1; call < 5; ++call) {
        clock.advance(milliseconds(9));
        EXPECT_EQ(calls, call - 1);
        clock.advance(milliseconds(1));
        EXPECT_EQ(calls, call);
    }
}

TEST_F(AlarmTest, LateCallsDoNotShiftThePeriod) {
    FunctionalAlarm alarm(counting(), timer);
    EXPECT_FALSE(alarm.start(10, true));
    clock.advance(milliseconds(16));
    EXPECT_EQ(calls, 1);
    clock.advance(milliseconds(4));
    EXPECT_EQ(calls, 2);
}

TEST_F(AlarmTest, MissedCallsAreNotRepeated) {
    FunctionalAlarm alarm(counting(), timer);
    EXPECT_FALSE(alarm.start(10, true));
    clock.advance(milliseconds(10000005));
    EXPECT_EQ(calls, 1);
    clock.advance(milliseconds(5));
    EXPECT_EQ(calls, 2);
}

TEST_F(AlarmTest, FullRangeOfTheIntervalIsSupported) {
    FunctionalAlarm alarm(counting(), timer);
    EXPECT_FALSE(alarm.start(4294967295U, true));
    clock.advance(milliseconds(4294967294));
    EXPECT_EQ(calls, 0);
    clock.advance(milliseconds(1));
    EXPECT_EQ(calls, 1);
    clock.advance(milliseconds(4294967295));
    EXPECT_EQ(calls, 2);
}

TEST_F(AlarmTest, StartingAgainRestartsTheInterval) {
    FunctionalAlarm alarm(counting(), timer);
    EXPECT_FALSE(alarm.start(10, true));
    clock.advance(milliseconds(5));
    EXPECT_FALSE(alarm.start(10, false));
    clock.advance(milliseconds(9));
    EXPECT_EQ(calls, 0);
    clock.advance(milliseconds(1));
    EXPECT_EQ(calls, 1);
    clock.advance(milliseconds(100));
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(alarm.start(20, true));
    clock.advance(milliseconds(20));
    clock.advance(milliseconds(20));
    EXPECT_EQ(calls, 3);
}

TEST_F(AlarmTest, ZeroIntervalIsReportedAndKeepsTheAlarmRunning) {
    Reports reports;
    FunctionalAlarm alarm(counting(), timer);
    EXPECT_FALSE(alarm.start(10, true));
    EXPECT_TRUE(alarm.start(0, false));
    EXPECT_EQ(zel::ErrorStorage::current().number(), kova::errors::InvalidParameter);
    const auto taken = reports.take();
    ASSERT_EQ(taken.size(), 1U);
    EXPECT_EQ(taken[0].type, "kova::errors::Error");
    EXPECT_EQ(taken[0].number, 10);
    EXPECT_EQ(taken[0].reason, "parameter 'zero tick interval specified' is invalid");
    EXPECT_EQ(taken[0].file, "src/core/utility/Alarm");
    EXPECT_EQ(taken[0].line, 29);
    clock.advance(milliseconds(10));
    clock.advance(milliseconds(10));
    EXPECT_EQ(calls, 2);
}

TEST_F(AlarmTest, ZeroIntervalDoesNotStartAnIdleAlarm) {
    Reports reports;
    FunctionalAlarm alarm(counting(), timer);
    EXPECT_TRUE(alarm.start(0, true));
    clock.advance(milliseconds(10));
    EXPECT_EQ(calls, 0);
}

TEST_F(AlarmTest, StoppedAlarmDoesNotCallItsFunction) {
    FunctionalAlarm alarm(counting(), timer);
    alarm.stop();
    for (const bool periodic : {false, true}) {
        EXPECT_FALSE(alarm.start(10, periodic));
        alarm.stop();
        alarm.stop();
        clock.advance(milliseconds(10));
        EXPECT_EQ(calls, 0) << periodic;
    }
}

TEST_F(AlarmTest, DestroyedAlarmDoesNotCallItsFunctionAndReleasesIt) {
    const auto owned = std::make_shared<int>();
    {
        FunctionalAlarm alarm([this, owned] { ++calls; }, timer);
        EXPECT_FALSE(alarm.start(10, true));
    }
    EXPECT_EQ(owned.use_count(), 1);
    clock.advance(milliseconds(10));
    EXPECT_EQ(calls, 0);
}

TEST_F(AlarmTest, FunctionCanStopItsPeriodicAlarm) {
    std::unique_ptr<FunctionalAlarm> alarm;
    alarm = std::make_unique<FunctionalAlarm>(
        [&] {
            ++calls;
            alarm->stop();
        },
        timer);
    EXPECT_FALSE(alarm->start(10, true));
    clock.advance(milliseconds(10));
    clock.advance(milliseconds(100));
    EXPECT_EQ(calls, 1);
}

TEST_F(AlarmTest, FunctionCanRestartItsAlarm) {
    std::unique_ptr<FunctionalAlarm> alarm;
    alarm = std::make_unique<FunctionalAlarm>(
        [&] {
            ++calls;
            EXPECT_FALSE(alarm->start(20, false));
        },
        timer);
    EXPECT_FALSE(alarm->start(10, true));
    clock.advance(milliseconds(15));
    clock.advance(milliseconds(19));
    EXPECT_EQ(calls, 1);
    clock.advance(milliseconds(1));
    EXPECT_EQ(calls, 2);
}

TEST_F(AlarmTest, FunctionCanDestroyItsAlarm) {
    for (const bool periodic : {false, true}) {
        const auto owned = std::make_shared<int>(7);
        std::unique_ptr<FunctionalAlarm> alarm;
        alarm = std::make_unique<FunctionalAlarm>(
            [&, owned] {
                alarm.reset();
                calls += *owned;
            },
            timer);
        calls = 0;
        EXPECT_FALSE(alarm->start(10, periodic));
        clock.advance(milliseconds(10));
        clock.advance(milliseconds(100));
        EXPECT_EQ(calls, 7) << periodic;
        EXPECT_EQ(owned.use_count(), 1) << periodic;
    }
}

TEST_F(AlarmTest, CallbackCallsTheFunctionAndRearmsAPeriodicAlarm) {
    FunctionalAlarm alarm(counting(), timer);
    EXPECT_FALSE(alarm.start(10, true));
    FunctionalAlarm::alarmCallback(&alarm);
    EXPECT_EQ(calls, 1);
    clock.advance(milliseconds(10));
    EXPECT_EQ(calls, 2);
}

TEST_F(AlarmTest, CallbackThrowsBadFunctionCallForAnEmptyFunction) {
    FunctionalAlarm alarm(std::function<void()>(), timer);
    EXPECT_THROW(FunctionalAlarm::alarmCallback(&alarm), std::bad_function_call);
}

TEST(AlarmDeathTest, ExpiryWithAnEmptyFunctionEndsTheProcess) {
    EXPECT_DEATH(
        {
            FunctionalAlarm alarm{std::function<void()>()};
            static_cast<void>(alarm.start(1, false));
            std::promise<void>().get_future().wait();
        },
        "bad_function_call");
}

TEST(AlarmDefaultTimerTest, AlarmsShareOneThread) {
    std::promise<std::thread::id> ids[2];
    FunctionalAlarm first([&] { ids[0].set_value(std::this_thread::get_id()); });
    FunctionalAlarm second([&] { ids[1].set_value(std::this_thread::get_id()); });
    EXPECT_FALSE(first.start(1, false));
    EXPECT_FALSE(second.start(1, false));
    const auto id = ids[0].get_future().get();
    EXPECT_EQ(id, ids[1].get_future().get());
    EXPECT_NE(id, std::this_thread::get_id());
}

// Four threads start, stop and destroy alarms of one millisecond, the shortest interval.
TEST(AlarmConcurrencyTest, StoppedAndDestroyedAlarmsDoNotCallTheirFunctions) {
    std::atomic<int> violations{0};
    std::vector<std::thread> threads;
    for (unsigned int t = 0; t < 4; ++t) {
        threads.emplace_back([&violations] {
            for (int round = 0; round < 50; ++round) {
                std::atomic<int> calls{0};
                std::atomic<bool> forbidden{false};
                FunctionalAlarm alarm([&] {
                    ++calls;
                    violations += forbidden ? 1 : 0;
                });
                violations += alarm.start(1, true) ? 1 : 0;
                while (round % 2 == 0 && calls == 0) {
                    std::this_thread::yield();
                }
                if (round % 3 == 0) {
                    alarm.stop();
                    forbidden = true;
                    const int before = calls;
                    std::this_thread::yield();
                    violations += calls != before ? 1 : 0;
                    forbidden = false;
                    violations += alarm.start(1, false) ? 1 : 0;
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(violations, 0);
}

}  // namespace
