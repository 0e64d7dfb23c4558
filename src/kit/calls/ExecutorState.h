#pragma once

#include <cstddef>
#include <mutex>

#include "calls/BlockWatch.h"
#include "calls/Task.h"

namespace kova::kit::detail {

/// The place of a call's end in an executor. The executor lists the places, so that it can end the
/// calls when it stops.
class Reservation {
public:
    /// Keeps the call alive. The executor calls it under its lock.
    virtual void hold() noexcept = 0;
    /// Ends the call, because the executor stops, and undoes `hold`. Called without a lock.
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

/// The shared part of an executor: a queue of tasks, and the places that calls have reserved in it.
///
/// A call has at most one task in the queue, so the number of places bounds the queue. Any thread
/// may call any function.
class ExecutorState {
public:
    explicit ExecutorState(std::size_t capacity) noexcept : capacity_(capacity) {}
    virtual ~ExecutorState();
    ExecutorState(const ExecutorState&) = delete;
    ExecutorState& operator=(const ExecutorState&) = delete;

    /// Reserves a place. Returns false if all are taken, or if the executor stops.
    bool reserve(Reservation& place) noexcept;
    /// Gives a reserved place back.
    void release(Reservation& place) noexcept;
    /// Queues a task of a call that has a place. Does not wait for the task.
    void post(Task& task) noexcept;
    /// Queues a task with a place of its own, which `giveBackPlace` ends. Returns false if the
    /// executor is full or stops.
    bool tryPost(Task& task) noexcept;
    void giveBackPlace() noexcept;

    /// Returns whether a blocking call of a thread that runs a task of this executor would leave no
    /// thread for other tasks. If not, the thread counts as waiting until `endWait`.
    virtual bool wouldBlockAll() noexcept = 0;
    virtual void endWait() noexcept = 0;

protected:
    /// Wakes a thread that runs tasks. Called under the lock.
    virtual void wake() noexcept = 0;
    /// Removes and returns the first task, or null. The lock must be held.
    Task* popLocked() noexcept;
    /// Returns the number of queued tasks. The lock must be held.
    std::size_t queuedLocked() const noexcept { return queued_; }
    /// Runs a task on the current thread.
    void run(Task& task) noexcept;
    /// Refuses new places and ends the calls that have one.
    void endCalls() noexcept;
    /// Hands queued tasks, and those that come later, to the thread of the kit.
    void leaveToKit() noexcept;
    /// Returns whether no call has a place and no task is queued or running. The lock must be held.
    bool isIdleLocked() const noexcept {
        return places_ == nullptr && tasks_.empty() && running_ == 0;
    }

    mutable std::mutex mutex_;
    bool stopping_ = false;

private:
    /// No thread runs tasks any more.
    bool left_ = false;
    TaskList tasks_;
    Reservation* places_ = nullptr;
    /// Number of places and of queued tasks without a place.
    std::size_t used_ = 0;
    const std::size_t capacity_;
    std::size_t queued_ = 0;
    std::size_t running_ = 0;
    BlockWatch watch_;
};

}  // namespace kova::kit::detail
