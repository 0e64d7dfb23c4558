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
/// One alarm is armed for the earliest deadline. A new call compares its deadline with it, which
/// takes 25 ns for the clock and no lock. The alarm's callback looks through the whole table (about
/// 10 ns for each call), so it does that at most every millisecond and in at most a tenth of the
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
    /// Starts the alarm, without a deadline. Until then no thread is used.
    void prepare();
    /// Makes sure that the call, which is in the table, is ended at `due`.
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
    /// Lets the timer's thread learn that it calls alarms. An alarm of its own, because a deadline
    /// that is added soon would cancel the expiry.
    std::unique_ptr<osal::Alarm> probe_;
};

}  // namespace kova::kit::detail
