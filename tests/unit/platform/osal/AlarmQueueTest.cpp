// Tests of the alarm queue through the public interface of the timer.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <deque>
#include <random>
#include <utility>
#include <vector>

#include "osal/Alarm.h"
#include "osal/AlarmTimer.h"
#include "support/ManualClock.h"

namespace {

using kova::test::ManualClock;
using osal::Alarm;
using osal::AlarmTimer;
using std::chrono::milliseconds;

// Alarms that record their numbers in the order in which they run.
class RecordingAlarms {
public:
    RecordingAlarms(AlarmTimer& timer, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            numbered_.emplace_back(*this, timer, i);
        }
    }
    Alarm& operator[](std::size_t i) { return numbered_[i].alarm; }
    std::vector<std::size_t> take() { return std::exchange(called_, {}); }

private:
    struct Numbered {
        Numbered(RecordingAlarms& o, AlarmTimer& timer, std::size_t n)
            : owner(o), number(n), alarm(timer, expired, this) {}
        static void expired(void* user) {
            auto* const self = static_cast<Numbered*>(user);
            self->owner.called_.push_back(self->number);
        }
        RecordingAlarms& owner;
        std::size_t number;
        Alarm alarm;
    };
    std::vector<std::size_t> called_;
    std::deque<Numbered> numbered_;
};

TEST(AlarmQueueTest, AlarmsDueTogetherRunInArmingOrder) {
    ManualClock clock;
    AlarmTimer timer(clock);
    RecordingAlarms alarms(timer, 5);
    for (const std::size_t i : {3U, 0U, 4U, 1U, 2U}) {
        ASSERT_FALSE(alarms[i].arm(milliseconds(10)));
    }
    ASSERT_FALSE(alarms[0].arm(milliseconds(10)));
    clock.advance(milliseconds(10));
    EXPECT_EQ(alarms.take(), (std::vector<std::size_t>{3, 4, 1, 2, 0}));
}

TEST(AlarmQueueTest, RandomlyArmedAndDisarmedAlarmsRunInOrder) {
    constexpr std::size_t COUNT = 100000;
    ManualClock clock;
    AlarmTimer timer(clock);
    RecordingAlarms alarms(timer, COUNT);
    struct Armed {
        long due;
        std::size_t order;
        std::size_t number;
    };
    std::vector<Armed> armed(COUNT);
    std::mt19937 random(4711);
    // Long delays, so that the timer's thread sleeps while alarms are armed.
    std::uniform_int_distribution<long> delays(1000, 2000);
    std::uniform_int_distribution<std::size_t> numbers(0, COUNT - 1);
    const auto arm = [&](std::size_t number, std::size_t order) {
        armed[number] = {delays(random), order, number};
        ASSERT_FALSE(alarms[number].arm(milliseconds(armed[number].due)));
    };
    for (std::size_t i = 0; i < COUNT; ++i) {
        arm(i, i);
    }
    for (std::size_t i = 0; i < COUNT; ++i) {
        const std::size_t number = numbers(random);
        if (i % 2 == 0) {
            arm(number, COUNT + i);
        } else {
            alarms[number].disarm();
            armed[number].due = 0;
        }
    }
    armed.erase(
        std::remove_if(armed.begin(), armed.end(), [](const Armed& a) { return a.due == 0; }),
        armed.end());
    std::sort(armed.begin(), armed.end(), [](const Armed& a, const Armed& b) {
        return a.due != b.due ? a.due < b.due : a.order < b.order;
    });
    std::vector<std::size_t> expected;
    for (const Armed& entry : armed) {
        expected.push_back(entry.number);
    }
    clock.advance(milliseconds(2000));
    EXPECT_EQ(alarms.take(), expected);
}

TEST(AlarmQueueTest, DestroyingArmedAlarmsLeavesTheOthersArmed) {
    ManualClock clock;
    AlarmTimer timer(clock);
    RecordingAlarms others(timer, 3);
    ASSERT_FALSE(others[0].arm(milliseconds(1000)));
    ASSERT_FALSE(others[1].arm(milliseconds(1)));
    {
        RecordingAlarms alarms(timer, 100000);
        for (std::size_t i = 0; i < 100000; ++i) {
            ASSERT_FALSE(alarms[i].arm(milliseconds(1 + i * 7919 % 1000)));
        }
        ASSERT_FALSE(others[2].arm(milliseconds(500)));
    }
    clock.advance(milliseconds(1000));
    EXPECT_EQ(others.take(), (std::vector<std::size_t>{1, 2, 0}));
}

}  // namespace
