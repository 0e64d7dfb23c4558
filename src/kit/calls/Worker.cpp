#include "kova/kit/Worker.h"

#include <sys/prctl.h>

#include <algorithm>
#include <condition_variable>
#include <string>
#include <thread>
#include <vector>

#include "calls/ExecutorState.h"
#include "calls/Threads.h"

namespace kova::kit {

class Worker::State final : public detail::ExecutorState,
                            public std::enable_shared_from_this<Worker::State> {
public:
    State(std::size_t capacity, unsigned threads) : ExecutorState(capacity), count_(threads) {}

    void start() {
        try {
            while (threads_.size() < count_) {
                threads_.emplace_back([self = shared_from_this()] { self->work(); });
                const std::lock_guard<std::mutex> guard(mutex_);
                ++started_;
            }
        } catch (...) {
            stop();
            throw;
        }
    }
    void stop();

    bool wouldBlockAll() noexcept override {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (waiting_ + 1 >= count_) {
            return true;
        }
        ++waiting_;
        return false;
    }
    void endWait() noexcept override {
        const std::lock_guard<std::mutex> guard(mutex_);
        --waiting_;
    }

protected:
    // Notifies all threads, because several may end at the same time.
    void wake() noexcept override {
        if (stopping_) {
            queued_.notify_all();
        } else {
            queued_.notify_one();
        }
    }

private:
    void work() noexcept;

    const unsigned count_;
    unsigned waiting_ = 0;
    std::condition_variable queued_;
    std::vector<std::thread> threads_;
    /// Signalled when a thread ends, for `stop`.
    std::condition_variable ended_;
    std::size_t endedThreads_ = 0;
    std::size_t started_ = 0;
};

void Worker::State::work() noexcept {
    prctl(PR_SET_NAME, "kova-worker");
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopping_ || !isIdleLocked()) {
        detail::Task* const task = popLocked();
        if (task == nullptr) {
            queued_.wait(lock);
            continue;
        }
        lock.unlock();
        run(*task);
        lock.lock();
    }
    const bool last = ++endedThreads_ == started_;
    ended_.notify_all();
    lock.unlock();
    if (last) {
        leaveToKit();
    }
}

void Worker::State::stop() {
    endCalls();
    const bool waits = detail::thisThread().executor != this;
    std::vector<std::thread> threads;
    {
        std::unique_lock<std::mutex> lock(mutex_);
        threads.swap(threads_);
        const auto haveEnded = [this] { return endedThreads_ == started_; };
        if (waits && !ended_.wait_for(lock, detail::LONG_WAIT, haveEnded)) {
            lock.unlock();
            detail::traceLongStop("worker");
            lock.lock();
            ended_.wait(lock, haveEnded);
        }
    }
    for (std::thread& thread : threads) {
        waits ? thread.join() : thread.detach();
    }
}

Worker::Worker(const WorkerOptions& options)
    : Executor(std::make_shared<State>(options.capacity, std::max(1U, options.threads))) {
    own().start();
}

Worker::~Worker() {
    stop();
}

void Worker::stop() {
    own().stop();
}

Worker::State& Worker::own() const noexcept {
    return static_cast<State&>(*state());
}

}  // namespace kova::kit
