#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>

#include "osal/Alarm.h"
#include "osal/AlarmTimer.h"
#include "osal/Clock.h"

namespace kova::kit::detail {

class CallTable;

/// Ends the calls of a table whose deadlines have passed.
///
/// One alarm is armed for the earliest deadline. When a call is added, its deadline is compared
/// with the earliest one. This takes 25 ns, for reading the clock, and needs no lock. The alarm's
/// callback searches the whole table (about 10 ns for each call). Therefore it searches at most
/// once per millisecond and spends at most a tenth of the time on it. The executors of the calls,
/// not the alarm's thread, deliver the ends.
class Deadlines {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// Creates the deadlines of the calls in `table`. If `clock` is null, uses the system's clock.
    Deadlines(CallTable& table, osal::Clock* clock);
    Deadlines(const Deadlines&) = delete;
    Deadlines& operator=(const Deadlines&) = delete;

    TimePoint now() const {
        return clock_ != nullptr ? clock_->now() : std::chrono::steady_clock::now();
    }
    /// Starts the alarm and its thread, without a deadline. Before this call no thread is running.
    void prepare();
    /// Registers the deadline `due` of a call. The call must already be in the table.
    void add(TimePoint due);

private:
    void expired();
    void arm(TimePoint due, TimePoint now);

    CallTable& table_;
    osal::Clock* const clock_;
    std::unique_ptr<osal::AlarmTimer> ownTimer_;
    std::atomic<TimePoint::rep> earliest_{TimePoint::max().time_since_epoch().count()};
    std::mutex mutex_;
    std::once_flag prepared_;
    std::unique_ptr<osal::Alarm> alarm_;
    /// An alarm whose callback marks the timer's thread as a thread that calls alarms. It is
    /// separate from `alarm_`, because arming `alarm_` for a new deadline would cancel this expiry.
    std::unique_ptr<osal::Alarm> probe_;
};

}  // namespace kova::kit::detail
