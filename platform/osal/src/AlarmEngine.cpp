#include "AlarmEngine.h"

#include <sys/prctl.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <system_error>

// The thread runs as long as there are references. Who drops the last one wakes it and waits until
// it has left; when a new reference comes before it saw that, it simply goes on. It is joined by
// whoever first finds that it has left: who waited, the next first reference, or the destructor.

namespace osal {

namespace {

// The first time after `now` that is a whole number of periods after `due`.
Clock::TimePoint nextDue(Clock::TimePoint due, Alarm::Duration period, Clock::TimePoint now) {
    const auto missed = (now - due) / period;
    return due + (missed + 1) * period;
}

}  // namespace

AlarmEngine::AlarmEngine(Clock* clock) : clock_(clock != nullptr ? *clock : systemClock_) {}

AlarmEngine::~AlarmEngine() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (references_ > 0) {
        std::abort();  // the thread would go on with alarms that refer to what is gone
    }
    if (hasThread_) {
        changed_.wait(lock, [this] { return left_; });
        joinThread();
    }
}

void AlarmEngine::attach() {
    const std::lock_guard<std::mutex> guard(mutex_);
    queue_.reserve(references_ + 1);
    if (hasThread_ && left_) {
        joinThread();
    }
    if (!hasThread_) {
        if (const int error = startThread(); error != 0) {
            throw std::system_error(error, std::generic_category(), "alarm thread");
        }
    }
    ++references_;
}

void AlarmEngine::detach(Alarm& alarm) noexcept {
    std::unique_lock<std::mutex> lock(mutex_);
    if (running_ == &alarm) {
        running_ = nullptr;
    }
    if (--references_ > 0 || !hasThread_ || onThread()) {
        return;
    }
    clock_.wake();
    changed_.wait(lock, [this] { return left_ || references_ > 0; });
    if (hasThread_ && left_) {
        joinThread();
    }
}

// The delay begins with the call, not when the lock is had: another thread may hold it for the time
// of a switch between threads.
bool AlarmEngine::arm(Alarm& alarm, Alarm::Duration delay) {
    const auto bounded = std::clamp(delay, Alarm::Duration::zero(), Alarm::LONGEST);
    const Clock::TimePoint due = clock_.now() + bounded;
    const std::lock_guard<std::mutex> guard(mutex_);
    return schedule(alarm, due);
}

bool AlarmEngine::rearm(Alarm& alarm, Alarm::Duration period) {
    if (period <= Alarm::Duration::zero()) {
        return true;
    }
    const auto bounded = std::min(period, Alarm::LONGEST);
    const Clock::TimePoint now = clock_.now();
    const std::lock_guard<std::mutex> guard(mutex_);
    const bool byItsCallback = running_ == &alarm && onThread();
    return schedule(alarm, byItsCallback ? nextDue(runningDue_, bounded, now) : now + bounded);
}

void AlarmEngine::disarm(Alarm& alarm) noexcept {
    std::unique_lock<std::mutex> lock(mutex_);
    queue_.remove(alarm);
    if (running_ == &alarm && !onThread()) {
        revoked_ = true;
        // For this call alone: when other threads arm the alarm again, it may be called again
        // before this thread has had its turn.
        changed_.wait(lock,
                      [this, &alarm, call = call_] { return running_ != &alarm || call_ != call; });
    }
}

// True on failure.
bool AlarmEngine::schedule(Alarm& alarm, Clock::TimePoint due) {
    if (running_ == &alarm && revoked_) {
        return false;
    }
    if (!hasThread_ && startThread() != 0) {
        return true;
    }
    queue_.remove(alarm);
    queue_.insert(alarm, due);
    if (&queue_.first() == &alarm && !onThread()) {
        clock_.wake();
    }
    return false;
}

// An errno, or 0.
int AlarmEngine::startThread() {
    const int error = pthread_create(&thread_, nullptr, threadMain, this);
    hasThread_ = error == 0;
    left_ = false;
    return error;
}

void AlarmEngine::joinThread() noexcept {
    pthread_join(thread_, nullptr);
    hasThread_ = false;
}

bool AlarmEngine::onThread() const noexcept {
    return hasThread_ && pthread_equal(thread_, pthread_self()) != 0;
}

void* AlarmEngine::threadMain(void* engine) {
    prctl(PR_SET_NAME, "alarms");
    // By default the kernel may let a thread sleep 50 microseconds longer than asked for.
    prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
    static_cast<AlarmEngine*>(engine)->run();
    return nullptr;
}

// Does not throw: an exception of a callback ends the process here, where it can be seen.
void AlarmEngine::run() noexcept {
    std::unique_lock<std::mutex> lock(mutex_);
    while (references_ > 0) {
        const Clock::TimePoint due = queue_.empty() ? Clock::TimePoint::max() : queue_.firstDue();
        if (due <= clock_.now()) {
            callFirst(lock);
        } else {
            lock.unlock();
            clock_.waitUntil(due);
            lock.lock();
        }
    }
    left_ = true;
    changed_.notify_all();
}

void AlarmEngine::callFirst(std::unique_lock<std::mutex>& lock) {
    Alarm& alarm = queue_.first();
    running_ = &alarm;
    ++call_;
    runningDue_ = queue_.firstDue();
    queue_.remove(alarm);
    lock.unlock();
    alarm.callback_(alarm.user_);  // from here on the alarm may be gone
    lock.lock();
    running_ = nullptr;
    revoked_ = false;
    changed_.notify_all();
}

void AlarmEngine::surviveForks() {
    static AlarmEngine* survivor = nullptr;
    survivor = this;
    const int error =
        pthread_atfork([] { survivor->mutex_.lock(); }, [] { survivor->mutex_.unlock(); },
                       [] { survivor->goOnInChild(); });
    if (error != 0) {
        throw std::bad_alloc();
    }
}

// The child has the thread that called fork, and with it the lock, and no other.
void AlarmEngine::goOnInChild() {
    queue_.clear();
    if (!onThread()) {
        hasThread_ = false;
        running_ = nullptr;
        revoked_ = false;
    }
    // It may count threads of the parent as waiting; the new one takes its place undestroyed,
    // because destroying would wait for them.
    new (&changed_) std::condition_variable();
    mutex_.unlock();
}

}  // namespace osal
