#include "streams/DeliveryPool.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "support/Reports.h"

namespace kova::kit::detail {
namespace {

/// A task that calls one receiver once. The receiver blocks until `leave`.
class BlockingTask : public PooledTask {
public:
    void deliver(DeliverySlot& slot) override {
        if (++runs > 1) {
            return;
        }
        const std::size_t together = ++now;
        for (std::size_t seen = most;
             together > seen && !most.compare_exchange_weak(seen, together);) {
        }
        slot.enter();
        std::unique_lock<std::mutex> lock(mutex_);
        hasEntered_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return mayLeave_; });
        lock.unlock();
        slot.leave();
        --now;
    }
    void release() override { ++released; }
    void disconnect(std::size_t, std::uint64_t visit) override {
        EXPECT_EQ(visit % 2, 1U);
        ++disconnected;
    }

    void waitUntilEntered() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return hasEntered_; });
    }
    void leave() {
        const std::lock_guard<std::mutex> guard(mutex_);
        mayLeave_ = true;
        changed_.notify_all();
    }

    std::atomic<int> runs{0};
    std::atomic<int> released{0};
    std::atomic<int> disconnected{0};
    /// The number of tasks that run now, and the greatest number that ran at the same time.
    static inline std::atomic<std::size_t> now{0};
    static inline std::atomic<std::size_t> most{0};

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool hasEntered_ = false;
    bool mayLeave_ = false;
};

using Tasks = std::vector<std::shared_ptr<BlockingTask>>;

Tasks submit(std::size_t count) {
    Tasks tasks;
    for (std::size_t i = 0; i < count; ++i) {
        tasks.push_back(std::make_shared<BlockingTask>());
        DeliveryPool::instance().submit(tasks.back());
    }
    return tasks;
}

void leave(const Tasks& tasks) {
    for (const auto& task : tasks) {
        task->leave();
    }
    const DeliveryPool& pool = DeliveryPool::instance();
    while (BlockingTask::now != 0 || pool.figures().stuck != 0 || pool.figures().replaced != 0) {
        std::this_thread::yield();
    }
}

int disconnectedOf(const Tasks& tasks) {
    int count = 0;
    for (const auto& task : tasks) {
        count += task->disconnected;
    }
    return count;
}

TEST(DeliveryPool, RunsATaskAndReleasesIt) {
    EXPECT_FALSE(DeliveryPool::isInside());
    const Tasks tasks = submit(1);
    tasks[0]->leave();
    while (tasks[0]->released == 0) {
        std::this_thread::yield();
    }
    leave(tasks);
    EXPECT_EQ(tasks[0]->released, 1);
}

TEST(DeliveryPool, BlockedTasksDoNotBlockOtherTasks) {
    const Tasks tasks = submit(12);
    for (const auto& task : tasks) {
        task->waitUntilEntered();
    }
    EXPECT_EQ(disconnectedOf(tasks), 0);
    EXPECT_LE(DeliveryPool::instance().figures().threads, DeliveryPool::MAX_THREADS);
    leave(tasks);
}

TEST(DeliveryPool, TaskOfABlockedThreadRunsAgainOnAnotherThread) {
    const Tasks tasks = submit(1);
    tasks[0]->waitUntilEntered();
    while (tasks[0]->released == 0) {
        std::this_thread::yield();
    }
    EXPECT_EQ(tasks[0]->runs, 2);
    EXPECT_EQ(BlockingTask::now, 1U) << "the first run still blocks";
    leave(tasks);
    EXPECT_EQ(tasks[0]->runs, 2);
    EXPECT_EQ(tasks[0]->released, 1);
}

// A task that was taken from its thread waits for a thread that runs it again. So at most 15 of the
// 16 threads stay blocked.
TEST(DeliveryPool, LongestBlockedThreadIsReplacedIfAllThreadsBlock) {
    for (const std::size_t replaced : {1U, 2U}) {
        const Tasks tasks = submit(DeliveryPool::MAX_THREADS - 1 + replaced);
        for (const auto& task : tasks) {
            while (task->released == 0) {
                std::this_thread::yield();
            }
        }
        // The monitor starts the new thread before it disconnects the receiver, so the last task
        // may be released first.
        while (disconnectedOf(tasks) < static_cast<int>(replaced)) {
            std::this_thread::yield();
        }
        EXPECT_EQ(disconnectedOf(tasks), static_cast<int>(replaced));
        EXPECT_EQ(DeliveryPool::instance().figures().threads, DeliveryPool::MAX_THREADS);
        EXPECT_EQ(DeliveryPool::instance().figures().replaced, replaced);
        leave(tasks);
        EXPECT_EQ(DeliveryPool::instance().figures().replaced, 0U);
    }
}

TEST(DeliveryPool, AtMost32ThreadsBlockAndTheLimitIsReported) {
    test::Reports reports;
    const Tasks tasks = submit(40);
    std::vector<test::Reports::Report> taken;
    for (; taken.empty(); taken = reports.take()) {
        std::this_thread::yield();
    }
    EXPECT_EQ(taken.size(), 1U);
    EXPECT_NE(taken[0].reason.find("32 receivers block"), std::string::npos) << taken[0].reason;
    EXPECT_EQ(DeliveryPool::instance().figures().threads, DeliveryPool::MAX_THREADS);
    EXPECT_EQ(DeliveryPool::instance().figures().replaced, DeliveryPool::MAX_REPLACED);
    EXPECT_EQ(BlockingTask::now, 32U);
    leave(tasks);
    EXPECT_EQ(BlockingTask::most, 32U);
    const Tasks after = submit(1);
    after[0]->waitUntilEntered();
    leave(after);
}

}  // namespace
}  // namespace kova::kit::detail
