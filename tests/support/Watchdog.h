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

/// A watchdog that aborts the process when a test hangs, that is when no thread has reported
/// progress for a given time. It prints the current phase of the test. A test that is slow but
/// makes progress is not aborted.
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

    /// Reports progress. Any thread may call it. It does not synchronize threads, so that it does
    /// not hide data races from ThreadSanitizer.
    void progress() { progress_.fetch_add(1, std::memory_order_relaxed); }
    /// Sets the phase of the test, which the watchdog prints after "hang while", and reports
    /// progress.
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
