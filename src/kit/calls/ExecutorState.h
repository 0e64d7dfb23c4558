#pragma once

#include <cstddef>
#include <mutex>

#include "calls/BlockWatch.h"
#include "calls/Task.h"

namespace kova::kit::detail {

/// A place in an executor that is reserved for the end of a call. The executor has a list of these
/// places, so that it can end the calls when it stops.
class Reservation {
public:
    /// Acquires a reference to the call. The executor calls this function under its lock.
    virtual void hold() noexcept = 0;
    /// Ends the call because the executor stops, and releases the reference that `hold` acquired.
    /// Called without a lock.
    virtual void endForStop() noexcept = 0;

    Reservation(const Reservation&) = delete;
    Reservation& operator=(const Reservation&) = delete;

protected:
    Reservation() = default;
    ~Reservation() = default;

private:
    friend class ExecutorState;
    Reservation* next_ = nullptr;
    Reservation* previous_ = nullptr;
};

/// The shared part of an executor: a queue of tasks with a limited number of places. Each call of
/// the executor reserves one place.
///
/// A call has at most one task in the queue, so the task of a call with a place always fits into
/// the queue. Any thread may call any function.
class ExecutorState {
public:
    explicit ExecutorState(std::size_t capacity) noexcept : capacity_(capacity) {}
    virtual ~ExecutorState();
    ExecutorState(const ExecutorState&) = delete;
    ExecutorState& operator=(const ExecutorState&) = delete;

    /// Reserves a place. Returns false if no place is free or the executor stops.
    bool reserve(Reservation& place) noexcept;
    /// Releases a reserved place.
    void release(Reservation& place) noexcept;
    /// Queues a task of a call that has reserved a place. Does not wait for the task.
    void post(Task& task) noexcept;
    /// Queues all `count` tasks of a list, and empties the list. Only for an executor with a single
    /// thread that never stops.
    void post(TaskList& tasks, std::size_t count) noexcept;
    /// Queues a task and reserves a place for it, which `giveBackPlace` releases. Returns false if
    /// the executor is full or stops.
    bool tryPost(Task& task) noexcept;
    void giveBackPlace() noexcept;

    /// Returns whether a blocking call on a thread of this executor would leave no thread for other
    /// tasks. If it returns false, the thread is counted as waiting until `endWait` is called.
    virtual bool wouldBlockAll() noexcept = 0;
    virtual void endWait() noexcept = 0;

protected:
    /// Wakes a thread that runs tasks. Called under the lock.
    virtual void wake() noexcept = 0;
    /// Removes and returns the first task, or null. The lock must be held.
    Task* popLocked() noexcept;
    /// Returns the number of queued tasks. The lock must be held.
    std::size_t queuedLocked() const noexcept { return queued_; }
    /// Removes all tasks and appends them to the list. The lock must be held. Only for an executor
    /// with a single thread that never stops. That thread runs the tasks with `runUncounted`.
    void popAllLocked(TaskList& tasks) noexcept;
    /// Runs a task on the current thread.
    void run(Task& task) noexcept;
    void runUncounted(Task& task) noexcept;
    /// Rejects new reservations, and ends the calls that have reserved a place.
    void endCalls() noexcept;
    /// Passes the queued tasks and all later tasks to the thread of the kit.
    void leaveToKit() noexcept;
    /// Returns whether no place is reserved and no task is queued or running. The lock must be
    /// held.
    bool isIdleLocked() const noexcept {
        return places_ == nullptr && tasks_.empty() && running_ == 0;
    }

    mutable std::mutex mutex_;
    bool stopping_ = false;

private:
    /// Whether the queue was passed to the kit's thread (`leaveToKit`).
    bool left_ = false;
    TaskList tasks_;
    Reservation* places_ = nullptr;
    /// The number of reserved places plus the number of queued tasks that have no reserved place.
    std::size_t used_ = 0;
    const std::size_t capacity_;
    std::size_t queued_ = 0;
    std::size_t running_ = 0;
    BlockWatch watch_;
};

}  // namespace kova::kit::detail
