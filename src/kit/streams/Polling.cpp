#include <limits>
#include <stdexcept>
#include <utility>

#include "kova/kit/Polled.h"
#include "streams/Hub.h"

namespace kova::kit::detail {

namespace {

unsigned int checked(std::chrono::milliseconds interval) {
    const auto count = interval.count();
    if (count < 1 || count > std::numeric_limits<unsigned int>::max()) {
        throw std::invalid_argument("the interval is not 1 to 4294967295 ms");
    }
    return static_cast<unsigned int>(count);
}

}  // namespace

Polling::Polling(const Streaming& stream, std::chrono::milliseconds interval,
                 std::function<void()> function)
    : served_(stream.served()),
      interval_(checked(interval)),
      function_(std::move(function)),
      alarm_([this] { expire(); }) {}

Polling::~Polling() = default;

void Polling::start() {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (!isRunning_) {
        isRunning_ = !alarm_.start(interval_, true);
    }
}

void Polling::expire() {
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (!static_cast<Hub&>(*served_).isWatched()) {
            alarm_.stop();
            isRunning_ = false;
            return;
        }
    }
    // A copy, because the function may destroy this object.
    const std::function<void()> function = function_;
    try {
        function();
    } catch (...) {
        uncaught("the polling of a value", nullptr);
    }
}

}  // namespace kova::kit::detail
