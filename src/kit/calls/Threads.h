#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "CallState.h"

namespace kova::kit::detail {

class PendingCall;
class ExecutorState;
class Dispatcher;

/// An operation on a call that the current thread is executing. The nested operations of a thread
/// are a linked list on its stack.
struct Frame {
    PendingCall* call;
    Frame* previous;
};

/// The kit's data about a thread. Only the thread itself uses it, except where noted.
struct ThreadRecord {
    /// The number that identifies the thread in `CallState.h`. Not reused while the thread lives.
    std::uint32_t id = 0;
    /// The thread number of the operating system, for traces.
    long number = 0;
    /// The innermost operation on a call.
    Frame* frames = nullptr;
    /// The call whose callback the thread waits for. Guarded by the mutex of `waits()`.
    PendingCall* waitsFor = nullptr;
    /// The executor whose task the thread runs.
    ExecutorState* executor = nullptr;
    /// The executor to which a service posted a task while this thread was inside `actionRequest`.
    /// It is assumed to serve the request.
    ExecutorState* servedBy = nullptr;
    /// Number of calls that the thread has made.
    std::uint32_t calls = 0;
    /// Whether the thread calls the alarms of a timer that the kit uses for deadlines.
    bool callsAlarms = false;

    /// Returns whether the thread is inside an operation on the call.
    bool isInside(const PendingCall& call) const noexcept {
        Frame const* frame = frames;
        while (frame != nullptr && frame->call != &call) {
            frame = frame->previous;
        }
        return frame != nullptr;
    }
};

/// Registers the current thread, which must not have a record yet.
ThreadRecord& registerThread();
/// The record of the current thread, or null. It is read at a fixed offset, which takes less than 1
/// ns. Its 8 bytes fit into the space that the loader reserves for libraries that are loaded later.
extern thread_local ThreadRecord* currentThread __attribute__((tls_model("initial-exec")));

/// Returns the record of the current thread.
inline ThreadRecord& thisThread() {
    return currentThread != nullptr ? *currentThread : registerThread();
}
/// Returns the operating system's number of the thread with this id, or 0 if no thread has this id.
long threadNumber(std::uint32_t id);

/// A guard that registers an operation of the current thread on a call while the guard exists.
class FrameGuard {
public:
    FrameGuard(ThreadRecord& thread, PendingCall& call) noexcept
        : thread_(thread), frame_{&call, thread.frames} {
        thread_.frames = &frame_;
    }
    ~FrameGuard() { thread_.frames = frame_.previous; }
    FrameGuard(const FrameGuard&) = delete;
    FrameGuard& operator=(const FrameGuard&) = delete;

private:
    ThreadRecord& thread_;
    Frame frame_;
};

/// The time at which a wait ends, or `std::nullopt` if there is no limit.
using WaitLimit = std::optional<std::chrono::steady_clock::time_point>;

/// The time after which a wait is traced.
constexpr std::chrono::seconds LONG_WAIT{1};

/// The result of a wait for a callback.
enum class Waited {
    left,    ///< No callback runs.
    inside,  ///< The current thread is inside the callback, so it does not wait.
    circle,  ///< The thread of the callback waits for the current one; traced and reported.
    expired  ///< The limit passed.
};

/// Waits until no thread is calling the receiver of a call that its owner has ended silently.
Waited waitForCallback(PendingCall& call, const WaitLimit& limit = std::nullopt);
/// Writes a trace message: the current thread has waited for more than a second until the executor
/// stopped. `executor` is the name of its type.
void traceLongStop(char const* executor);
/// Wakes the threads that wait for a callback or for an idle table.
void wakeWaiting();

/// Waits until `isOver` returns true. The function is called under a lock of the kit and must not
/// wait. `describe` is called without a lock, and returns the trace message for a wait of more than
/// a second. Returns false if the limit has passed.
bool waitUntilOver(bool (*isOver)(void*), std::string (*describe)(void*), void* user,
                   const WaitLimit& limit);

}  // namespace kova::kit::detail
