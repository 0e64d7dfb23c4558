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

/// The data about a thread of the pool that the thread and the pool share.
///
/// While the thread runs a task, it owns the task, and no other thread runs it. If the thread stays
/// in the same call of a receiver for too long, the pool takes the task from it, and another thread
/// runs the task.
struct DeliverySlot {
    /// The number of the current visit of a receiver. It is odd while the thread calls the
    /// receiver. Never decreases. Only the thread writes it.
    std::atomic<std::uint64_t> visit{0};
    /// Whether the thread owns its task.
    std::atomic<bool> ownsTask{false};
    /// The index of the slot in the pool.
    std::size_t number = 0;

    /// `enter` begins a call of a receiver, `leave` ends it. The stores are relaxed, because the
    /// monitor only compares the numbers. A stronger memory order costs 10 ns.
    void enter() noexcept {
        visit.store(visit.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
    void leave() noexcept { enter(); }
};

/// A task of the pool: the delivery of the values of one stream.
class PooledTask {
public:
    virtual ~PooledTask();

    /// Calls receivers while there are values and `slot.ownsTask` is true, but only for a limited
    /// number of visits.
    virtual void deliver(DeliverySlot& slot) = 0;
    /// Called after `deliver`, if the thread still owned the task. Submits the task again if there
    /// are values. Other threads may submit the task from now on.
    virtual void release() = 0;
    /// Disconnects the receiver that the thread of the slot is calling, if the thread is still in
    /// this visit.
    virtual void disconnect(std::size_t slot, std::uint64_t visit) = 0;
};

/// The numbers of threads of a pool.
struct DeliveryFigures {
    std::size_t threads;   ///< Threads that are not replaced, at most `MAX_THREADS`.
    std::size_t stuck;     ///< The number of those threads whose receiver blocks.
    std::size_t replaced;  ///< Replaced threads whose receiver has not returned yet.
};

/// A bounded pool of threads that call the receivers of streams. A receiver that blocks does not
/// delay the other receivers.
///
/// A submitted task runs on one thread at a time. The pool needs few threads, because receivers
/// rarely block: it runs as many tasks at once as there are processors, at most four. One more
/// thread, the monitor, looks every 2 ms at the threads that are busy. If the monitor finds a
/// thread in the same call of a receiver twice in a row, the thread is considered stuck. Its task
/// is moved to another thread, and the stuck thread no longer counts as running a task. So a
/// receiver that blocks delays the other receivers of its stream once, by 2 to 4 ms.
///
/// There are at most 16 threads. If all threads are stuck and a task waits, the thread that has
/// been stuck the longest is replaced, provided that it has been stuck for at least 100 ms. Its
/// receiver is disconnected, and the thread ends when the receiver returns. A receiver that is
/// disconnected gets no value again, so it can occupy only this one thread. At most 16 replaced
/// threads can exist at a time. If 32 receivers block at the same time, tasks wait until one of
/// these receivers returns, and this is reported. If a thread is wrongly considered stuck because
/// the machine is busy, it simply continues, so such an error costs nothing.
///
/// Threads start on demand and live as long as the process. The pool is never destroyed. Any thread
/// may call any function. The pool never holds its lock while it calls a task or a receiver.
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

    /// Queues a task, which a thread of the pool then runs.
    void submit(std::shared_ptr<PooledTask> task);
    /// Returns whether the current thread runs a task.
    static bool isInside() noexcept;
    DeliveryFigures figures() const;

private:
    using Lock = std::unique_lock<std::mutex>;
    using Clock = std::chrono::steady_clock;

    // A slot, and data that only the pool uses. The lock of the pool guards this data.
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
