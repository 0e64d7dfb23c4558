#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>

#include "kova/core/Export.h"
#include "osal/Timer.h"

namespace kova {

/// A timer of the platform that calls a function when it expires. Each start leads to at most one
/// expiry; use `FunctionalAlarm` for periodic calls.
///
/// The function runs on the thread of the alarm timer and may start, stop and destroy the timer. An
/// exception that leaves the function ends the process. So does the expiry of a timer with an empty
/// function (`std::bad_function_call`). See `osal::Timer` for the functions and for the threads
/// that may call them.
///
///     std::atomic<bool> late = false;
///     kova::FunctionalTimer timer([&late] { late = true; });
///     const bool failed = timer.start(std::chrono::seconds(5));
class KOVA_API FunctionalTimer : public osal::Timer {
public:
    /// Creates a stopped timer on the alarm timer `timer`, which must outlive it. Throws
    /// `std::system_error` if the thread of the alarm timer cannot be started.
    explicit FunctionalTimer(std::function<void()>&& function,
                             osal::AlarmTimer& timer = osal::Alarm::DEFAULT_TIMER);
    /// Calls `stop`.
    ~FunctionalTimer() override;

    /// The callback of the platform's timer; `timer` must be a `FunctionalTimer`. Not part of the
    /// public interface.
    static void timerCallback(osal::Timer* timer);

private:
    // Shared, because a running call may destroy the timer.
    std::shared_ptr<const std::function<void()>> function_;
};

}  // namespace kova
