#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "osal/Clock.h"

namespace kova::test {

/// Time for an `osal::AlarmTimer` that stands still until the test moves it. The timer must have an
/// alarm, and so a thread, while it is moved.
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

    /// Moves time on and returns when the timer has called all that is due.
    void advance(std::chrono::milliseconds time) {
        std::unique_lock<std::mutex> lock(mutex_);
        now_ += time;
        changed_.notify_all();
        settle(lock);
    }
    /// Returns when the timer has called all that is due and waits for what is not.
    void settle() {
        std::unique_lock<std::mutex> lock(mutex_);
        settle(lock);
    }
    /// Whether the timer's thread waits.
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

}  // namespace kova::test
