#pragma once

#include <atomic>
#include <cstdint>

#include "osal/Clock.h"

namespace osal {

/// The system's monotonic clock. Its thread sleeps on a futex(2).
///
/// A condition variable would also work, but it counts its waiting threads, and a child of fork(2)
/// would inherit the count without the threads. The only state of the futex is one word.
class MonotonicClock final : public Clock {
public:
    TimePoint now() const override;
    void waitUntil(TimePoint deadline) override;
    void wake() override;

private:
    std::atomic<std::uint32_t> woken_{0};
};

}  // namespace osal
