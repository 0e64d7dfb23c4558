#pragma once

#include <utility>

#include "kova/kit/Export.h"

namespace kova::kit {

namespace detail {
class PendingCall;
}

/// The owner of a started call, usually of a stream of values.
///
/// Movable. The destructor calls `reset`. Any thread may call any function, but only one at a time
/// may move or destroy the subscription.
///
///     struct Display {
///         kova::kit::Subscription state;  // the last member: reset before the others are gone
///         void hide() { state.reset(); }
///     };
class KOVA_KIT_API Subscription {
public:
    /// Owns no call.
    Subscription() noexcept = default;
    /// @{
    /// Moves the call out of `other`, which then owns none. The assignment resets the former call.
    Subscription(Subscription&& other) noexcept : call_(std::exchange(other.call_, nullptr)) {}
    Subscription& operator=(Subscription&& other) noexcept;
    /// @}
    ~Subscription();

    /// Ends the call without an end: cancels it and waits for a callback that has begun. Afterwards
    /// no callback runs or will run, and the callbacks are destroyed. From inside its own callback
    /// it does not wait; the callbacks are destroyed when that one has returned.
    ///
    /// The caller must not hold a lock that a callback acquires; `cancel` may be called then. A
    /// wait of more than a second is traced with the path, the command and both threads. If the
    /// thread of the callback waits, over any number of steps, for the calling thread, the wait is
    /// not begun, and that is reported (`errors::RequestFailed`).
    void reset() noexcept;
    /// Ends the call with the end "cancelled", if it has no end yet. Never waits. The end arrives
    /// on the executor, of an inline call on a thread of the kit; no value arrives any more.
    void cancel() noexcept;
    /// Gives the call up: it goes on without an owner until its end.
    void detach() noexcept;
    /// Returns whether there is a call, and its end is not decided yet.
    bool pending() const noexcept;

private:
    friend class Calls;
    explicit Subscription(detail::PendingCall* call) noexcept : call_(call) {}

    detail::PendingCall* call_ = nullptr;
};

}  // namespace kova::kit
