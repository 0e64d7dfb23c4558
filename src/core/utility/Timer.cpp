#include "kova/core/Timer.h"

#include <utility>

namespace kova {

FunctionalTimer::FunctionalTimer(std::function<void()>&& function, osal::AlarmTimer& timer)
    : osal::Timer(timerCallback, false, timer),
      function_(std::make_shared<const std::function<void()>>(std::move(function))) {}

FunctionalTimer::~FunctionalTimer() {
    stop();
}

void FunctionalTimer::timerCallback(osal::Timer* timer) {
    const auto function = static_cast<FunctionalTimer*>(timer)->function_;
    (*function)();
}

}  // namespace kova
