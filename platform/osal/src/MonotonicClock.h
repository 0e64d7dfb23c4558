#pragma once

#include <atomic>
#include <cstdint>

#include "osal/Clock.h"

namespace osal {

/// The system's monotonic clock; its sleep is a futex(2).
///
/// A condition variable would do as well, but keeps track of who waits on it, which a child of
/// fork(2) would inherit without the waiting thread. The futex has no state but the one word.
class MonotonicClock final : public Clock {
public:
    TimePoint now() const override;
    void waitUntil(TimePoint deadline) override;
    void wake() override;

private:
    std::atomic<std::uint32_t> woken_{0};
};

}  // namespace osal
