#include "calls/PendingCall.h"

#include <utility>

#include "calls/CallTable.h"
#include "calls/CallsChannel.h"
#include "calls/KitThread.h"
#include "calls/Threads.h"
#include "kova/kit/resources/BlockPool.h"

// This file has the steps of a call that decide its end, cancel its request and free its memory.
// CallDelivery.cpp has the steps that call the receiver.

namespace kova::kit::detail {

using namespace state;  // NOLINT(google-build-using-namespace): the names of one word's bits

void PendingCall::release() noexcept {
    const Word before = state_.fetch_sub(REFERENCE, std::memory_order_acq_rel);
    if ((before & REFERENCES) == REFERENCE) {
        destroy();
    }
}

void PendingCall::releaseByService() noexcept {
    if (isStartedBy(thisThread())) {
        goneInStart_ = true;
    } else {
        releaseAwaited();
    }
}

// Releases the service's reference to the call. The calling thread does not use the call
// afterwards.
void PendingCall::releaseAwaited() noexcept {
    Word seen = state_.load(std::memory_order_acquire);
    Word next = 0;
    do {
        next = unlinkIfSettled(seen | RELEASED) - REFERENCE;
    } while (!state_.compare_exchange_weak(seen, next, std::memory_order_acq_rel,
                                           std::memory_order_acquire));
    if ((next & REFERENCES) == 0) {
        destroy();
    }
}

void PendingCall::destroy() noexcept {
    this->~PendingCall();
    releaseBlock(this);
}

void PendingCall::traceLate(char const* event) const noexcept {
    if (callsChannel().isEnabled(3)) {
        callsChannel().trace(3, "late %s of %s ignored", event, describe().c_str());
    }
}

std::string PendingCall::describe() const {
    return std::string(command()) + " '" + std::string(path()) + '\'';
}

// --- Ends ----------------------------------------------------------------------------------------

bool PendingCall::claim() noexcept {
    return (state_.fetch_or(ENDED, std::memory_order_acq_rel) & ENDED) == 0;
}

void PendingCall::storeEnd(End&& end) noexcept {
    end_ = std::move(end);
    state_.fetch_or(END_STORED | WORK, std::memory_order_acq_rel);
}

bool PendingCall::needsCancellation(Word seen) const noexcept {
    return (seen & RETURNED) != 0 && serviceHandle_ != nullptr;
}

// Marks the call as ended, and returns the new state. Returns `std::nullopt` if the call has
// already ended. If the new state requires a cancellation, the caller must cancel the request. With
// `byKit`, the kit's thread will do this, and the state includes a reference for it.
std::optional<Word> PendingCall::decideEnd(bool byKit) noexcept {
    Word seen = state_.load(std::memory_order_acquire);
    Word next = 0;
    do {
        if ((seen & ENDED) != 0) {
            return std::nullopt;
        }
        next = seen | ENDED;
        if (needsCancellation(seen)) {
            next = (next | CANCELLING) + (byKit ? REFERENCE : 0);
        }
    } while (!state_.compare_exchange_weak(seen, next, std::memory_order_acq_rel,
                                           std::memory_order_acquire));
    return next;
}

bool PendingCall::end(End::Kind kind, const Error& error) noexcept {
    const bool byKit = kind != End::Kind::cancelled;
    const std::optional<Word> decided = decideEnd(byKit);
    if (!decided) {
        return false;
    }
    storeEnd(End(kind, error));
    schedule();
    if ((*decided & CANCELLING) != 0) {
        if (byKit) {
            kitThread().post(static_cast<CancellationTask&>(*this));
        } else {
            cancelAtService();
        }
    }
    return true;
}

void PendingCall::lose(const std::shared_ptr<const Error>& reason, KitBatch& batch) noexcept {
    const std::optional<Word> decided = decideEnd(true);
    if (!decided) {
        return;
    }
    const bool cancels = (*decided & CANCELLING) != 0;
    lossReason_ = reason;
    deliversLoss_ = cancels && isInline();
    state_.fetch_or(END_STORED | WORK, std::memory_order_acq_rel);
    if (!cancels || !isInline()) {
        schedule();
    }
    if (cancels) {
        batch.add(static_cast<CancellationTask&>(*this));
    }
}

void PendingCall::dropped() noexcept {
    if ((peek() & ENDED) == 0) {
        end(End::Kind::dropped,
            {statuscodes::INTERNAL_SERVER_ERROR, "the service dropped " + describe()});
    }
}

void PendingCall::endForStop() noexcept {
    end(End::Kind::cancelled, {statuscodes::SERVICE_UNAVAILABLE, "the executor was stopped"});
    release();
}

// A composed service removes its table entry for a request before it forwards the end. If it stores
// the entry only afterwards, the entry becomes stale. The entry cannot become stale if a value has
// arrived after `actionRequest` had returned. In all other cases the request is cancelled, which
// removes a stale entry. If there is no stale entry, the service ignores the cancellation.
void PendingCall::serviceEnd(Response const* error) noexcept {
    const Word running = RUNNING | Word{thisThread().id} << THREAD_SHIFT;
    Word seen = state_.load(std::memory_order_acquire);
    Word next = 0;
    bool direct = false;
    bool cancels = false;
    do {
        if ((seen & ENDED) != 0) {
            traceLate("end");
            return;
        }
        direct = isInline() && (seen & (RUNNING | WORK)) == 0;
        cancels = needsCancellation(seen) && (seen & LATER_VALUE) == 0;
        next = (seen | ENDED | (cancels ? CANCELLING : 0) | (direct ? running : 0)) + REFERENCE;
    } while (!state_.compare_exchange_weak(seen, next, std::memory_order_acq_rel,
                                           std::memory_order_acquire));
    if (cancels) {
        cancelAtService();
    }
    if (direct) {
        finishDirectly(error);
        if (isStartedBy(thisThread())) {
            endedInStart_ = true;
        } else {
            leave();
        }
        return;
    }
    storeEnd(error != nullptr ? End(*error) : End());
    deliverStoredWork();
    release();
}

void PendingCall::silence() noexcept {
    Word seen = state_.load(std::memory_order_acquire);
    Word next = 0;
    do {
        if ((seen & (FINISHED | SILENT)) != 0) {
            return;
        }
        next = seen | SILENT | ENDED | WORK;
        if ((seen & ENDED) == 0 && needsCancellation(seen)) {
            next |= CANCELLING;
        }
    } while (!state_.compare_exchange_weak(seen, next, std::memory_order_acq_rel,
                                           std::memory_order_acquire));
    if (enter()) {
        leave();
    }
    if ((seen & CANCELLING) == 0 && (next & CANCELLING) != 0) {
        cancelAtService();
    }
}

// --- The cancellation at the service, and the table ----------------------------------------------

void PendingCall::cancelAtService() noexcept {
    {
        const FrameGuard frame(thisThread(), *this);
        service_.cancelRequest(serviceHandle_);
    }
    advance(CANCELLING);
}

void CancellationTask::run() noexcept {
    auto& call = static_cast<PendingCall&>(*this);
    if (call.deliversLoss_ && call.enter()) {
        call.leave();
    }
    call.cancelAtService();
}

void CancellationTask::done() noexcept {
    static_cast<PendingCall&>(*this).release();
}

std::string CancellationTask::label() const {
    const auto& call = static_cast<const PendingCall&>(*this);
    const bool delivers = call.deliversLoss_ && (call.peek() & FINISHED) == 0;
    return (delivers ? "callback of " : "cancellation of ") + call.describe();
}

void PendingCall::advance(Word clear) noexcept {
    Word seen = state_.load(std::memory_order_acquire);
    Word next = 0;
    do {
        next = unlinkIfSettled(seen & ~clear);
    } while (!state_.compare_exchange_weak(seen, next, std::memory_order_acq_rel,
                                           std::memory_order_acquire));
}

// Removes the call from the table if it is settled in the next state. Until the caller stores that
// state, other threads see the former state, which is not settled.
Word PendingCall::unlinkIfSettled(Word next) noexcept {
    if (!isSettled(next) || (next & UNLINKED) != 0) {
        return next;
    }
    if (!removed_) {
        removed_ = true;
        table_.remove(*this);
    }
    return next | UNLINKED;
}

void PendingCall::unlink() noexcept {
    if ((state_.fetch_or(UNLINKED, std::memory_order_acq_rel) & UNLINKED) == 0) {
        table_.remove(*this);
    }
}

}  // namespace kova::kit::detail
