#pragma once

#include <chrono>

#include "osal/Export.h"

namespace osal {

/// The time source of one `AlarmTimer`. The timer's thread also uses it to sleep.
///
/// It is not a general-purpose clock: it serves one timer, and only that timer's thread waits on
/// it. A test implements it to advance time by hand. Any thread may call `now` and `wake`, also
/// while the timer's thread waits. Implementations must not call back into the timer.
class OSAL_API Clock {
public:
    /// A time of the monotonic clock.
    using TimePoint = std::chrono::steady_clock::time_point;

    virtual ~Clock();

    /// Returns the current time, which never decreases.
    virtual TimePoint now() const = 0;
    /// Waits until `deadline` (`TimePoint::max()`: forever) or until `wake` is called. Returns
    /// immediately if `wake` was called since the previous return. May return spuriously.
    virtual void waitUntil(TimePoint deadline) = 0;
    /// Ends the current wait, or the next one if no thread is waiting.
    virtual void wake() = 0;

protected:
    Clock() = default;
    Clock(const Clock&) = default;
    Clock& operator=(const Clock&) = default;
};

}  // namespace osal
