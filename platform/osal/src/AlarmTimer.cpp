#include "osal/AlarmTimer.h"

#include "AlarmEngine.h"
#include "osal/Alarm.h"

namespace osal {

AlarmEngine& AlarmTimer::engine() {
    std::call_once(made_, [this] {
        engine_.reset(new AlarmEngine(clock_));
        if (this == &Alarm::DEFAULT_TIMER) {
            engine_->surviveForks();
        }
    });
    return *engine_;
}

void AlarmTimer::Destroy::operator()(AlarmEngine* engine) const noexcept {
    delete engine;
}

}  // namespace osal
