#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "kova/kit/Export.h"

namespace kova::kit {

namespace detail {
class ExecutorState;
}

/// The threads on which the callbacks of a call run: the thread of the event ("inline"), the
/// threads of a `Worker`, or the thread of a `Loop`.
///
/// A handle of shared state; copies refer to the same executor. A default-constructed executor is
/// the inline executor: callbacks run on the thread on which the service sends the value or the
/// answer. An end without an event of the service (dropped, cancelled, timed out, lost) then
/// arrives on a thread of the kit, because the thread that detects it may hold a lock.
///
/// An executor has a limited number of places. When a call starts, it reserves a place for its end.
/// If no place is free, the call is refused. If a callback blocks its executor for more than a
/// second, this is traced on the channel "KOVA_KIT_CALLS" (level 5), while the callback still runs.
///
///     kova::kit::Executor executor;                // inline
///     bool posted = executor.tryPost([] { /*...*/ });  // true: has run
class KOVA_KIT_API Executor {
public:
    /// Creates the inline executor.
    Executor() noexcept = default;

    /// Returns whether it is the inline executor.
    bool isInline() const noexcept { return state_ == nullptr; }
    /// Runs the function on a thread of the executor. The inline executor runs it before `tryPost`
    /// returns. If the executor is full or stops, returns false and does not run the function. An
    /// exception that leaves the function ends the process. Any thread may call it.
    bool tryPost(std::function<void()> function) const;

    /// Returns the shared state; null for the inline executor. Not part of the public interface.
    const std::shared_ptr<detail::ExecutorState>& state() const noexcept { return state_; }

protected:
    /// Creates an executor with the shared state.
    explicit Executor(std::shared_ptr<detail::ExecutorState> state) noexcept
        : state_(std::move(state)) {}

private:
    std::shared_ptr<detail::ExecutorState> state_;
};

}  // namespace kova::kit
