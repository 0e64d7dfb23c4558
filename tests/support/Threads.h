#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace kova::test {

/// Returns the factor by which stress tests run longer: the environment variable KOVA_STRESS, or 1.
inline int stressFactor() {
    char const* const text = std::getenv("KOVA_STRESS");
    return std::max(1, text != nullptr ? std::atoi(text) : 1);
}

/// Runs `body` on `count` threads at the same time and waits for all of them. The argument of
/// `body` is the number of the thread, from 0 to `count` - 1.
inline void runOnThreads(int count, const std::function<void(int)>& body) {
    std::vector<std::thread> threads;
    for (int t = 0; t < count; ++t) {
        threads.emplace_back(body, t);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

/// A reusable barrier for a fixed number of threads.
class Barrier {
public:
    explicit Barrier(int count) : count_(count) {}

    /// Waits until all threads have called `wait`.
    void wait() {
        std::unique_lock<std::mutex> lock(mutex_);
        if (++arrived_ == count_) {
            arrived_ = 0;
            ++round_;
            changed_.notify_all();
        } else {
            changed_.wait(lock, [this, round = round_] { return round_ != round; });
        }
    }

private:
    const int count_;
    std::mutex mutex_;
    std::condition_variable changed_;
    int arrived_ = 0;
    int round_ = 0;
};

}  // namespace kova::test
