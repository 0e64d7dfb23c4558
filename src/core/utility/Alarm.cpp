#include "kova/core/Alarm.h"

#include <utility>

#include "kova/core/Errors.h"
#include "osal/AlarmTimer.h"
#include "zel/ErrorOutput.h"

// `interval_` and `periodic_` are read by the callback and written by `start` and `stop`, on other
// threads, without a lock: these write after disarming, when no callback is running.

namespace kova {

FunctionalAlarm::FunctionalAlarm(std::function<void()>&& function, osal::AlarmTimer& timer)
    : osal::Alarm(timer, alarmCallback, this),
      function_(std::make_shared<const std::function<void()>>(std::move(function))) {}

FunctionalAlarm::~FunctionalAlarm() {
    stop();
}

bool FunctionalAlarm::start(unsigned int interval, bool periodic) {
    if (interval == 0) {
        zel::ErrorOutput("src/core/utility/Alarm", 29, true)(
            errors::Error, errors::InvalidParameter, "zero tick interval specified");
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
        // Fails for an interval of 0 only, which `start` refuses: the timer's thread is this one.
        static_cast<void>(alarm->rearm(Duration(alarm->interval_)));
    }
    const auto function = alarm->function_;
    (*function)();
}

}  // namespace kova
