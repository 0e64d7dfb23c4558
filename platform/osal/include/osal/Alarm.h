#pragma once

#include <chrono>
#include <cstddef>

#include "osal/Export.h"

namespace osal {

class AlarmEngine;
class AlarmTimer;

/// A one-shot alarm: calls a function after a given delay, on the thread of an `AlarmTimer`.
///
/// It is not periodic by itself: the callback of a periodic alarm calls `rearm`. The callback may
/// arm, disarm and destroy its own and other alarms. Any thread may call any operation, but not
/// while another thread destroys the alarm.
///
///     bool late = false;  // set on the timer's thread; to be read after `disarm`
///     const auto onTimeout = [](void* user) { *static_cast<bool*>(user) = true; };
///     osal::Alarm alarm(osal::Alarm::DEFAULT_TIMER, onTimeout, &late);
///     const bool failed = alarm.arm(std::chrono::milliseconds(200));
class OSAL_API Alarm {
public:
    /// Times are in whole milliseconds.
    using Duration = std::chrono::milliseconds;
    /// A function that is called on the timer's thread with the pointer that was passed to the
    /// constructor. If it throws an exception, the process ends.
    using Callback = void (*)(void* user);

    /// The maximum duration. Longer durations are reduced to it.
    static constexpr Duration LONGEST = std::chrono::hours(24 * 365 * 100);

    /// The timer that the whole process shares. It runs on the monotonic clock. It can be used
    /// while static objects are constructed and destroyed.
    ///
    /// After fork(2) the child has no timer thread, and all its alarms are disarmed, as POSIX
    /// timers are. The thread starts again when the child constructs or arms an alarm. Alarms of
    /// other timers must not be used in a child.
    static AlarmTimer& DEFAULT_TIMER;

    /// Constructs a disarmed alarm on `timer`, which must outlive it. The timer's first alarm
    /// starts the timer's thread. `callback` must not be null; it is called with `user`. Throws
    /// `std::system_error` if the thread cannot be started.
    Alarm(AlarmTimer& timer, Callback callback, void* user);
    /// Disarms the alarm. The destructor of the timer's last alarm ends the thread.
    ~Alarm();
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

    /// Schedules the expiry for `delay` from now and cancels a pending expiry. If `delay` is 0 or
    /// negative, the alarm is due immediately. Returns false on success, true if the timer's thread
    /// cannot be started in a child of fork(2). Does not allocate memory.
    [[nodiscard]] bool arm(Duration delay);
    /// Schedules the next expiry of a periodic alarm. When the alarm's own callback calls it, the
    /// next expiry is the earliest future time that is a whole number of periods after the time at
    /// which the alarm was due. A late callback thus does not shift the later expiries, and missed
    /// expiries are skipped. Outside the callback, `rearm` is the same as `arm`. Returns false on
    /// success, true if `period` is 0 or negative or if `arm` would fail.
    [[nodiscard]] bool rearm(Duration period);
    /// Cancels a pending expiry. Waits until a running callback has returned, and also cancels an
    /// expiry that this callback has scheduled. After `disarm` has returned, the callback is not
    /// running and will not run. If `disarm` is called in a callback, which runs on the timer's own
    /// thread, it does not wait. On any other thread, the caller must not hold a lock that the
    /// callback acquires.
    void disarm() noexcept;

private:
    friend class AlarmEngine;
    friend class AlarmQueue;

    AlarmEngine& engine_;
    const Callback callback_;
    void* const user_;
    std::size_t position_;
};

}  // namespace osal
