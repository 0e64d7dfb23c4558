#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>

#include "kova/core/Export.h"
#include "osal/Timer.h"

namespace kova {

/// A timer of the platform that calls a function when it expires. It expires once for each start;
/// `FunctionalAlarm` is the periodic one.
///
/// The function runs on the thread of the alarm timer and may start, stop and destroy the timer. An
/// exception that leaves it ends the process, and so does an empty function when it is due
/// (`std::bad_function_call`). `osal::Timer` has the operations and the thread rule.
///
///     std::atomic<bool> late = false;
///     kova::FunctionalTimer timer([&late] { late = true; });
///     const bool failed = timer.start(std::chrono::seconds(5));
class KOVA_API FunctionalTimer : public osal::Timer {
public:
    /// Makes a stopped timer on an alarm timer of the platform, which must outlive it. Throws
    /// `std::system_error` when the thread of that timer cannot be started.
    explicit FunctionalTimer(std::function<void()>&& function,
                             osal::AlarmTimer& timer = osal::Alarm::DEFAULT_TIMER);
    /// Stops the timer, as `stop` does.
    ~FunctionalTimer() override;

    /// What the platform calls with the timer, which is a `FunctionalTimer`.
    static void timerCallback(osal::Timer* timer);

private:
    // Shared with the call that is running, which may destroy the timer.
    std::shared_ptr<const std::function<void()>> function_;
};

}  // namespace kova
