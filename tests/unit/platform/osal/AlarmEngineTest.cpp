// Tests of the alarm timer with several threads. Alarms without a delay keep its thread busy.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "osal/Alarm.h"
#include "osal/AlarmTimer.h"

namespace {

using osal::Alarm;
using osal::AlarmTimer;
using std::chrono::milliseconds;

template <typename Body>
void runOnFourThreads(const Body& body) {
    std::vector<std::thread> threads;
    for (unsigned int t = 0; t < 4; ++t) {
        threads.emplace_back([&body, t] { body(t); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

// An alarm that rearms itself, and counts the calls that occur while they are forbidden.
struct RepeatingAlarm {
    explicit RepeatingAlarm(AlarmTimer& timer) : alarm(timer, expired, this) {}
    static void expired(void* user) {
        auto* const self = static_cast<RepeatingAlarm*>(user);
        self->calls.fetch_add(1);
        if (self->forbidden.load()) {
            self->violations.fetch_add(1);
        }
        if (self->alarm.arm(milliseconds(0))) {
            self->violations.fetch_add(1);
        }
    }

    void start() {
        forbidden = false;
        if (alarm.arm(milliseconds(0))) {
            violations.fetch_add(1);
        }
    }
    void stop() {
        alarm.disarm();
        forbidden = true;
    }
    void waitForACall() {
        for (const int before = calls; calls == before;) {
            std::this_thread::yield();
        }
    }

    std::atomic<int> calls{0};
    std::atomic<int> violations{0};
    std::atomic<bool> forbidden{true};
    Alarm alarm;
};

TEST(AlarmEngineTest, DisarmStopsAnAlarmThatRearmsItself) {
    AlarmTimer timer;
    runOnFourThreads([&timer](unsigned int seed) {
        std::minstd_rand random(seed + 1);
        RepeatingAlarm alarm(timer);
        for (int round = 0; round < 300; ++round) {
            alarm.start();
            if (random() % 4 == 0) {
                alarm.waitForACall();
            }
            alarm.stop();
            const int calls = alarm.calls;
            for (unsigned int pause = random() % 16; pause > 0; --pause) {
                std::this_thread::yield();
            }
            ASSERT_EQ(alarm.calls, calls);
        }
        EXPECT_EQ(alarm.violations, 0);
    });
}

TEST(AlarmEngineTest, AlarmsCanBeDestroyedWhileTheirCallbacksRun) {
    AlarmTimer timer;
    std::atomic<int> violations{0};
    runOnFourThreads([&](unsigned int seed) {
        std::minstd_rand random(seed + 1);
        for (int round = 0; round < 250; ++round) {
            RepeatingAlarm alarm(timer);
            alarm.start();
            if (random() % 4 == 0) {
                alarm.waitForACall();
            }
            violations += alarm.violations;
        }
    });
    EXPECT_EQ(violations, 0);
}

TEST(AlarmEngineTest, SeveralThreadsCanArmAndDisarmOneAlarm) {
    AlarmTimer timer;
    RepeatingAlarm alarm(timer);
    runOnFourThreads([&alarm](unsigned int seed) {
        std::minstd_rand random(seed + 1);
        alarm.forbidden = false;
        for (int round = 0; round < 300; ++round) {
            if (random() % 2 == 0) {
                EXPECT_FALSE(alarm.alarm.arm(milliseconds(0)));
            } else {
                alarm.alarm.disarm();
            }
        }
    });
    alarm.stop();
    const int calls = alarm.calls;
    RepeatingAlarm other(timer);
    other.start();
    other.waitForACall();
    EXPECT_EQ(alarm.calls, calls);
    EXPECT_EQ(alarm.violations, 0);
}

// An alarm that destroys itself in its callback.
struct SelfDestroyingAlarm {
    SelfDestroyingAlarm(AlarmTimer& timer, std::atomic<int>& count)
        : calls(count), alarm(timer, expired, this) {}
    static void expired(void* user) {
        std::unique_ptr<SelfDestroyingAlarm> self(static_cast<SelfDestroyingAlarm*>(user));
        std::atomic<int>& calls = self->calls;
        self.reset();
        calls.fetch_add(1);  // last, because the timer is destroyed after the last call
    }
    std::atomic<int>& calls;
    Alarm alarm;
};

TEST(AlarmEngineTest, ThreadStopsAndRestartsWhileAlarmsDestroyThemselves) {
    std::atomic<int> calls{0};
    {
        AlarmTimer timer;
        runOnFourThreads([&](unsigned int) {
            for (int round = 0; round < 250; ++round) {
                auto* const brief = new SelfDestroyingAlarm(timer, calls);
                EXPECT_FALSE(brief->alarm.arm(milliseconds(0)));
                const Alarm other(
                    timer, [](void*) {}, nullptr);
            }
        });
        while (calls < 1000) {
            std::this_thread::yield();
        }
    }
    EXPECT_EQ(calls, 1000);
}

// An alarm whose callback is still running when another thread disarms it.
struct SlowAlarm {
    explicit SlowAlarm(AlarmTimer& timer) : alarm(timer, expired, this) {}
    static void expired(void* user) {
        auto* const self = static_cast<SlowAlarm*>(user);
        if (++self->calls == 1) {
            self->entered.set_value();
        }
        self->mayLeave.wait();
        for (int i = 0; i < 1000; ++i) {
            EXPECT_FALSE(self->alarm.arm(milliseconds(0)));
            std::this_thread::yield();
        }
        self->done = true;
    }
    std::promise<void> entered;
    std::promise<void> left;
    const std::shared_future<void> mayLeave{left.get_future()};
    // Not atomic, because disarm() synchronizes with the callback.
    int calls = 0;
    bool done = false;
    Alarm alarm;
};

TEST(AlarmEngineTest, DisarmWaitsForTheCallbackAndCancelsItsRearm) {
    AlarmTimer timer;
    SlowAlarm slow(timer);
    ASSERT_FALSE(slow.alarm.arm(milliseconds(0)));
    slow.entered.get_future().wait();
    slow.left.set_value();
    slow.alarm.disarm();
    EXPECT_TRUE(slow.done);
    const int calls = slow.calls;
    RepeatingAlarm other(timer);
    other.start();
    other.waitForACall();
    EXPECT_EQ(slow.calls, calls);
}

TEST(AlarmEngineTest, DestructorWaitsForTheCallback) {
    AlarmTimer timer;
    const Alarm idle(
        timer, [](void*) {}, nullptr);
    std::promise<void> entered;
    std::atomic<bool> done{false};
    struct Shared {
        std::promise<void>& entered;
        std::atomic<bool>& done;
    } shared{entered, done};
    {
        Alarm alarm(
            timer,
            [](void* user) {
                auto* const state = static_cast<Shared*>(user);
                state->entered.set_value();
                for (int i = 0; i < 1000; ++i) {
                    std::this_thread::yield();
                }
                state->done = true;
            },
            &shared);
        ASSERT_FALSE(alarm.arm(milliseconds(0)));
        entered.get_future().wait();
    }
    EXPECT_TRUE(done);
}

}  // namespace
