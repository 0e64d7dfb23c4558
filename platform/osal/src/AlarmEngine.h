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

/// What is behind an `AlarmTimer` and its alarms: the queue, the thread that works it off, and the
/// lock that guards both. The operations are those of `Alarm`, where they are described.
class AlarmEngine {
public:
    /// On `clock`, or on the system's clock when it is null.
    explicit AlarmEngine(Clock* clock);
    ~AlarmEngine();
    AlarmEngine(const AlarmEngine&) = delete;
    AlarmEngine& operator=(const AlarmEngine&) = delete;

    /// Counts one alarm more and sees to it that the thread runs.
    void attach();
    /// Counts the alarm, which is disarmed, off; the last one ends the thread.
    void detach(Alarm& alarm) noexcept;

    bool arm(Alarm& alarm, Alarm::Duration delay);
    bool rearm(Alarm& alarm, Alarm::Duration period);
    void disarm(Alarm& alarm) noexcept;

    /// Keeps the engine usable in children of fork(2). For one engine of the process, which is
    /// never destroyed.
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

    // Guards all below, and the alarms' positions in the queue. It is held over no callback.
    std::mutex mutex_;
    // A call has ended, or the thread has left.
    std::condition_variable changed_;
    AlarmQueue queue_;
    std::size_t references_ = 0;

    // The alarm whose callback is running, unless it was destroyed meanwhile, and when it was due.
    Alarm* running_ = nullptr;
    Clock::TimePoint runningDue_;
    // Another thread waits in order to disarm the running alarm, which therefore stays disarmed.
    bool revoked_ = false;
    /// Counts the calls, to tell one of an alarm from the next.
    std::uint64_t call_ = 0;

    // There is a thread that was not joined; it is `thread_`.
    bool hasThread_ = false;
    // The latest thread has done its last work; joining it takes no time.
    bool left_ = false;
    pthread_t thread_{};
};

}  // namespace osal
