#include <utility>

#include "calls/CallTable.h"
#include "calls/KitThread.h"
#include "calls/PendingCall.h"
#include "calls/Threads.h"

// The steps of a call that call the receiver. Only the thread that has set RUNNING may call the
// receiver. Another thread that has a value or an end stores it in the call and sets WORK. The
// thread that has set RUNNING delivers it before it clears RUNNING. Therefore no thread waits, and
// nothing is delivered recursively.

namespace kova::kit::detail {

using namespace state;  // NOLINT(google-build-using-namespace): the names of one word's bits

// --- The right to use the receiver ---------------------------------------------------------------

bool PendingCall::enter() noexcept {
    const Word thread = Word{thisThread().id} << THREAD_SHIFT;
    Word seen = state_.load(std::memory_order_acquire);
    do {
        if ((seen & RUNNING) != 0) {
            return false;
        }
    } while (!state_.compare_exchange_weak(seen, (seen | RUNNING | thread) + REFERENCE,
                                           std::memory_order_acq_rel, std::memory_order_acquire));
    return true;
}

// Acquires the right to use the receiver for one value. Fast path of an inline call: the value is
// delivered without being queued.
bool PendingCall::enterForValue() noexcept {
    const Word thread = Word{thisThread().id} << THREAD_SHIFT;
    Word seen = state_.load(std::memory_order_acquire);
    do {
        if ((seen & (RUNNING | WORK | ENDED)) != 0) {
            return false;
        }
    } while (!state_.compare_exchange_weak(
        seen, (seen | RUNNING | thread | flagsOfValue(seen)) + REFERENCE, std::memory_order_acq_rel,
        std::memory_order_acquire));
    return true;
}

void PendingCall::leave(Leave how) noexcept {
    Word seen = state_.load(std::memory_order_acquire);
    Word next = 0;
    do {
        while ((seen & WORK) != 0 && (how == Leave::afterAllWork || finished_)) {
            drain();
            seen = state_.load(std::memory_order_acquire);
        }
        next = seen & ~(RUNNING | WAITED | THREAD);
        if (finished_) {
            next = unlinkIfSettled(next | FINISHED);
        }
        // Releases a reference in the same atomic operation, unless it is the last one. `release`
        // below releases the last one, because it also destroys the call.
        next -= (next & REFERENCES) == REFERENCE ? 0 : REFERENCE;
    } while (!state_.compare_exchange_weak(seen, next, std::memory_order_acq_rel,
                                           std::memory_order_acquire));
    if ((seen & WAITED) != 0) {
        wakeWaiting();
    }
    if ((seen & REFERENCES) == REFERENCE) {
        release();
    }
}

// --- Delivery ------------------------------------------------------------------------------------

void PendingCall::drain() noexcept {
    const Word seen = state_.fetch_and(~WORK, std::memory_order_acq_rel);
    if (finished_) {
        const std::lock_guard<std::mutex> guard(valuesMutex_);
        values_.clear();
        return;
    }
    // If the end was stored before this thread took the queued values, all values that precede the
    // end are among them, and the end is delivered next. If the end was stored later, a value that
    // precedes it may have been queued meanwhile, so the queue is read again first.
    const bool ended = (seen & END_STORED) != 0;
    if (ended && !end_) {
        end_.emplace(End::Kind::lost, *lossReason_);
    }
    if (!ended || end_->kind() != End::Kind::cancelled) {
        deliverQueued();
    }
    if ((peek() & SILENT) != 0) {
        finish(nullptr);
    } else if (ended) {
        finish(failure_ ? &*failure_ : &*end_);
    }
}

void PendingCall::deliverQueued() {
    std::vector<Response> values;
    {
        const std::lock_guard<std::mutex> guard(valuesMutex_);
        values.swap(values_);
    }
    for (const Response& value : values) {
        if ((peek() & SILENT) != 0 || deliver(value)) {
            return;
        }
    }
}

bool PendingCall::deliver(const Response& response) {
    const FrameGuard frame(thisThread(), *this);
    if (target_.handler) {
        return target_.handler->onNext(response);
    }
    if (Result<void> used = target_.receiver->onValue(response); !used) {
        failure_.emplace(End::Kind::failed, used.error());
        end(End::Kind::failed, used.error());
        return true;
    }
    return false;
}

void PendingCall::finish(End const* end) noexcept {
    const FrameGuard frame(thisThread(), *this);
    Target target = std::move(target_);
    if (end == nullptr) {
        // The owner has ended the call silently: nothing is delivered.
    } else if (target.receiver) {
        target.receiver->onEnd(*end);
    } else if (end->ok()) {
        target.handler->onCompleted();
    } else {
        target.handler->onError(end->response());
    }
    target = {};
    finished_ = true;
    if (executor_) {
        executor_->release(*this);
    }
}

// Fast path of an inline call with a response handler: the end is not copied.
void PendingCall::finishDirectly(Response const* error) noexcept {
    const bool silent = (peek() & SILENT) != 0;
    if (silent || target_.receiver) {
        end_ = error != nullptr ? End(*error) : End();
        finish(silent ? nullptr : &*end_);
        return;
    }
    const FrameGuard frame(thisThread(), *this);
    const ResponseHandler handler = std::move(target_.handler);
    if (error != nullptr) {
        handler->onError(*error);
    } else {
        handler->onCompleted();
    }
    finished_ = true;
}

// --- Values --------------------------------------------------------------------------------------

bool PendingCall::value(const Response& response) {
    if (isInline() && enterForValue()) {
        const bool enough = deliver(response);
        leave();
        return enough;
    }
    if ((peek() & ENDED) != 0) {
        traceLate("value");
        return true;
    }
    return queue(response);
}

bool PendingCall::queue(const Response& response) {
    bool full = false;
    {
        const std::lock_guard<std::mutex> guard(valuesMutex_);
        full = values_.size() >= queueLimit_;
        if (!full) {
            values_.push_back(response);
        }
    }
    if (full) {
        end(End::Kind::lost,
            {statuscodes::SERVICE_UNAVAILABLE,
             std::to_string(queueLimit_) + " values wait for the receiver of " + describe()});
        return true;
    }
    state_.fetch_or(WORK | flagsOfValue(peek()), std::memory_order_acq_rel);
    deliverStoredWork();
    return false;
}

void PendingCall::deliverStoredWork() noexcept {
    if (executor_) {
        schedule();
    } else if (enter()) {
        leave();
    }
}

// --- The task ------------------------------------------------------------------------------------

void PendingCall::schedule() noexcept {
    Word seen = state_.load(std::memory_order_acquire);
    do {
        if ((seen & SCHEDULED) != 0) {
            return;
        }
    } while (!state_.compare_exchange_weak(seen, (seen | SCHEDULED) + REFERENCE,
                                           std::memory_order_acq_rel, std::memory_order_acquire));
    ExecutorState& executor = executor_ ? *executor_ : kitThread();
    executor.post(static_cast<DeliveryTask&>(*this));
}

void DeliveryTask::run() noexcept {
    auto& call = static_cast<PendingCall&>(*this);
    call.state_.fetch_and(~SCHEDULED, std::memory_order_acq_rel);
    if (!call.enter()) {
        return;
    }
    call.drain();
    call.leave(PendingCall::Leave::forExecutor);
    // Values that arrived meanwhile are delivered by a new task at the end of the executor's queue,
    // because other calls may be waiting there.
    if ((call.peek() & WORK) != 0) {
        call.schedule();
    }
}

void DeliveryTask::done() noexcept {
    static_cast<PendingCall&>(*this).release();
}

std::string DeliveryTask::label() const {
    return "callback of " + static_cast<const PendingCall&>(*this).describe();
}

}  // namespace kova::kit::detail
