#pragma once

#include <memory>
#include <mutex>

#include "osal/Export.h"

namespace osal {

class AlarmEngine;
class Clock;

/// A thread that calls the callbacks of any number of alarms when they are due.
///
/// A timer has no functions of its own: all alarms that are constructed with it share its thread.
/// The thread starts with the timer's first alarm. It has ended when the destructor of the last
/// alarm returns. If that destructor runs in a callback, the thread ends soon after the callback.
/// Callbacks run one after the other, in the order in which their alarms are due. Alarms that are
/// due at the same time run in the order in which they were armed. If a callback throws an
/// exception, the process ends.
///
/// Arming or disarming one of n alarms takes O(log n) time. Any thread may create and use alarms.
class OSAL_API AlarmTimer {
public:
    /// Constructs a timer on the system's monotonic clock. On an idle system its callbacks run tens
    /// of microseconds late.
    constexpr AlarmTimer() noexcept = default;
    /// Constructs a timer on `clock`, which must outlive it and must not serve another timer.
    constexpr explicit AlarmTimer(Clock& clock) noexcept : clock_(&clock) {}
    /// Waits until the thread has ended, so the destructor must not run in a callback. All alarms
    /// must have been destroyed before; otherwise the process is aborted.
    ~AlarmTimer() = default;
    AlarmTimer(const AlarmTimer&) = delete;
    AlarmTimer& operator=(const AlarmTimer&) = delete;

private:
    friend class Alarm;
    struct Destroy {
        void operator()(AlarmEngine* engine) const noexcept;
    };

    OSAL_LOCAL AlarmEngine& engine();

    Clock* clock_ = nullptr;
    std::once_flag made_;
    std::unique_ptr<AlarmEngine, Destroy> engine_;
};

}  // namespace osal
