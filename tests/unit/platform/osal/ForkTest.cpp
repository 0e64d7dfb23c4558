// Tests of the shared timer's alarms in children of fork(2). They are a separate program, because
// ThreadSanitizer does not allow such a child to start threads. AddressSanitizer allows it, but the
// locks of its allocator are not released in the child. Therefore, when a test forks, no other
// thread may be starting, ending or allocating memory.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include "osal/Alarm.h"

namespace {

using osal::Alarm;
using std::chrono::milliseconds;

constexpr int GOOD = 0;
constexpr int BAD = 1;
// A child that hangs is killed by alarm(2).
constexpr unsigned int CHILD_SECONDS = 60;

// Runs `body` in a child process. Returns its exit status, or -1 if it did not exit normally.
template <typename Body>
int inChild(const Body& body) {
    const pid_t child = fork();
    if (child == 0) {
        ::alarm(CHILD_SECONDS);
        _exit(body());
    }
    int status = 0;
    const bool exited = waitpid(child, &status, 0) == child && WIFEXITED(status);
    return exited ? WEXITSTATUS(status) : -1;
}

void setFlag(void* flag) {
    static_cast<std::atomic<bool>*>(flag)->store(true);
}

void fulfil(void* promise) {
    static_cast<std::promise<void>*>(promise)->set_value();
}

void rearm(void* alarm) {
    EXPECT_FALSE((*static_cast<std::unique_ptr<Alarm>*>(alarm))->rearm(milliseconds(1)));
}

class ForkTest : public testing::Test {
protected:
    // Waits until the timer's thread has called a callback.
    void SetUp() override {
        std::promise<void> started;
        Alarm first(Alarm::DEFAULT_TIMER, fulfil, &started);
        ASSERT_FALSE(first.arm(milliseconds(0)));
        started.get_future().wait();
    }

private:
    // Keeps the shared timer's thread alive.
    Alarm idle{Alarm::DEFAULT_TIMER, [](void*) {}, nullptr};
};

TEST_F(ForkTest, ChildCanDestroyTheAlarmsOfItsParent) {
    std::unique_ptr<Alarm> alarm;
    alarm = std::make_unique<Alarm>(Alarm::DEFAULT_TIMER, rearm, &alarm);
    for (int round = 0; round < 20; ++round) {
        ASSERT_FALSE(alarm->arm(milliseconds(0)));
        EXPECT_EQ(inChild([&alarm] {
                      alarm.reset();
                      return GOOD;
                  }),
                  GOOD);
    }
}

TEST_F(ForkTest, InheritedAlarmsAreDisarmedAndCanBeArmedAgain) {
    std::atomic<bool> called{false};
    Alarm before(Alarm::DEFAULT_TIMER, setFlag, &called);
    std::promise<void> done;
    Alarm after(Alarm::DEFAULT_TIMER, fulfil, &done);
    ASSERT_FALSE(before.arm(milliseconds(10)));
    EXPECT_EQ(inChild([&] {
                  called = false;
                  if (after.arm(milliseconds(20))) {
                      return BAD;
                  }
                  done.get_future().wait();
                  return called ? BAD : GOOD;
              }),
              GOOD);
}

TEST_F(ForkTest, AlarmCreatedInTheChildRuns) {
    const Alarm before(
        Alarm::DEFAULT_TIMER, [](void*) {}, nullptr);
    EXPECT_EQ(inChild([] {
                  std::promise<void> done;
                  Alarm alarm(Alarm::DEFAULT_TIMER, fulfil, &done);
                  if (alarm.arm(milliseconds(1))) {
                      return BAD;
                  }
                  done.get_future().wait();
                  return GOOD;
              }),
              GOOD);
}

TEST_F(ForkTest, AlarmsOfTheParentStayArmed) {
    std::promise<void> done;
    Alarm alarm(Alarm::DEFAULT_TIMER, fulfil, &done);
    ASSERT_FALSE(alarm.arm(milliseconds(20)));
    EXPECT_EQ(inChild([] { return GOOD; }), GOOD);
    done.get_future().wait();
}

TEST_F(ForkTest, CallbackCanFork) {
    struct Shared {
        std::unique_ptr<Alarm> alarm;
        std::promise<int> result;
    } shared;
    shared.alarm = std::make_unique<Alarm>(
        Alarm::DEFAULT_TIMER,
        [](void* user) {
            auto* const state = static_cast<Shared*>(user);
            state->result.set_value(inChild([state] {
                state->alarm.reset();
                return GOOD;
            }));
        },
        &shared);
    ASSERT_FALSE(shared.alarm->arm(milliseconds(0)));
    EXPECT_EQ(shared.result.get_future().get(), GOOD);
}

TEST_F(ForkTest, ChildCanUseAlarmsArmedDuringTheFork) {
    Alarm alarm(
        Alarm::DEFAULT_TIMER, [](void*) {}, nullptr);
    std::atomic<bool> stop{false};
    std::promise<void> started;
    std::thread busy([&] {
        started.set_value();
        while (!stop) {
            EXPECT_FALSE(alarm.arm(milliseconds(0)));
            alarm.disarm();
        }
    });
    started.get_future().wait();
    for (int round = 0; round < 100; ++round) {
        EXPECT_EQ(inChild([&alarm] {
                      std::promise<void> done;
                      Alarm another(Alarm::DEFAULT_TIMER, fulfil, &done);
                      if (another.arm(milliseconds(0)) || alarm.arm(milliseconds(0))) {
                          return BAD;
                      }
                      done.get_future().wait();
                      alarm.disarm();
                      return GOOD;
                  }),
                  GOOD);
    }
    stop = true;
    busy.join();
}

}  // namespace
