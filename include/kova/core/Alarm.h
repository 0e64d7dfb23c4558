#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "kova/core/Export.h"
#include "osal/Alarm.h"

namespace kova {

/// An alarm of the platform that calls a function, once or periodically, on the thread of the alarm
/// timer.
///
/// The function may start, stop and destroy the alarm. An exception that leaves it ends the
/// process, and so does an empty function when it is due (`std::bad_function_call`).
///
/// `start` and `stop` must not race with each other; they, and the destructor, may be called while
/// the function runs, but not under a lock that the function takes, because they wait for it.
///
///     std::atomic<int> polls = 0;
///     kova::FunctionalAlarm alarm([&polls] { ++polls; });
///     const bool failed = alarm.start(250, true);  // every 250 ms
class KOVA_API FunctionalAlarm : private osal::Alarm {
public:
    /// Makes an idle alarm on a timer of the platform, which must outlive it; the first alarm of a
    /// timer starts its thread. Throws `std::system_error` when that fails.
    explicit FunctionalAlarm(std::function<void()>&& function,
                             osal::AlarmTimer& timer = osal::Alarm::DEFAULT_TIMER);
    /// Stops the alarm, as `stop` does.
    ~FunctionalAlarm();
    FunctionalAlarm(const FunctionalAlarm&) = delete;
    FunctionalAlarm& operator=(const FunctionalAlarm&) = delete;

    /// Lets the function be called `interval` milliseconds from now and, with `periodic`, every
    /// `interval` milliseconds from then on, however long it runs; calls that were missed are not
    /// made up for (`osal::Alarm::rearm`). A former start is void. False on success. An interval of
    /// 0 is reported as `errors::InvalidParameter` and gives true; nothing else changes then.
    [[nodiscard]] bool start(unsigned int interval, bool periodic);
    /// Ends the calls: when this returns, the function is not running and will not run. In the
    /// function itself, or in that of another alarm of the timer, it does not wait.
    void stop() noexcept;

    /// What the timer calls with a pointer to the alarm.
    static void alarmCallback(void* alarm);

private:
    // Shared with the call that is running, which may destroy the alarm.
    std::shared_ptr<const std::function<void()>> function_;
    std::uint32_t interval_ = 0;
    bool periodic_ = false;
};

}  // namespace kova
