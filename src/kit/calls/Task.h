#pragma once

#include <string>
#include <utility>

namespace kova::kit::detail {

/// Work for an executor. An executor neither allocates nor owns tasks. A task is linked into the
/// queue and stays alive until `run` is called.
class Task {
public:
    /// Runs the task.
    virtual void run() noexcept = 0;
    /// Called after each `run`. Releases the task; the executor does not use it afterwards. At this
    /// time the task may already be queued again.
    virtual void done() noexcept = 0;
    /// Returns a description of the task, for a trace of a callback that blocks its executor.
    virtual std::string label() const = 0;

    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;

protected:
    Task() = default;
    ~Task() = default;

private:
    friend class TaskList;
    Task* next_ = nullptr;
};

/// A first-in, first-out list of tasks. Not synchronized.
class TaskList {
public:
    bool empty() const noexcept { return first_ == nullptr; }
    void push(Task& task) noexcept {
        task.next_ = nullptr;
        *end_ = &task;
        end_ = &task.next_;
    }
    /// Removes and returns the first task. The list must not be empty.
    Task& pop() noexcept {
        Task& task = *first_;
        first_ = task.next_;
        if (first_ == nullptr) {
            end_ = &first_;
        }
        return task;
    }
    /// Moves all tasks of another list to the end of this list.
    void append(TaskList& other) noexcept {
        if (!other.empty()) {
            *end_ = other.first_;
            end_ = std::exchange(other.end_, &other.first_);
            other.first_ = nullptr;
        }
    }

    TaskList() = default;
    TaskList(const TaskList&) = delete;
    TaskList& operator=(const TaskList&) = delete;

private:
    Task* first_ = nullptr;
    Task** end_ = &first_;
};

}  // namespace kova::kit::detail
