#pragma once

#include "osal/Alarm.h"
#include "osal/Export.h"

namespace osal {

/// A timer that calls a function with itself as the argument, once or periodically: the base of
/// timers that carry more.
///
/// The callback runs on the thread of the alarm timer and may start, stop and destroy the timer.
/// `start` and `stop` must not race with each other, but may be called while the callback runs.
///
/// A derived class whose callback uses its members must call `stop` in its destructor: when this
/// class's own destructor waits for the callback, those members are gone.
class OSAL_API Timer {
public:
    /// As for alarms.
    using Duration = Alarm::Duration;
    /// Called with the timer that has expired. An exception that leaves it ends the process.
    using Callback = void (*)(Timer* timer);

    /// Makes a stopped timer on a shared alarm timer, which must outlive it. A `periodic` one goes
    /// on after each expiry (`Alarm::rearm`). Throws as the constructor of `Alarm` does.
    Timer(Callback callback, bool periodic, AlarmTimer& timer = Alarm::DEFAULT_TIMER);
    virtual ~Timer();
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Lets the timer expire `interval` from now, in place of an expiry that is still to come.
    /// False on success; true, with nothing changed, for an interval of 0 or less, and true when
    /// the alarm cannot be armed (`Alarm::arm`).
    [[nodiscard]] bool start(Duration interval);
    /// When this returns, the callback is not running and will not run, with the exception that is
    /// stated for `Alarm::disarm`.
    void stop() noexcept;

private:
    static void expired(void* user);

    const Callback callback_;
    const bool periodic_;
    Duration interval_{};
    Alarm alarm_;
};

}  // namespace osal
