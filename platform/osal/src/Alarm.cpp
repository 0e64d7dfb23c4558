#include "osal/Alarm.h"

#include "AlarmEngine.h"
#include "AlarmQueue.h"
#include "osal/AlarmTimer.h"

namespace osal {

namespace {

// Made before any code runs and never destroyed: static objects of other files may hold alarms,
// whichever of them comes first or goes last.
union DefaultTimer {
    constexpr DefaultTimer() : timer() {}
    ~DefaultTimer() {}  // NOLINT(modernize-use-equals-default): that one would be deleted
    AlarmTimer timer;
};

DefaultTimer defaultTimer;

}  // namespace

AlarmTimer& Alarm::DEFAULT_TIMER = defaultTimer.timer;

Alarm::Alarm(AlarmTimer& timer, Callback callback, void* user)
    : engine_(timer.engine()), callback_(callback), user_(user), position_(AlarmQueue::NOWHERE) {
    engine_.attach();
}

Alarm::~Alarm() {
    engine_.disarm(*this);
    engine_.detach(*this);
}

bool Alarm::arm(Duration delay) {
    return engine_.arm(*this, delay);
}

bool Alarm::rearm(Duration period) {
    return engine_.rearm(*this, period);
}

void Alarm::disarm() noexcept {
    engine_.disarm(*this);
}

}  // namespace osal
