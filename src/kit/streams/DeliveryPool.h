#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

namespace kova::kit::detail {

/// The place of a thread of the pool.
///
/// While the thread runs a task, it owns the task, and no other thread runs it. If the thread stays
/// in the same call of a receiver for too long, the pool takes the task from it, and another thread
/// runs the task.
struct DeliverySlot {
    /// Odd while the thread calls a receiver. Never decreases. Only the thread writes it.
    std::atomic<std::uint64_t> visit{0};
    /// The thread owns the task.
    std::atomic<bool> ownsTask{false};
    /// The number of the slot.
    std::size_t number = 0;

    /// Begins and ends a call of a receiver. Relaxed, because the monitor only compares numbers; a
    /// stronger order costs 10 ns.
    void enter() noexcept {
        visit.store(visit.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
    void leave() noexcept { enter(); }
};

/// A task of the pool: the delivery of the values of one stream.
class PooledTask {
public:
    virtual ~PooledTask();

    /// Calls receivers as long as there are values and `slot.ownsTask`, or for a while.
    virtual void deliver(DeliverySlot& slot) = 0;
    /// Called after `deliver`, if the thread still owned the task. Submits the task again if there
    /// are values. From here on the task may be submitted.
    virtual void release() = 0;
    /// Disconnects the receiver that the thread of the slot calls, if it still is in this visit.
    virtual void disconnect(std::size_t slot, std::uint64_t visit) = 0;
};

/// Figures of a pool.
struct DeliveryFigures {
    std::size_t threads;   ///< Threads that count, at most `MAX_THREADS`.
    std::size_t stuck;     ///< Those of them whose receiver blocks.
    std::size_t replaced;  ///< Threads that do not count any more, until their receiver returns.
};

/// A bounded pool of threads that call the receivers of streams, so that a receiver that blocks
/// delays no other one.
///
/// A submitted task runs on one thread at a time. The pool needs few threads, because receivers
/// rarely block: it runs as many tasks at once as there are processors, at most four. One more
/// thread, the monitor, looks every 2 ms at the threads that are busy. A thread that is in the same
/// call of a receiver at two looks is stuck: its task is taken away from it and goes to another
/// thread, and the stuck one no longer counts among those that run tasks. So a receiver that blocks
/// delays the others of its stream once, by 2 to 4 ms.
///
/// There are at most 16 threads. If all are stuck, and a task waits, the thread that has been stuck
/// the longest is replaced, if it has been for 100 ms: its receiver is disconnected, and it ends
/// when the receiver returns. A receiver that is disconnected gets no value again, so it can occupy
/// only this one thread. At most 16 threads can be replaced at a time; beyond that, which takes 32
/// receivers that block at the same time, tasks wait until one returns, and that is reported. A
/// thread that was taken for stuck because the machine is busy just goes on, so a wrong guess costs
/// nothing.
///
/// Threads start on demand and live as long as the process. The pool is never destroyed. Any thread
/// may call any function. Receivers are called without the lock of the pool, which is a leaf: it is
/// held by no call into a task.
class DeliveryPool {
public:
    static constexpr std::size_t MAX_THREADS = 16;
    static constexpr std::size_t MAX_REPLACED = 16;
    static constexpr std::chrono::milliseconds TICK{2};
    static constexpr std::chrono::milliseconds PATIENCE{100};

    /// Returns the pool of the process.
    static DeliveryPool& instance();
    DeliveryPool(const DeliveryPool&) = delete;
    DeliveryPool& operator=(const DeliveryPool&) = delete;

    /// Lets a thread run the task.
    void submit(std::shared_ptr<PooledTask> task);
    /// Returns whether the current thread runs a task.
    static bool isInside() noexcept;
    DeliveryFigures figures() const;

private:
    using Lock = std::unique_lock<std::mutex>;
    using Clock = std::chrono::steady_clock;

    // A slot and the data that only the pool uses, under the lock of the pool.
    struct Place : DeliverySlot {
        enum class State : std::uint8_t { unused, idle, working, stuck };
        State state = State::unused;
        bool isReplaced = false;
        std::uint64_t seen = 0;
        Clock::time_point stuckSince;
        std::shared_ptr<PooledTask> task;
    };

    DeliveryPool();
    ~DeliveryPool() = default;

    void work(Place& place) noexcept;
    void run(Place& place, Lock& lock);
    void finish(Place& place, Lock& lock);
    void start();
    void wakeOrStart();
    [[noreturn]] void monitor() noexcept;
    void look(Lock& lock);
    void findStuck();
    Place* longestStuck() noexcept;
    void replaceLongestStuck(Lock& lock);
    void reportExhaustion(Lock& lock);

    const std::size_t concurrency_;
    mutable std::mutex mutex_;
    std::condition_variable work_;
    std::condition_variable monitorWork_;
    std::deque<std::shared_ptr<PooledTask>> queue_;
    std::array<Place, MAX_THREADS + MAX_REPLACED> places_;
    std::size_t threads_ = 0;
    std::size_t idle_ = 0;
    std::size_t active_ = 0;
    std::size_t replaced_ = 0;
    bool hasMonitor_ = false;
    bool isMonitorAsleep_ = false;
    bool wasReported_ = false;
};

}  // namespace kova::kit::detail
