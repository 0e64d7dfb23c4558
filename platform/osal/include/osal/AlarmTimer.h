#pragma once

#include <memory>
#include <mutex>

#include "osal/Export.h"

namespace osal {

class AlarmEngine;
class Clock;

/// A thread that calls the callbacks of any number of alarms when they are due.
///
/// It is the place where alarms meet, not an alarm: all operations are those of `Alarm`. The thread
/// starts with the first alarm that is made for the timer and has ended when the destructor of the
/// last one returns; only when that destructor runs in a callback, the thread ends soon after the
/// callback. Callbacks are called one after the other, in the order in which they are due, alarms
/// that are due at the same time in the order in which they were armed. An exception that leaves a
/// callback ends the process.
///
/// Arming and disarming one of n alarms takes O(log n). Any thread may make and use alarms.
class OSAL_API AlarmTimer {
public:
    /// A timer on the system's monotonic clock. On an idle system it is tens of microseconds late.
    constexpr AlarmTimer() noexcept = default;
    /// A timer on `clock`, which must outlive it and serve no other timer.
    constexpr explicit AlarmTimer(Clock& clock) noexcept : clock_(&clock) {}
    /// Waits for the thread, so it must not run in a callback. All alarms must be gone; otherwise
    /// the process stops.
    ~AlarmTimer() = default;
    AlarmTimer(const AlarmTimer&) = delete;
    AlarmTimer& operator=(const AlarmTimer&) = delete;

private:
    friend class Alarm;
    struct Destroy {
        void operator()(AlarmEngine* engine) const noexcept;
    };

    AlarmEngine& engine();

    Clock* clock_ = nullptr;
    std::once_flag made_;
    std::unique_ptr<AlarmEngine, Destroy> engine_;
};

}  // namespace osal
