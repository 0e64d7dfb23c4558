#pragma once

#include <chrono>

#include "osal/Export.h"

namespace osal {

/// The time that one `AlarmTimer` lives in, and the way its thread sleeps.
///
/// It is no general-purpose clock: it serves one timer, whose thread alone waits on it. A test
/// implements it to move time by hand. `now` and `wake` come from any thread, also while another
/// one waits, and must not call back into the timer.
class OSAL_API Clock {
public:
    /// A time of the monotonic clock.
    using TimePoint = std::chrono::steady_clock::time_point;

    virtual ~Clock();

    /// The current time; never less than what it gave before.
    virtual TimePoint now() const = 0;
    /// Returns when `deadline` is reached (`TimePoint::max()`: never) or `wake` was called since
    /// the former return, also if that was before this call. It may return without a reason, too.
    virtual void waitUntil(TimePoint deadline) = 0;
    /// Ends the wait that is going on, or else the next one.
    virtual void wake() = 0;

protected:
    Clock() = default;
    Clock(const Clock&) = default;
    Clock& operator=(const Clock&) = default;
};

}  // namespace osal
