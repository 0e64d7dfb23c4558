#pragma once

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace kova::test {

/// How many times as long as usual the stress tests run: the environment variable KOVA_STRESS.
inline int stressFactor() {
    char const* const text = std::getenv("KOVA_STRESS");
    return std::max(1, text != nullptr ? std::atoi(text) : 1);
}

/// Runs the body on several threads at once, with their numbers, and waits for all.
inline void runOnThreads(int count, const std::function<void(int)>& body) {
    std::vector<std::thread> threads;
    for (int t = 0; t < count; ++t) {
        threads.emplace_back(body, t);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

/// Lets a fixed number of threads go on together, again and again.
class Barrier {
public:
    explicit Barrier(int count) : count_(count) {}

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
