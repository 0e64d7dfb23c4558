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
/// callbacks, and the lock that protects both. `arm`, `rearm` and `disarm` are documented in
/// `Alarm`.
class AlarmEngine {
public:
    /// Constructs an engine on `clock`, or on the system's clock if it is null.
    explicit AlarmEngine(Clock* clock);
    ~AlarmEngine();
    AlarmEngine(const AlarmEngine&) = delete;
    AlarmEngine& operator=(const AlarmEngine&) = delete;

    /// Adds the reference of a new alarm, and starts the thread if it does not run. Throws
    /// `std::system_error` if the thread cannot be started.
    void attach();
    /// Releases the reference of `alarm`, which must be disarmed. The last one ends the thread.
    void detach(Alarm& alarm) noexcept;

    bool arm(Alarm& alarm, Alarm::Duration delay);
    bool rearm(Alarm& alarm, Alarm::Duration period);
    void disarm(Alarm& alarm) noexcept;

    /// Keeps the engine usable in children of fork(2). May be called for one engine of the process,
    /// which is never destroyed. Throws `std::bad_alloc` if the handlers cannot be registered.
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
    // Another thread is waiting to disarm the running alarm, so attempts to arm it are ignored.
    bool revoked_ = false;
    // Number of callback calls so far. It distinguishes the current call of an alarm from a later
    // one.
    std::uint64_t call_ = 0;

    // `thread_` was started and has not been joined.
    bool hasThread_ = false;
    // The thread no longer uses the engine; joining it takes no time.
    bool left_ = false;
    pthread_t thread_{};
};

}  // namespace osal
