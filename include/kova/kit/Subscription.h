#pragma once

#include <utility>

#include "kova/kit/Export.h"

namespace kova::kit {

namespace detail {
class PendingCall;
}

/// The owner of a started call, usually of a stream of values.
///
/// Movable. The destructor calls `reset`. Any thread may call any function, but only one thread at
/// a time may move or destroy the subscription.
///
///     struct Display {
///         kova::kit::Subscription state;  // the last member: reset before the others are gone
///         void hide() { state.reset(); }
///     };
class KOVA_KIT_API Subscription {
public:
    /// Creates a subscription without a call.
    Subscription() noexcept = default;
    /// @{
    /// Moves the call out of `other`, which then has no call. The assignment resets the call that
    /// this object owned before.
    Subscription(Subscription&& other) noexcept : call_(std::exchange(other.call_, nullptr)) {}
    Subscription& operator=(Subscription&& other) noexcept;
    /// @}
    ~Subscription();

    /// Ends the call silently: cancels it and waits for a running callback. Afterwards no callback
    /// runs, and the callbacks are destroyed. If a callback of this call calls `reset`, it does not
    /// wait; the callbacks are destroyed when that callback has returned.
    ///
    /// The caller must not hold a lock that a callback acquires; use `cancel` in that case. A wait
    /// of more than a second is traced with the path, the command, and the numbers of the waiting
    /// thread and of the callback's thread. If the thread of the callback itself waits for the
    /// calling thread, directly or through other threads, `reset` does not wait and reports
    /// `errors::RequestFailed`.
    void reset() noexcept;
    /// Ends the call with the end "cancelled", if the call has not ended yet. Never waits. The end
    /// arrives on the executor, or on a thread of the kit for an inline call. No value arrives
    /// after it.
    void cancel() noexcept;
    /// Gives up the ownership of the call. The call continues until its end.
    void detach() noexcept;
    /// Returns whether there is a call that has not ended.
    bool pending() const noexcept;

private:
    friend class Calls;
    explicit Subscription(detail::PendingCall* call) noexcept : call_(call) {}

    detail::PendingCall* call_ = nullptr;
};

}  // namespace kova::kit
