#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "osal/Clock.h"

namespace kova::testing {

/// A clock whose time advances only when the test calls `advance`. Use it for deadlines
/// (`kit::CallsOptions::clock`) or for an `osal::AlarmTimer`. Deadlines and each `AlarmTimer` have
/// a timer thread, which runs while there is at least one deadline or alarm. When a test calls
/// `advance` or `settle`, the timer thread must be running.
///
///     const auto passHalfAMinute = [](kova::testing::ManualClock& clock) {
///         clock.advance(std::chrono::seconds(30));  // all deadlines up to then have expired
///     };
class ManualClock : public osal::Clock {
public:
    TimePoint now() const override {
        const std::lock_guard<std::mutex> guard(mutex_);
        return now_;
    }
    void waitUntil(TimePoint deadline) override {
        std::unique_lock<std::mutex> lock(mutex_);
        deadline_ = deadline;
        waiting_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return woken_ || now_ >= deadline_; });
        waiting_ = false;
        woken_ = false;
    }
    void wake() override {
        const std::lock_guard<std::mutex> guard(mutex_);
        woken_ = true;
        changed_.notify_all();
    }

    /// Advances the time, and waits until the timer has called all callbacks that are due.
    void advance(std::chrono::milliseconds time) {
        std::unique_lock<std::mutex> lock(mutex_);
        now_ += time;
        changed_.notify_all();
        settle(lock);
    }
    /// Waits until the timer has called all callbacks that are due and its thread sleeps.
    void settle() {
        std::unique_lock<std::mutex> lock(mutex_);
        settle(lock);
    }
    /// Returns whether the timer's thread is waiting.
    bool isWaitedOn() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return waiting_;
    }

private:
    void settle(std::unique_lock<std::mutex>& lock) {
        changed_.wait(lock, [this] { return waiting_ && !woken_ && now_ < deadline_; });
    }

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    TimePoint now_{std::chrono::hours(1)};
    TimePoint deadline_;
    bool waiting_ = false;
    bool woken_ = false;
};

}  // namespace kova::testing
