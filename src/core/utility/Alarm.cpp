#include "kova/core/Alarm.h"

#include <utility>

#include "api/Report.h"
#include "osal/AlarmTimer.h"

// The callback reads `interval_` and `periodic_`, which `start` and `stop` write on other threads.
// No lock is needed: `start` and `stop` disarm the alarm first, so no callback is running when they
// write.

namespace kova {

namespace {

// The source position in reports is fixed by the interface.
constexpr detail::SourcePosition ZERO_INTERVAL{"src/core/utility/Alarm", 29};

}  // namespace

FunctionalAlarm::FunctionalAlarm(std::function<void()>&& function, osal::AlarmTimer& timer)
    : osal::Alarm(timer, alarmCallback, this),
      function_(std::make_shared<const std::function<void()>>(std::move(function))) {}

FunctionalAlarm::~FunctionalAlarm() {
    stop();
}

bool FunctionalAlarm::start(unsigned int interval, bool periodic) {
    if (interval == 0) {
        detail::report(ZERO_INTERVAL, errors::InvalidParameter, "zero tick interval specified");
        return true;
    }
    disarm();
    interval_ = interval;
    periodic_ = periodic;
    return arm(Duration(interval));
}

void FunctionalAlarm::stop() noexcept {
    disarm();
    periodic_ = false;
}

void FunctionalAlarm::alarmCallback(void* user) {
    auto* const alarm = static_cast<FunctionalAlarm*>(user);
    if (alarm->periodic_) {
        // Cannot fail: `start` rejects an interval of 0, and the timer's thread exists, because it
        // is the current thread.
        static_cast<void>(alarm->rearm(Duration(alarm->interval_)));
    }
    const auto function = alarm->function_;
    (*function)();
}

}  // namespace kova
