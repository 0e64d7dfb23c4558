#include "osal/Timer.h"

namespace osal {

Timer::Timer(Callback callback, bool periodic, AlarmTimer& timer)
    : callback_(callback), periodic_(periodic), alarm_(timer, expired, this) {}

Timer::~Timer() {
    stop();
}

bool Timer::start(Duration interval) {
    if (interval <= Duration::zero()) {
        return true;
    }
    // Disarm first: while the interval is written, the callback must not read it.
    alarm_.disarm();
    interval_ = interval;
    return alarm_.arm(interval);
}

void Timer::stop() noexcept {
    alarm_.disarm();
}

void Timer::expired(void* user) {
    auto* const timer = static_cast<Timer*>(user);
    if (timer->periodic_) {
        // Cannot fail: `start` rejects intervals of 0, and the timer's thread exists, because it is
        // the current thread.
        static_cast<void>(timer->alarm_.rearm(timer->interval_));
    }
    timer->callback_(timer);
}

}  // namespace osal
