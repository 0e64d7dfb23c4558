#pragma once

#include <chrono>
#include <cstddef>

#include "osal/Export.h"

namespace osal {

class AlarmEngine;
class AlarmTimer;

/// Calls a function once, a given time from now, on the thread of an `AlarmTimer`.
///
/// It is not periodic by itself: the callback of a periodic alarm calls `rearm`. The callback may
/// do everything with its own and with other alarms: arm, disarm and destroy them. Any thread may
/// call any operation, except that nobody may use an alarm that is being destroyed.
///
///     osal::Alarm alarm(osal::Alarm::DEFAULT_TIMER, onTimeout, &request);
///     if (alarm.arm(std::chrono::milliseconds(200))) ...
class OSAL_API Alarm {
public:
    /// Times are in whole milliseconds.
    using Duration = std::chrono::milliseconds;
    /// Called on the timer's thread with the pointer that was given with it. An exception that
    /// leaves it ends the process.
    using Callback = void (*)(void* user);

    /// Longer durations are taken for this one.
    static constexpr Duration LONGEST = std::chrono::hours(24 * 365 * 100);

    /// The timer that the whole process shares, on the monotonic clock. It can be used while static
    /// objects are made and destroyed. A child that fork(2) made starts without its thread and, as
    /// with the timers of POSIX, with all alarms disarmed; there, the thread starts again with the
    /// next alarm that is made or armed. (Alarms of other timers must not be used in a child.)
    static AlarmTimer& DEFAULT_TIMER;

    /// Takes a reference on `timer`, which must outlive the alarm; the first one starts the timer's
    /// thread. `callback` must not be null; `user` is handed to it. Throws `std::system_error` when
    /// the thread cannot be started.
    Alarm(AlarmTimer& timer, Callback callback, void* user);
    /// Disarms and gives the reference back.
    ~Alarm();
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

    /// Lets the alarm expire `delay` from now, in place of an expiry that is still to come; a delay
    /// of 0 or less is due at once. False on success; true when, in a child of fork, the timer's
    /// thread cannot be started. Does not allocate.
    [[nodiscard]] bool arm(Duration delay);
    /// Called by the alarm's own callback: lets it expire again at `period` after the time at which
    /// it was due, however long ago that is. When that has passed as well, the present call stands
    /// for all that were missed, and the next expiry is the first one still to come at a multiple
    /// of `period` after the time at which the alarm was due. Called from elsewhere it is the same
    /// as `arm`. False on success; true for a period of 0 or less, and as with `arm`.
    [[nodiscard]] bool rearm(Duration period);
    /// Takes an expiry that is still to come away. When this returns, the callback is not running
    /// and will not run; a callback that is running meanwhile is waited for, and what it arms is
    /// disarmed, too. On the timer's own thread, that is in a callback, it does not wait. Whoever
    /// calls it elsewhere must not hold a lock that the callback takes.
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
