#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "kova/kit/Export.h"

namespace kova::kit {

namespace detail {
class ExecutorState;
}

/// Where the callbacks of a call run: on the thread that has the event ("inline"), on the threads
/// of a `Worker`, or on the thread that serves a `Loop`.
///
/// A handle of shared state; copies mean the same executor. A default-constructed executor is the
/// inline one: values and the answer arrive on the thread on which the service sends them. An end
/// that no event of the service causes (dropped, cancelled, timed out, lost) arrives on a thread of
/// the kit then, because the thread that finds it may hold a lock.
///
/// An executor has a number of places. A call reserves the place of its end when it starts; if all
/// are taken, the call is refused. A callback that blocks its executor for more than a second is
/// traced on the channel "KOVA_KIT_CALLS" (level 5), while it blocks.
///
///     kova::kit::Executor executor;                // inline
///     bool posted = executor.tryPost([] { /*...*/ });  // true: has run
class KOVA_KIT_API Executor {
public:
    /// The inline executor.
    Executor() noexcept = default;

    /// Returns whether it is the inline executor.
    bool isInline() const noexcept { return state_ == nullptr; }
    /// Runs the function on a thread of the executor; the inline executor runs it before it
    /// returns. Returns false, and does not run it, if the executor is full or stops. An exception
    /// that leaves the function ends the process. Any thread may call it.
    bool tryPost(std::function<void()> function) const;

    /// Returns the shared state; null for the inline executor. Not for users.
    const std::shared_ptr<detail::ExecutorState>& state() const noexcept { return state_; }

protected:
    /// Creates an executor with the shared state.
    explicit Executor(std::shared_ptr<detail::ExecutorState> state) noexcept
        : state_(std::move(state)) {}

private:
    std::shared_ptr<detail::ExecutorState> state_;
};

}  // namespace kova::kit
