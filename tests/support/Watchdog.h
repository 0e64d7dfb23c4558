#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace kova::test {

/// Stops the process when a test hangs, and says in which phase: when nobody has reported progress
/// for the time given. A slow machine is no hang as long as something is done.
class Watchdog {
public:
    static constexpr std::chrono::seconds PATIENCE{45};

    explicit Watchdog(std::string phase, std::chrono::milliseconds patience = PATIENCE)
        : phase_(std::move(phase)), patience_(patience), thread_([this] { watch(); }) {}
    ~Watchdog() {
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            over_ = true;
        }
        changed_.notify_all();
        thread_.join();
    }
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    /// Any thread. Orders nothing between the threads, so that it hides no race from a sanitizer.
    void progress() { progress_.fetch_add(1, std::memory_order_relaxed); }
    /// What is being done from now on.
    void enter(std::string phase) {
        const std::lock_guard<std::mutex> guard(mutex_);
        phase_ = std::move(phase);
        progress();
    }

private:
    void watch() {
        std::unique_lock<std::mutex> lock(mutex_);
        for (long seen = progress_; !changed_.wait_for(lock, patience_, [this] { return over_; });
             seen = progress_) {
            if (progress_ == seen) {
                std::fprintf(stderr, "hang while %s\n", phase_.c_str());
                std::abort();
            }
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::string phase_;
    bool over_ = false;
    std::atomic<long> progress_{0};
    const std::chrono::milliseconds patience_;
    std::thread thread_;
};

}  // namespace kova::test
