#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <utility>

#include "osal/Alarm.h"
#include "osal/AlarmTimer.h"
#include "support/ManualClock.h"

namespace {

using kova::test::ManualClock;
using osal::Alarm;
using osal::AlarmTimer;
using std::chrono::milliseconds;

// An alarm with a std::function, which is how alarms are typically used.
struct TestAlarm {
    TestAlarm(AlarmTimer& timer, std::function<void(TestAlarm&)> body)
        : function(std::move(body)), alarm(timer, expired, this) {}
    static void expired(void* user) {
        auto* const self = static_cast<TestAlarm*>(user);
        ++self->calls;
        const auto keep = self->function;
        keep(*self);
    }

    std::function<void(TestAlarm&)> function;
    int calls = 0;
    Alarm alarm;
};

void doNothing(TestAlarm&) {}

class AlarmTest : public testing::Test {
protected:
    ManualClock clock;
    AlarmTimer timer{clock};
    // Keeps the timer's thread alive.
    TestAlarm idle{timer, doNothing};
};

TEST_F(AlarmTest, RunsOnceAfterItsDelay) {
    TestAlarm alarm(timer, doNothing);
    ASSERT_FALSE(alarm.alarm.arm(milliseconds(10)));
    clock.advance(milliseconds(9));
    EXPECT_EQ(alarm.calls, 0);
    clock.advance(milliseconds(1));
    EXPECT_EQ(alarm.calls, 1);
    clock.advance(milliseconds(1000));
    EXPECT_EQ(alarm.calls, 1);
}

TEST_F(AlarmTest, DelayOfZeroOrLessIsDueImmediately) {
    for (const milliseconds delay : {milliseconds(0), milliseconds(-1), milliseconds::min()}) {
        TestAlarm alarm(timer, doNothing);
        ASSERT_FALSE(alarm.alarm.arm(delay));
        clock.settle();
        EXPECT_EQ(alarm.calls, 1) << delay.count();
    }
}

TEST_F(AlarmTest, DelaysAboveTheMaximumAreReducedToIt) {
    TestAlarm alarm(timer, doNothing);
    ASSERT_FALSE(alarm.alarm.arm(milliseconds::max()));
    clock.advance(Alarm::LONGEST - milliseconds(1));
    EXPECT_EQ(alarm.calls, 0);
    clock.advance(milliseconds(1));
    EXPECT_EQ(alarm.calls, 1);
}

TEST_F(AlarmTest, ArmingAgainReplacesThePendingExpiry) {
    TestAlarm alarm(timer, doNothing);
    ASSERT_FALSE(alarm.alarm.arm(milliseconds(10)));
    ASSERT_FALSE(alarm.alarm.arm(milliseconds(20)));
    clock.advance(milliseconds(19));
    EXPECT_EQ(alarm.calls, 0);
    clock.advance(milliseconds(1));
    EXPECT_EQ(alarm.calls, 1);
    ASSERT_FALSE(alarm.alarm.arm(milliseconds(20)));
    ASSERT_FALSE(alarm.alarm.arm(milliseconds(10)));
    clock.advance(milliseconds(10));
    EXPECT_EQ(alarm.calls, 2);
    clock.advance(milliseconds(10));
    EXPECT_EQ(alarm.calls, 2);
}

TEST_F(AlarmTest, DisarmedAlarmDoesNotRun) {
    TestAlarm alarm(timer, doNothing);
    alarm.alarm.disarm();
    ASSERT_FALSE(alarm.alarm.arm(milliseconds(10)));
    alarm.alarm.disarm();
    alarm.alarm.disarm();
    clock.advance(milliseconds(10));
    EXPECT_EQ(alarm.calls, 0);
}

TEST_F(AlarmTest, DestroyedAlarmDoesNotRun) {
    int calls = 0;
    {
        TestAlarm alarm(timer, [&calls](TestAlarm&) { ++calls; });
        ASSERT_FALSE(alarm.alarm.arm(milliseconds(10)));
    }
    clock.advance(milliseconds(10));
    EXPECT_EQ(calls, 0);
}

TEST_F(AlarmTest, RearmingInALateCallbackKeepsThePeriod) {
    TestAlarm alarm(timer,
                    [](TestAlarm& self) { EXPECT_FALSE(self.alarm.rearm(milliseconds(10))); });
    ASSERT_FALSE(alarm.alarm.arm(milliseconds(10)));
    clock.advance(milliseconds(17));
    EXPECT_EQ(alarm.calls, 1);
    clock.advance(milliseconds(2));
    EXPECT_EQ(alarm.calls, 1);
    clock.advance(milliseconds(1));
    EXPECT_EQ(alarm.calls, 2);
    clock.advance(milliseconds(10));
    EXPECT_EQ(alarm.calls, 3);
}

struct LateRow {
    int late;
    int nextAfter;
};

TEST_F(AlarmTest, MissedExpiriesAreSkipped) {
    for (const LateRow& row : {LateRow{0, 10}, LateRow{9, 1}, LateRow{10, 10}, LateRow{11, 9},
                               LateRow{35, 5}, LateRow{1000000009, 1}}) {
        TestAlarm alarm(timer,
                        [](TestAlarm& self) { EXPECT_FALSE(self.alarm.rearm(milliseconds(10))); });
        ASSERT_FALSE(alarm.alarm.arm(milliseconds(10)));
        clock.advance(milliseconds(10 + row.late));
        EXPECT_EQ(alarm.calls, 1) << row.late;
        clock.advance(milliseconds(row.nextAfter - 1));
        EXPECT_EQ(alarm.calls, 1) << row.late;
        clock.advance(milliseconds(1));
        EXPECT_EQ(alarm.calls, 2) << row.late;
    }
}

TEST_F(AlarmTest, RearmingOutsideTheCallbackCountsFromNow) {
    TestAlarm alarm(timer, doNothing);
    ASSERT_FALSE(alarm.alarm.rearm(milliseconds(10)));
    clock.advance(milliseconds(15));
    EXPECT_EQ(alarm.calls, 1);
    ASSERT_FALSE(alarm.alarm.rearm(milliseconds(10)));
    clock.advance(milliseconds(9));
    EXPECT_EQ(alarm.calls, 1);
    clock.advance(milliseconds(1));
    EXPECT_EQ(alarm.calls, 2);
}

TEST_F(AlarmTest, RearmingAnotherAlarmInACallbackCountsFromNow) {
    TestAlarm other(timer, doNothing);
    TestAlarm alarm(timer,
                    [&other](TestAlarm&) { EXPECT_FALSE(other.alarm.rearm(milliseconds(10))); });
    ASSERT_FALSE(alarm.alarm.arm(milliseconds(10)));
    clock.advance(milliseconds(15));
    clock.advance(milliseconds(9));
    EXPECT_EQ(other.calls, 0);
    clock.advance(milliseconds(1));
    EXPECT_EQ(other.calls, 1);
}

TEST_F(AlarmTest, RearmWithAZeroPeriodKeepsThePendingExpiry) {
    TestAlarm alarm(timer, doNothing);
    ASSERT_FALSE(alarm.alarm.arm(milliseconds(10)));
    EXPECT_TRUE(alarm.alarm.rearm(milliseconds(0)));
    EXPECT_TRUE(alarm.alarm.rearm(milliseconds(-1)));
    clock.advance(milliseconds(10));
    EXPECT_EQ(alarm.calls, 1);
}

TEST_F(AlarmTest, ArmingInTheCallbackCountsFromNow) {
    TestAlarm alarm(timer, [](TestAlarm& self) { EXPECT_FALSE(self.alarm.arm(milliseconds(10))); });
    ASSERT_FALSE(alarm.alarm.arm(milliseconds(10)));
    clock.advance(milliseconds(15));
    clock.advance(milliseconds(9));
    EXPECT_EQ(alarm.calls, 1);
    clock.advance(milliseconds(1));
    EXPECT_EQ(alarm.calls, 2);
}

TEST_F(AlarmTest, CallbackCanDisarmItsRearmedAlarm) {
    TestAlarm alarm(timer, [](TestAlarm& self) {
        EXPECT_FALSE(self.alarm.rearm(milliseconds(10)));
        self.alarm.disarm();
    });
    ASSERT_FALSE(alarm.alarm.arm(milliseconds(10)));
    clock.advance(milliseconds(10));
    clock.advance(milliseconds(100));
    EXPECT_EQ(alarm.calls, 1);
}

TEST_F(AlarmTest, CallbackCanArmItsAlarmAfterDisarmingIt) {
    TestAlarm alarm(timer, [](TestAlarm& self) {
        self.alarm.disarm();
        EXPECT_FALSE(self.alarm.arm(milliseconds(10)));
    });
    ASSERT_FALSE(alarm.alarm.arm(milliseconds(10)));
    clock.advance(milliseconds(10));
    clock.advance(milliseconds(10));
    EXPECT_EQ(alarm.calls, 2);
}

TEST_F(AlarmTest, CallbackCanDestroyItsRearmedAlarm) {
    int calls = 0;
    std::unique_ptr<TestAlarm> alarm;
    alarm = std::make_unique<TestAlarm>(timer, [&](TestAlarm& self) {
        EXPECT_FALSE(self.alarm.rearm(milliseconds(10)));
        ++calls;
        alarm.reset();
    });
    ASSERT_FALSE(alarm->alarm.arm(milliseconds(10)));
    clock.advance(milliseconds(10));
    clock.advance(milliseconds(100));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(alarm, nullptr);
}

TEST_F(AlarmTest, CallbackCanDisarmAndDestroyOtherDueAlarms) {
    TestAlarm disarmed(timer, doNothing);
    int destroyedCalls = 0;
    auto destroyed = std::make_unique<TestAlarm>(timer, [&](TestAlarm&) { ++destroyedCalls; });
    TestAlarm alarm(timer, [&](TestAlarm&) {
        disarmed.alarm.disarm();
        destroyed.reset();
    });
    ASSERT_FALSE(alarm.alarm.arm(milliseconds(10)));
    ASSERT_FALSE(disarmed.alarm.arm(milliseconds(10)));
    ASSERT_FALSE(destroyed->alarm.arm(milliseconds(10)));
    clock.advance(milliseconds(10));
    EXPECT_EQ(alarm.calls, 1);
    EXPECT_EQ(disarmed.calls, 0);
    EXPECT_EQ(destroyedCalls, 0);
}

TEST_F(AlarmTest, CallbackCanReplaceItsAlarm) {
    int calls = 0;
    std::unique_ptr<TestAlarm> alarm;
    const std::function<void(TestAlarm&)> replace = [&](TestAlarm&) {
        ++calls;
        alarm.reset();
        alarm = std::make_unique<TestAlarm>(timer, replace);
        EXPECT_FALSE(alarm->alarm.arm(milliseconds(10)));
    };
    alarm = std::make_unique<TestAlarm>(timer, replace);
    ASSERT_FALSE(alarm->alarm.arm(milliseconds(10)));
    clock.advance(milliseconds(10));
    clock.advance(milliseconds(10));
    EXPECT_EQ(calls, 2);
}

}  // namespace
