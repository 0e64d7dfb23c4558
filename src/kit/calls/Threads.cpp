#include "calls/Threads.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <vector>

#include "calls/CallsChannel.h"
#include "calls/PendingCall.h"
#include "kova/core/Errors.h"
#include "zel/ErrorOutput.h"

namespace kova::kit::detail {

namespace {

// The data that all threads share to wait for each other. One lock is enough, because threads
// rarely wait.
struct Waits {
    std::mutex mutex;
    std::condition_variable changed;
    /// The records of the living threads by id; null for a free id. Id 0 is not used.
    std::vector<ThreadRecord*> threads{nullptr};
};

// Never destroyed, because threads may end after static objects are destroyed.
Waits& waits() {
    static Waits& instance = *new Waits;
    return instance;
}

// The record of a thread. The constructor registers the thread, the destructor unregisters it.
class Registration {
public:
    Registration() {
        record_.number = ::syscall(SYS_gettid);
        Waits& all = waits();
        const std::lock_guard<std::mutex> guard(all.mutex);
        record_.id = 1;
        while (record_.id < all.threads.size() && all.threads[record_.id] != nullptr) {
            ++record_.id;
        }
        if (record_.id == all.threads.size()) {
            all.threads.push_back(nullptr);
        }
        all.threads[record_.id] = &record_;
    }
    ~Registration();
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

    ThreadRecord& record() noexcept { return record_; }

private:
    ThreadRecord record_;
};

Registration::~Registration() {
    currentThread = nullptr;
    Waits& all = waits();
    const std::lock_guard<std::mutex> guard(all.mutex);
    all.threads[record_.id] = nullptr;
}

// Returns whether the thread that calls the receiver of `call` waits for `self`, directly or
// through other threads. The mutex of `waits()` must be held.
bool closesCircle(const PendingCall& call, const ThreadRecord& self) {
    const auto& threads = waits().threads;
    PendingCall const* at = &call;
    for (std::size_t step = 0; at != nullptr && step <= threads.size(); ++step) {
        const state::Word word = at->peek();
        if ((word & state::RUNNING) == 0) {
            return false;
        }
        ThreadRecord const* const runner = threads[state::threadOf(word)];
        if (runner == &self) {
            return true;
        }
        at = runner != nullptr ? runner->waitsFor : nullptr;
    }
    return false;
}

void reportCircle(const PendingCall& call, long other) {
    const std::string text = "wait for the callback of " + call.describe() + " on thread " +
                             std::to_string(other) + " abandoned: that thread waits for thread " +
                             std::to_string(thisThread().number);
    callsChannel().traceText(6, text);
    zel::ErrorOutput("src/kit/calls/Threads", __LINE__, true)(errors::Error, errors::RequestFailed,
                                                              text.c_str());
}

void traceLongWait(const PendingCall& call, long other) {
    callsChannel().traceText(5, "thread " + std::to_string(thisThread().number) +
                                    " has waited 1 s for the callback of " + call.describe() +
                                    " on thread " + std::to_string(other));
}

// Sleeps until another thread calls `wakeWaiting`, for at most a second and at most until `limit`.
// Returns whether a second has passed.
bool sleep(std::unique_lock<std::mutex>& lock, const WaitLimit& limit) {
    const auto next = std::chrono::steady_clock::now() + LONG_WAIT;
    const bool limited = limit && *limit < next;
    return waits().changed.wait_until(lock, limited ? *limit : next) == std::cv_status::timeout &&
           !limited;
}

bool hasPassed(const WaitLimit& limit) {
    return limit && std::chrono::steady_clock::now() >= *limit;
}

long numberOf(std::uint32_t id) {
    const auto& threads = waits().threads;
    return id < threads.size() && threads[id] != nullptr ? threads[id]->number : 0;
}

}  // namespace

thread_local ThreadRecord* currentThread = nullptr;

ThreadRecord& registerThread() {
    thread_local Registration registration;
    currentThread = &registration.record();
    return *currentThread;
}

long threadNumber(std::uint32_t id) {
    const std::lock_guard<std::mutex> guard(waits().mutex);
    return numberOf(id);
}

void traceLongStop(char const* executor) {
    callsChannel().traceText(5, "thread " + std::to_string(thisThread().number) +
                                    " has waited 1 s for the end of a " + executor);
}

void wakeWaiting() {
    // A waiting thread reads the state and falls asleep under this lock. Locking it here ensures
    // that a thread that has read the former state is already asleep and receives the notification.
    const std::lock_guard<std::mutex> guard(waits().mutex);
    waits().changed.notify_all();
}

Waited waitForCallback(PendingCall& call, const WaitLimit& limit) {
    if ((call.peek() & state::RUNNING) == 0) {
        return Waited::left;  // no callback runs, and none can begin
    }
    ThreadRecord& self = thisThread();
    std::unique_lock<std::mutex> lock(waits().mutex);
    state::Word word = call.askToBeWoken();
    if ((word & state::RUNNING) == 0) {
        return Waited::left;
    }
    if (state::threadOf(word) == self.id) {
        return Waited::inside;
    }
    const long runner = numberOf(state::threadOf(word));
    if (closesCircle(call, self)) {
        lock.unlock();
        reportCircle(call, runner);
        return Waited::circle;
    }
    self.waitsFor = &call;
    for (bool traced = false; (word & state::RUNNING) != 0 && !hasPassed(limit);
         word = call.askToBeWoken()) {
        if (sleep(lock, limit) && !traced) {
            traced = true;
            lock.unlock();
            traceLongWait(call, runner);
            lock.lock();
        }
    }
    self.waitsFor = nullptr;
    return (word & state::RUNNING) == 0 ? Waited::left : Waited::expired;
}

bool waitUntilOver(bool (*isOver)(void*), std::string (*describe)(void*), void* user,
                   const WaitLimit& limit) {
    std::unique_lock<std::mutex> lock(waits().mutex);
    for (bool traced = false; !isOver(user);) {
        if (hasPassed(limit)) {
            return false;
        }
        if (sleep(lock, limit) && !traced) {
            traced = true;
            lock.unlock();
            callsChannel().traceText(5, describe(user));
            lock.lock();
        }
    }
    return true;
}

}  // namespace kova::kit::detail
