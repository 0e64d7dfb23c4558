#pragma once

#include <pthread.h>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "AlarmQueue.h"
#include "MonotonicClock.h"
#include "osal/Alarm.h"
#include "osal/Clock.h"

namespace osal {

/// The implementation of an `AlarmTimer` and its alarms: the queue, the thread that calls the
/// callbacks, and the lock that protects both. `Alarm` documents `arm`, `rearm` and `disarm`.
class AlarmEngine {
public:
    /// Constructs an engine on `clock`, or on the system's clock if it is null.
    explicit AlarmEngine(Clock* clock);
    ~AlarmEngine();
    AlarmEngine(const AlarmEngine&) = delete;
    AlarmEngine& operator=(const AlarmEngine&) = delete;

    /// Adds the reference of a new alarm, and starts the thread if it is not running. Throws
    /// `std::system_error` if the thread cannot be started.
    void attach();
    /// Releases the reference of `alarm`, which must be disarmed. Releasing the last reference ends
    /// the thread.
    void detach(Alarm& alarm) noexcept;

    bool arm(Alarm& alarm, Alarm::Duration delay);
    bool rearm(Alarm& alarm, Alarm::Duration period);
    void disarm(Alarm& alarm) noexcept;

    /// Keeps the engine usable in children of fork(2). Call it for at most one engine of the
    /// process, which must never be destroyed. Throws `std::bad_alloc` if the handlers cannot be
    /// registered.
    void surviveForks();

private:
    static void* threadMain(void* engine);
    void run() noexcept;
    void callFirst(std::unique_lock<std::mutex>& lock);
    bool schedule(Alarm& alarm, Clock::TimePoint due);
    int startThread();
    void joinThread() noexcept;
    bool onThread() const noexcept;
    void goOnInChild();

    MonotonicClock systemClock_;
    Clock& clock_;

    // Protects all members below, and the alarms' positions in the queue. It is not held during a
    // callback.
    std::mutex mutex_;
    // Signalled when a callback has returned and when the thread exits.
    std::condition_variable changed_;
    AlarmQueue queue_;
    std::size_t references_ = 0;

    // The alarm whose callback is running, and the time at which it was due. Null if the callback
    // destroyed its alarm.
    Alarm* running_ = nullptr;
    Clock::TimePoint runningDue_;
    // Set while another thread waits to disarm the running alarm. Attempts to arm the alarm are
    // then ignored.
    bool revoked_ = false;
    // The number of calls of callbacks so far. It distinguishes the current call of an alarm's
    // callback from a later call.
    std::uint64_t call_ = 0;

    // Whether `thread_` was started and has not been joined.
    bool hasThread_ = false;
    // Whether the thread no longer uses the engine. Joining it then takes no time.
    bool left_ = false;
    pthread_t thread_{};
};

}  // namespace osal
