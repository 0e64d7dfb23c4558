#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "osal/Clock.h"

namespace kova::test {

/// A clock for an `osal::AlarmTimer` whose time jumps to each deadline that the timer waits for.
/// Alarms thus run one after the other without a pause, regardless of their delays.
class FastForwardClock : public osal::Clock {
public:
    TimePoint now() const override {
        const std::lock_guard<std::mutex> guard(mutex_);
        return now_;
    }
    void waitUntil(TimePoint deadline) override {
        std::unique_lock<std::mutex> lock(mutex_);
        if (deadline == TimePoint::max()) {
            changed_.wait(lock, [this] { return woken_; });
        } else if (deadline > now_) {
            now_ = deadline;
        }
        woken_ = false;
    }
    void wake() override {
        const std::lock_guard<std::mutex> guard(mutex_);
        woken_ = true;
        changed_.notify_all();
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    TimePoint now_{std::chrono::hours(1)};
    bool woken_ = false;
};

}  // namespace kova::test
