// Arming and cancelling an alarm while 100 000 others are armed, and the lateness of a short alarm.
#include <benchmark/benchmark.h>
#include <sys/prctl.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "kova/core/Alarm.h"
#include "support/Contest.h"
#include "support/Inputs.h"
#ifdef KOVA_BENCH_ASIO
#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#endif

namespace kova::bench {

namespace {

using SteadyClock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

constexpr int ARMED = 100'000;
constexpr std::chrono::duration<unsigned, std::milli> DELAY(1);

/// Returns the delays of alarms: between one and two hours, so that none expires during the run.
std::vector<unsigned> delays(int count) {
    Random random;
    std::vector<unsigned> made;
    for (int i = 0; i < count; ++i) {
        made.push_back(static_cast<unsigned>(random.number(3'600'000, 7'200'000)));
    }
    return made;
}

/// A simple implementation of alarms for a single program: a map, a lock and a thread that sleeps.
class PlainAlarms {
public:
    using Entries = std::multimap<SteadyClock::time_point, std::function<void()>>;
    using Armed = Entries::iterator;

    PlainAlarms() : thread_([this] { run(); }) {}
    ~PlainAlarms() {
        {
            const std::lock_guard lock(mutex_);
            ended_ = true;
        }
        changed_.notify_one();
        thread_.join();
    }

    Armed arm(unsigned delay, std::function<void()> function) {
        const auto due = SteadyClock::now() + Milliseconds(delay);
        const std::lock_guard lock(mutex_);
        const auto armed = entries_.emplace(due, std::move(function));
        if (armed == entries_.begin()) {
            changed_.notify_one();
        }
        return armed;
    }
    void cancel(Armed armed) {
        const std::lock_guard lock(mutex_);
        entries_.erase(armed);
    }

private:
    void run() {
        std::unique_lock lock(mutex_);
        while (!ended_) {
            if (entries_.empty()) {
                changed_.wait(lock);
            } else if (const auto due = entries_.begin()->first; SteadyClock::now() < due) {
                changed_.wait_until(lock, due);
            } else {
                const auto function = entries_.extract(entries_.begin());
                lock.unlock();
                function.mapped()();
                lock.lock();
            }
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    Entries entries_;
    bool ended_ = false;
    std::thread thread_;
};

void ignore() {}

auto kovaAlarms() {
    auto armed = std::make_unique<std::vector<std::unique_ptr<FunctionalAlarm>>>();
    for (const unsigned delay : delays(ARMED)) {
        armed->push_back(std::make_unique<FunctionalAlarm>(ignore));
        benchmark::DoNotOptimize(armed->back()->start(delay, false));
    }
    return each(delays(INPUTS),
                [armed = std::shared_ptr(std::move(armed)),
                 alarm = std::make_shared<FunctionalAlarm>(ignore)](unsigned delay) {
                    const bool failed = alarm->start(delay, false);
                    alarm->stop();
                    return failed;
                });
}

auto plainAlarms() {
    auto alarms = std::make_shared<PlainAlarms>();
    for (const unsigned delay : delays(ARMED)) {
        alarms->arm(delay, ignore);
    }
    return each(delays(INPUTS), [alarms](unsigned delay) {
        alarms->cancel(alarms->arm(delay, ignore));
        return delay;
    });
}

#ifdef KOVA_BENCH_ASIO
struct AsioAlarms {
    asio::io_context context;
    std::vector<asio::steady_timer> armed;
    asio::steady_timer timer{context};

    AsioAlarms() {
        for (const unsigned delay : delays(ARMED)) {
            armed.emplace_back(context, Milliseconds(delay)).async_wait([](asio::error_code) {});
        }
    }
};

// A cancelled timer calls its function when the context runs, so running the context is measured,
// too.
auto asioAlarms() {
    return each(delays(INPUTS), [alarms = std::make_shared<AsioAlarms>()](unsigned delay) {
        alarms->timer.expires_after(Milliseconds(delay));
        alarms->timer.async_wait([](asio::error_code) {});
        alarms->timer.cancel();
        return alarms->context.poll();
    });
}
#endif

/// Registers a contestant that measures how late a wait of one millisecond ends. `make()` runs
/// before the measurement, creates for example a thread, and returns a function that waits and
/// returns the lateness. The result is the median.
template <typename Make>
void enterLateness(char const* contestant, Make make) {
    const auto measure = [make](benchmark::State& state) {
        const auto wait = make();
        for (auto _ : state) {
            std::vector<SteadyClock::duration> late(201);
            for (auto& each : late) {
                each = wait();
            }
            std::nth_element(late.begin(), late.begin() + 100, late.end());
            state.SetIterationTime(std::chrono::duration<double>(late[100]).count());
        }
    };
    benchmark::RegisterBenchmark(("lateness of 1 ms/" + std::string(contestant)).c_str(), measure)
        ->UseManualTime()
        ->Iterations(1);
}

/// An alarm whose function records the time of its call. Passing that time to the waiting thread
/// happens afterwards and is not measured.
class RecordingAlarm {
public:
    SteadyClock::duration wait() {
        alarm_.stop();  // waits for the last call to return, as `start` also would
        std::unique_lock lock(mutex_);
        when_.reset();
        const auto due = SteadyClock::now() + DELAY;
        if (alarm_.start(DELAY.count(), false)) {
            return SteadyClock::duration::max();
        }
        called_.wait(lock, [&] { return when_.has_value(); });
        return *when_ - due;
    }

private:
    void note() {
        const auto now = SteadyClock::now();
        const std::lock_guard lock(mutex_);
        when_ = now;
        called_.notify_one();
    }

    std::mutex mutex_;
    std::condition_variable called_;
    std::optional<SteadyClock::time_point> when_;
    FunctionalAlarm alarm_{[this] { note(); }};
};

SteadyClock::duration lateBySleep(SteadyClock::time_point due) {
    prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);  // the thread of the alarms does the same
    std::this_thread::sleep_until(due);
    return SteadyClock::now() - due;
}

/// A thread that calls `lateBySleep` for each due time that it is handed: the minimal way of being
/// woken at a given time without blocking the caller.
class SleepingThread {
public:
    ~SleepingThread() {
        hand(std::nullopt);
        thread_.join();
    }

    SteadyClock::duration wait() {
        std::unique_lock lock = hand(SteadyClock::now() + DELAY);
        changed_.wait(lock, [this] { return late_.has_value(); });
        return *late_;
    }

private:
    std::unique_lock<std::mutex> hand(std::optional<SteadyClock::time_point> due) {
        std::unique_lock lock(mutex_);
        due_ = due;
        handed_ = true;
        late_.reset();
        changed_.notify_all();
        return lock;
    }
    void run() {
        std::unique_lock lock(mutex_);
        while (true) {
            changed_.wait(lock, [this] { return handed_; });
            handed_ = false;
            if (!due_) {
                return;
            }
            lock.unlock();
            const auto late = lateBySleep(*due_);
            lock.lock();
            late_ = late;
            changed_.notify_all();
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    bool handed_ = false;
    std::optional<SteadyClock::time_point> due_;  // nullopt ends the thread
    std::optional<SteadyClock::duration> late_;
    std::thread thread_{[this] { run(); }};
};

const Entries ENTRIES([] {
    const std::string caseName = "arm and cancel among 100 000";
    contest(caseName, "kova", kovaAlarms);
    contest(caseName, "plain", plainAlarms);
#ifdef KOVA_BENCH_ASIO
    contest(caseName, "asio", asioAlarms);
#endif
    enterLateness("kova", [] {
        return [alarm = std::make_shared<RecordingAlarm>()] { return alarm->wait(); };
    });
    enterLateness("plain", [] {
        return [thread = std::make_shared<SleepingThread>()] { return thread->wait(); };
    });
    enterLateness("sleep_until",
                  [] { return [] { return lateBySleep(SteadyClock::now() + DELAY); }; });
});

}  // namespace

}  // namespace kova::bench
