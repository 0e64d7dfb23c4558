#include "calls/BlockingCall.h"

#include <string>
#include <utility>

#include "calls/KitThread.h"
#include "calls/Threads.h"

namespace kova::kit::detail {

namespace {

// Returns whether the thread is inside a callback of one of the calls in the table.
bool isDelivering(const ThreadRecord& thread, const CallTable& table) {
    for (Frame const* frame = thread.frames; frame != nullptr; frame = frame->previous) {
        const state::Word word = frame->call->peek();
        if (&frame->call->table() == &table && (word & state::RUNNING) != 0 &&
            state::threadOf(word) == thread.id) {
            return true;
        }
    }
    return false;
}

// A guard whose destructor tells an executor that its thread no longer waits.
struct EndWait {
    ExecutorState* executor = nullptr;
    ~EndWait() {
        if (executor != nullptr) {
            executor->endWait();
        }
    }
};

}  // namespace

/// Passes the events to the waiting thread. `BlockingCall` outlives it.
class BlockingCall::Listener final : public Receiver {
public:
    explicit Listener(BlockingCall& call) : call_(call) {}

    Result<void> onValue(const Response& value) override {
        std::unique_lock<std::mutex> lock(call_.mutex_);
        if (value.getStatusCode() != statuscodes::MULTI_RESPONSE) {
            call_.value_ = value;
        } else if (call_.options_.onProgress != nullptr) {
            call_.progress_.push_back(value);
            wake(lock);
        }
        return {};
    }
    void onEnd(const End& end) override {
        std::unique_lock<std::mutex> lock(call_.mutex_);
        call_.end_ = end;
        wake(lock);
    }

private:
    // Wakes the waiting thread. Unlocks the mutex first, because the woken thread would otherwise
    // have to wait for it. The call exists until this function has returned.
    void wake(std::unique_lock<std::mutex>& lock) {
        CallerDriven* const driven =
            call_.driver_ == std::this_thread::get_id() ? nullptr : call_.driven_;
        lock.unlock();
        call_.changed_.notify_one();
        if (driven != nullptr) {
            driven->interruptDriving();
        }
    }

    BlockingCall& call_;
};

Result<Response> BlockingCall::run() {
    PendingCall::Target target;
    target.receiver = std::make_unique<Listener>(*this);
    const bool limited = options_.limit.count() > 0 && options_.limit < osal::Alarm::LONGEST;
    due_ =
        limited ? std::chrono::steady_clock::now() + options_.limit : PendingCall::TimePoint::max();
    beginDriving();
    const CallReference call = core_.send(request_, std::move(target), {});
    std::optional<Error> error = wait();
    endDriving();
    // When these two functions have returned, nothing refers to this `BlockingCall`.
    call->silence();
    waitForCallback(*call);
    const std::lock_guard<std::mutex> guard(mutex_);
    // The answer may have arrived just after the time limit had passed.
    const bool late = error && error->code == statuscodes::GATEWAY_TIMEOUT && end_;
    return error && !late ? Result<Response>(*std::move(error)) : result();
}

void BlockingCall::beginDriving() {
    if (core_.driven == nullptr || !core_.table.enter(place_)) {
        return;
    }
    if (core_.driven->beginDriving()) {
        driven_ = core_.driven;
        driver_ = std::this_thread::get_id();
    } else {
        core_.table.leave(place_);
    }
}

void BlockingCall::endDriving() noexcept {
    CallerDriven* driven = nullptr;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        driven = std::exchange(driven_, nullptr);
    }
    if (driven != nullptr) {
        driven->endDriving();
        core_.table.leave(place_);
    }
}

void BlockingCall::driveForMore(std::unique_lock<std::mutex>& lock) {
    while (driven_ != nullptr && !hasMore() && std::chrono::steady_clock::now() < due_) {
        lock.unlock();
        if (!driven_->drive(due_)) {
            endDriving();
        }
        lock.lock();
    }
}

std::optional<Error> BlockingCall::wait() {
    EndWait endWait;
    ThreadRecord& thread = thisThread();
    ExecutorState* const servedBy = thread.servedBy;
    std::unique_lock<std::mutex> lock(mutex_);
    if (!end_) {
        lock.unlock();
        if (auto obstacle = findObstacle()) {
            return obstacle;
        }
        if (thread.executor != nullptr && servedBy == thread.executor) {
            if (servedBy->wouldBlockAll()) {
                return Error{statuscodes::INTERNAL_SERVER_ERROR,
                             describe() +
                                 " would wait for the worker that all of its threads "
                                 "wait in"};
            }
            endWait.executor = servedBy;
        }
        lock.lock();
    }
    while (!end_ || !progress_.empty()) {
        if (progress_.empty() && !waitForMore(lock)) {
            return Error{statuscodes::GATEWAY_TIMEOUT, "no answer within " +
                                                           std::to_string(options_.limit.count()) +
                                                           " ms to " + describe()};
        }
        if (auto error = passProgress(lock)) {
            return error;
        }
    }
    return std::nullopt;
}

std::optional<Error> BlockingCall::findObstacle() const {
    const ThreadRecord& thread = thisThread();
    char const* where = nullptr;
    if (thread.callsAlarms) {
        where = "on the thread of the alarms";
    } else if (thread.executor != nullptr && (thread.executor == options_.executor.state().get() ||
                                              thread.executor == &kitThread())) {
        where = "inside a callback of the same executor";
    } else if (isDelivering(thread, core_.table)) {
        where = "inside a callback of the same client";
    }
    if (where == nullptr) {
        return std::nullopt;
    }
    return Error{statuscodes::INTERNAL_SERVER_ERROR, describe() + " would block " + where};
}

// Waits for the end or for progress. Returns false if the time limit has passed.
bool BlockingCall::waitForMore(std::unique_lock<std::mutex>& lock) {
    driveForMore(lock);
    const auto isReady = [this] { return hasMore(); };
    if (due_ == PendingCall::TimePoint::max()) {
        changed_.wait(lock, isReady);
        return true;
    }
    return changed_.wait_until(lock, due_, isReady);
}

std::optional<Error> BlockingCall::passProgress(std::unique_lock<std::mutex>& lock) {
    while (!progress_.empty()) {
        const Response value = std::move(progress_.front());
        progress_.pop_front();
        lock.unlock();
        endDriving();  // because the progress function may send requests and wait for them
        const Result<void> used = (*options_.onProgress)(value);
        if (!used) {
            return used.error();
        }
        lock.lock();
    }
    return std::nullopt;
}

Result<Response> BlockingCall::result() {
    if (!end_->ok()) {
        return end_->error();
    }
    if (!value_) {
        return Error{statuscodes::NO_CONTENT, describe() + " was completed without a value"};
    }
    return *std::move(value_);
}

std::string BlockingCall::describe() const {
    return request_.getCommand() + " '" + request_.getPath() + '\'';
}

}  // namespace kova::kit::detail
