// Alarms and timers that fire continuously are started, stopped and destroyed by eight threads and
// by their own functions. The data that the functions use are not atomic, because stopping and
// destroying an alarm synchronize with its function.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <utility>

#include "kova/core/Alarm.h"
#include "kova/core/Timer.h"
#include "osal/AlarmTimer.h"
#include "support/FastForwardClock.h"
#include "support/Threads.h"
#include "support/Watchdog.h"

namespace kova {
namespace {

constexpr int THREADS = 8;
constexpr int ROUNDS = 25;

/// The classes under test with a common `begin` function: a periodic alarm, and an alarm and a
/// timer that run once.
struct PeriodicAlarm : FunctionalAlarm {
    using FunctionalAlarm::FunctionalAlarm;
    bool begin() { return start(1, true); }
};
struct OneShotAlarm : FunctionalAlarm {
    using FunctionalAlarm::FunctionalAlarm;
    bool begin() { return start(1, false); }
};
struct OneShotTimer : FunctionalTimer {
    using FunctionalTimer::FunctionalTimer;
    bool begin() { return start(std::chrono::milliseconds(1)); }
};

template <typename Holder>
class AlarmRaceTest : public testing::Test {
protected:
    /// An alarm or timer whose function runs a script. It counts the calls that occur while they
    /// are forbidden.
    struct Caller {
        explicit Caller(osal::AlarmTimer& timer)
            : holder(std::make_unique<Holder>([this] { call(); }, timer)) {}
        void call() {
            violations += forbidden ? 1 : 0;
            ++calls;
            if (script) {
                script();
            }
            done = calls;
            {
                const std::lock_guard<std::mutex> guard(mutex);
                ++seen;
            }
            changed.notify_all();
        }
        void begin() {
            forbidden = false;
            before = seen;  // the function is not running, so it cannot change `seen`
            EXPECT_FALSE(holder->begin());
        }
        /// Forbids calls from now on. The function must not be running.
        void silence() {
            violations += done != calls ? 1 : 0;
            forbidden = true;
        }
        /// Waits for a call after the latest `begin`.
        void awaitACall() {
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [this] { return seen != before; });
        }

        std::function<void()> script;
        bool forbidden = false;
        int calls = 0;
        int done = 0;
        int violations = 0;
        std::mutex mutex;
        std::condition_variable changed;
        int seen = 0;
        int before = 0;
        std::unique_ptr<Holder> holder;
    };

    void onAllThreads(char const* phase, const std::function<void(std::minstd_rand&)>& round) {
        watchdog.enter(phase);
        test::runOnThreads(THREADS, [&](int t) {
            std::minstd_rand random(static_cast<unsigned int>(t) + 1);
            for (int i = 0; i < ROUNDS * test::stressFactor(); ++i) {
                round(random);
                watchdog.progress();
            }
        });
    }

    test::Watchdog watchdog{"starting"};
    test::FastForwardClock clock;
    osal::AlarmTimer timer{clock};
    // Keeps the timer's thread alive.
    FunctionalAlarm idle{[] {}, timer};
};

using Holders = testing::Types<PeriodicAlarm, OneShotAlarm, OneShotTimer>;

struct HolderNames {
    template <typename Holder>
    static std::string GetName(int index) {
        constexpr char const* NAMES[] = {"PeriodicAlarm", "OneShotAlarm", "OneShotTimer"};
        return NAMES[index];
    }
};

TYPED_TEST_SUITE(AlarmRaceTest, Holders, HolderNames);

TYPED_TEST(AlarmRaceTest, FunctionDoesNotRunAfterStop) {
    this->onAllThreads("stopping holders that fire", [this](std::minstd_rand& random) {
        typename TestFixture::Caller caller(this->timer);
        for (int start = 0; start < 4; ++start) {
            caller.begin();
            if (random() % 2 == 0) {
                caller.awaitACall();
            }
            caller.holder->stop();
            caller.silence();
        }
        EXPECT_EQ(caller.violations, 0);
    });
}

TYPED_TEST(AlarmRaceTest, FunctionDoesNotRunAfterDestruction) {
    this->onAllThreads("destroying holders that fire", [this](std::minstd_rand& random) {
        typename TestFixture::Caller caller(this->timer);
        caller.begin();
        if (random() % 2 == 0) {
            caller.awaitACall();
        }
        caller.holder.reset();
        caller.silence();
        EXPECT_EQ(caller.violations, 0);
    });
}

TYPED_TEST(AlarmRaceTest, StopPreventsARestartByTheFunction) {
    this->onAllThreads("stopping holders that restart themselves",
                       [this](std::minstd_rand& random) {
                           typename TestFixture::Caller caller(this->timer);
                           caller.script = [&caller] {
                               if (caller.calls % 3 == 0) {
                                   caller.holder->stop();
                               }
                               EXPECT_FALSE(caller.holder->begin());
                           };
                           for (int start = 0; start < 4; ++start) {
                               caller.begin();
                               if (random() % 2 == 0) {
                                   caller.awaitACall();
                               }
                               caller.holder->stop();
                               caller.silence();
                           }
                           EXPECT_EQ(caller.violations, 0);
                       });
}

TYPED_TEST(AlarmRaceTest, FunctionContinuesAfterItDestroysItsAlarm) {
    this->onAllThreads("letting functions destroy their holders", [this](std::minstd_rand&) {
        std::promise<int> last;
        std::unique_ptr<TypeParam> holder;
        const auto owned = std::make_shared<int>(7);
        holder = std::make_unique<TypeParam>(
            [&holder, &last, owned] {
                holder.reset();
                last.set_value(*owned);
            },
            this->timer);
        EXPECT_FALSE(holder->begin());
        EXPECT_EQ(last.get_future().get(), 7);
        EXPECT_EQ(holder, nullptr);
    });
}

TYPED_TEST(AlarmRaceTest, FunctionCanStopOrDestroyAnotherDueAlarm) {
    this->onAllThreads("letting functions stop others", [this](std::minstd_rand& random) {
        typename TestFixture::Caller victim(this->timer);
        typename TestFixture::Caller killer(this->timer);
        const bool destroy = random() % 2 == 0;
        killer.script = [&victim, destroy] {
            if (destroy) {
                victim.holder.reset();
            } else {
                victim.holder->stop();
            }
            victim.silence();
        };
        victim.begin();
        killer.begin();
        killer.awaitACall();
        killer.holder.reset();
        EXPECT_EQ(victim.violations + killer.violations, 0);
    });
}

}  // namespace
}  // namespace kova
