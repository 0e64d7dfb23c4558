#include "osal/Alarm.h"

#include "AlarmEngine.h"
#include "AlarmQueue.h"
#include "osal/AlarmTimer.h"

namespace osal {

namespace {

// Constant-initialized and never destroyed, so that static objects of other files may hold alarms
// regardless of the order of initialization and destruction.
union DefaultTimer {
    constexpr DefaultTimer() : timer() {}
    ~DefaultTimer() {}  // NOLINT(modernize-use-equals-default): a defaulted one would be deleted
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
