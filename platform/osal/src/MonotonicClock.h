#pragma once

#include <atomic>
#include <cstdint>

#include "osal/Clock.h"

namespace osal {

/// The system's monotonic clock. The timer's thread sleeps on a futex(2), whose only state is one
/// word. A condition variable counts its waiting threads, and a child of fork(2) would inherit the
/// count without the threads.
class MonotonicClock final : public Clock {
public:
    TimePoint now() const override;
    void waitUntil(TimePoint deadline) override;
    void wake() override;

private:
    std::atomic<std::uint32_t> woken_{0};
};

}  // namespace osal
