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
/// One alarm is armed for the earliest deadline. A new call compares its deadline with it; this
/// takes 25 ns for the clock and no lock. The alarm's callback searches the whole table (about 10
/// ns for each call). Therefore it does so at most every millisecond and in at most a tenth of the
/// time. Ends are delivered elsewhere.
class Deadlines {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// `clock` is null for the system's clock.
    Deadlines(CallTable& table, osal::Clock* clock);
    Deadlines(const Deadlines&) = delete;
    Deadlines& operator=(const Deadlines&) = delete;

    TimePoint now() const {
        return clock_ != nullptr ? clock_->now() : std::chrono::steady_clock::now();
    }
    /// Starts the alarm without a deadline. No thread is used before.
    void prepare();
    /// Ensures that the call, which is in the table, is ended at `due`.
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
    /// Marks the timer's thread as a thread that calls alarms. It is a separate alarm, because a
    /// deadline that is added soon afterwards would cancel the expiry.
    std::unique_ptr<osal::Alarm> probe_;
};

}  // namespace kova::kit::detail
