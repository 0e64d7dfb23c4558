#include "nats/Backoff.h"

#include <algorithm>

namespace kova::nats::detail {

std::chrono::microseconds Backoff::next() {
    const std::chrono::microseconds longest = delay_;
    delay_ = std::min(2 * delay_, LONGEST);
    std::uniform_int_distribution<std::chrono::microseconds::rep> part(longest.count() / 2,
                                                                       longest.count());
    return std::chrono::microseconds(part(random_));
}

}  // namespace kova::nats::detail
