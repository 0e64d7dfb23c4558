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
/// The function may start, stop and destroy the alarm. An exception that leaves the function ends
/// the process. So does the expiry of an alarm with an empty function (`std::bad_function_call`).
///
/// Any thread may call `start`, `stop` and the destructor, also while the function runs, but not
/// two threads at the same time. The caller must not hold a lock that the function acquires,
/// because these operations wait for the function.
///
///     std::atomic<int> polls = 0;
///     kova::FunctionalAlarm alarm([&polls] { ++polls; });
///     const bool failed = alarm.start(250, true);  // every 250 ms
class KOVA_API FunctionalAlarm : private osal::Alarm {
public:
    /// Creates an idle alarm on `timer`, which must outlive the alarm. The first alarm of a timer
    /// starts the timer's thread. Throws `std::system_error` if the thread cannot be started.
    explicit FunctionalAlarm(std::function<void()>&& function,
                             osal::AlarmTimer& timer = osal::Alarm::DEFAULT_TIMER);
    /// Calls `stop`.
    ~FunctionalAlarm();
    FunctionalAlarm(const FunctionalAlarm&) = delete;
    FunctionalAlarm& operator=(const FunctionalAlarm&) = delete;

    /// Starts or restarts the alarm. The function runs after `interval` milliseconds. If `periodic`
    /// is true, it then runs every `interval` milliseconds; the duration of the calls does not
    /// delay the schedule. Calls that were missed are skipped, as described at
    /// `osal::Alarm::rearm`.
    ///
    /// Returns false on success. Returns true and reports `errors::InvalidParameter` if `interval`
    /// is 0; the alarm is then unchanged.
    [[nodiscard]] bool start(unsigned int interval, bool periodic);
    /// Stops the alarm and waits until a running call of the function has ended. After `stop` has
    /// returned, the function does not run. `stop` does not wait when it is called by the function
    /// itself or by the function of another alarm of the same timer.
    void stop() noexcept;

    /// The callback of the platform's alarm; `alarm` points to the `FunctionalAlarm`. Not part of
    /// the public interface.
    static void alarmCallback(void* alarm);

private:
    // Shared, because a running call may destroy the alarm.
    std::shared_ptr<const std::function<void()>> function_;
    std::uint32_t interval_ = 0;
    bool periodic_ = false;
};

}  // namespace kova
