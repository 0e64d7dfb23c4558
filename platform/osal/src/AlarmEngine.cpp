#include "AlarmEngine.h"

#include <sys/prctl.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <system_error>

// Each alarm holds a reference to its engine, and the thread runs as long as there are references.
// detach() of the last alarm wakes the thread and waits until it exits. If attach() runs meanwhile,
// the thread keeps running. A thread that has exited must be joined. The first of these functions
// that runs afterwards joins it: the waiting detach(), the next attach(), or the destructor.

namespace osal {

namespace {

// Returns the first time after `now` that is a whole number of periods after `due`.
Clock::TimePoint nextDue(Clock::TimePoint due, Alarm::Duration period, Clock::TimePoint now) {
    const auto missed = (now - due) / period;
    return due + (missed + 1) * period;
}

}  // namespace

AlarmEngine::AlarmEngine(Clock* clock) : clock_(clock != nullptr ? *clock : systemClock_) {}

AlarmEngine::~AlarmEngine() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (references_ > 0) {
        std::abort();  // otherwise the alarms would refer to a destroyed engine
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

// The time is read before locking, because the delay begins with the call, and another thread may
// hold the lock for the duration of a thread switch.
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
        // Wait only for this call of the callback. If another thread arms the alarm again, the next
        // call may start before this thread runs.
        changed_.wait(lock,
                      [this, &alarm, call = call_] { return running_ != &alarm || call_ != call; });
    }
}

// Returns true if the thread cannot be started.
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

// Returns 0 on success, or an error number.
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
    // By default the kernel may let a thread sleep 50 microseconds longer than requested.
    prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
    static_cast<AlarmEngine*>(engine)->run();
    return nullptr;
}

// The function is noexcept, so that an exception of a callback ends the process here and the stack
// trace shows the callback.
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
    alarm.callback_(alarm.user_);  // the callback may have destroyed the alarm
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

// The child has only the thread that called fork(2). That thread holds the lock.
void AlarmEngine::goOnInChild() {
    queue_.clear();
    if (!onThread()) {
        hasThread_ = false;
        running_ = nullptr;
        revoked_ = false;
    }
    // The condition variable may still count waiting threads of the parent. Its destructor would
    // wait for them, so it is overwritten without being destroyed.
    new (&changed_) std::condition_variable();
    mutex_.unlock();
}

}  // namespace osal
