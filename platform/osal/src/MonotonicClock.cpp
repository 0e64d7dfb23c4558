#include "MonotonicClock.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <ctime>

namespace osal {

namespace {

static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t) &&
                  std::atomic<std::uint32_t>::is_always_lock_free,
              "the kernel reads the word directly");

// Converts the time without an offset: std::chrono::steady_clock is CLOCK_MONOTONIC, with the same
// origin.
timespec toTimespec(Clock::TimePoint time) {
    using std::chrono::nanoseconds;
    using std::chrono::seconds;
    const auto sinceOrigin = std::chrono::duration_cast<nanoseconds>(time.time_since_epoch());
    const auto whole = std::chrono::duration_cast<seconds>(sinceOrigin);
    timespec result{};
    result.tv_sec = static_cast<time_t>(whole.count());
    result.tv_nsec = static_cast<long>((sinceOrigin - whole).count());
    return result;
}

}  // namespace

Clock::TimePoint MonotonicClock::now() const {
    return std::chrono::steady_clock::now();
}

void MonotonicClock::waitUntil(TimePoint deadline) {
    const timespec absolute = toTimespec(deadline);
    // Sleeps only while `woken_` is 0. The result is ignored, because the caller checks the time
    // and its queue after every return.
    syscall(SYS_futex, &woken_, FUTEX_WAIT_BITSET_PRIVATE, 0,
            deadline == TimePoint::max() ? nullptr : &absolute, nullptr, FUTEX_BITSET_MATCH_ANY);
    woken_.exchange(0);
}

void MonotonicClock::wake() {
    if (woken_.exchange(1) == 0) {
        syscall(SYS_futex, &woken_, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
    }
}

}  // namespace osal
