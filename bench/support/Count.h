#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace kova::bench {

/// Counts events of several threads, and lets another thread wait for them.
class Count {
public:
    void add() {
        std::unique_lock<std::mutex> lock(mutex_);
        if (++count_ == expected_) {
            lock.unlock();
            changed_.notify_one();
        }
    }
    void waitFor(std::size_t expected) {
        std::unique_lock<std::mutex> lock(mutex_);
        expected_ = expected;
        changed_.wait(lock, [&] { return count_ >= expected; });
        count_ = 0;
        expected_ = 0;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t count_ = 0;
    std::size_t expected_ = 0;
};

}  // namespace kova::bench
