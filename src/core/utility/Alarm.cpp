#include "kova/core/Alarm.h"

#include <utility>

#include "kova/core/Errors.h"
#include "osal/AlarmTimer.h"
#include "zel/ErrorOutput.h"

// The callback reads `interval_` and `periodic_`, while `start` and `stop` write them on other
// threads. No lock is needed: `start` and `stop` disarm the alarm first, so no callback is running
// when they write.

namespace kova {

namespace {

// The source position of the report. The interface fixes it, so it is not the position in this
// file.
constexpr char const* FILE_NAME = "src/core/utility/Alarm";
constexpr int ZERO_INTERVAL_LINE = 29;

}  // namespace

FunctionalAlarm::FunctionalAlarm(std::function<void()>&& function, osal::AlarmTimer& timer)
    : osal::Alarm(timer, alarmCallback, this),
      function_(std::make_shared<const std::function<void()>>(std::move(function))) {}

FunctionalAlarm::~FunctionalAlarm() {
    stop();
}

bool FunctionalAlarm::start(unsigned int interval, bool periodic) {
    if (interval == 0) {
        zel::ErrorOutput(FILE_NAME, ZERO_INTERVAL_LINE, true)(
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
        // Cannot fail: `start` rejects an interval of 0, and the thread of the timer, which is this
        // thread, exists.
        static_cast<void>(alarm->rearm(Duration(alarm->interval_)));
    }
    const auto function = alarm->function_;
    (*function)();
}

}  // namespace kova
