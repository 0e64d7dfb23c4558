#pragma once

#include "osal/Alarm.h"
#include "osal/Export.h"

namespace osal {

/// A timer that calls a function once or periodically and passes itself to the function. It is a
/// base class for timers with additional members.
///
/// The callback runs on the thread of the alarm timer and may start, stop and destroy the timer.
/// Two threads must not call `start` or `stop` at the same time; both may be called while the
/// callback runs.
///
/// A derived class whose callback uses its members must call `stop` in its destructor. The base
/// class's destructor also waits for the callback, but it runs after those members were destroyed.
///
///     const auto onExpiry = [](osal::Timer* timer) { timer->stop(); };
///     osal::Timer timer(onExpiry, false);
///     const bool failed = timer.start(std::chrono::seconds(5));
class OSAL_API Timer {
public:
    /// Times are in whole milliseconds.
    using Duration = Alarm::Duration;
    /// A function that is called with the expired timer. If it throws an exception, the process
    /// ends.
    using Callback = void (*)(Timer* timer);

    /// Constructs a stopped timer on a shared alarm timer, which must outlive it. If `periodic` is
    /// true, the timer is rearmed at each expiry (`Alarm::rearm`). Throws like the constructor of
    /// `Alarm`.
    Timer(Callback callback, bool periodic, AlarmTimer& timer = Alarm::DEFAULT_TIMER);
    virtual ~Timer();
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Starts the timer: it expires `interval` from now, and a pending expiry is cancelled. Returns
    /// false on success. Returns true if `interval` is 0 or negative; the timer is then unchanged.
    /// Also returns true if the alarm cannot be armed (`Alarm::arm`).
    [[nodiscard]] bool start(Duration interval);
    /// Stops the timer and cancels a pending expiry. After `stop` has returned, the callback is not
    /// running and will not run. In a callback, `stop` does not wait (see `Alarm::disarm`).
    void stop() noexcept;

private:
    OSAL_LOCAL static void expired(void* user);

    const Callback callback_;
    const bool periodic_;
    Duration interval_{};
    Alarm alarm_;
};

}  // namespace osal
