#include <cstring>
#include <ctime>
#include <new>
#include <utility>

#include "calls/CallTable.h"
#include "calls/Deadlines.h"
#include "calls/PendingCall.h"
#include "calls/Threads.h"
#include "kova/kit/resources/BlockPool.h"

// This file has the first steps of a call: the allocation of its memory, the response handler that
// is passed to the service, and the steps until the service has returned from `actionRequest`.

namespace kova::kit::detail {

using namespace state;  // NOLINT(google-build-using-namespace): the names of one word's bits

namespace {

std::int64_t coarseNow() noexcept {
    // The coarse clock takes 5 ns instead of 25 ns. Its resolution suffices, because the age of a
    // call is shown in milliseconds.
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

}  // namespace

/// The response handler that is passed to the service.
class PendingCall::ServiceSide final : public IResponseHandler<Response> {
public:
    explicit ServiceSide(PendingCall& call) noexcept : call_(call) {}
    ~ServiceSide() override { call_.dropped(); }
    ServiceSide(const ServiceSide&) = delete;
    ServiceSide& operator=(const ServiceSide&) = delete;

    // The object is constructed inside the memory of the call, so nothing is allocated or freed.
    // While it exists, the service holds one of the call's references.
    static void* operator new(std::size_t, void* memory) noexcept { return memory; }
    static void operator delete(void*, void*) noexcept {}
    // NOLINTNEXTLINE(cert-dcl54-cpp,misc-new-delete-overloads): matches placement new
    static void operator delete(void* memory) noexcept {
        auto* const bytes = static_cast<std::byte*>(memory);
        reinterpret_cast<Slot*>(bytes - offsetof(Slot, memory))->call->releaseByService();
    }

    // The calls in these functions may destroy the object.
    bool onNext(const Response& value) override { return call_.value(value); }
    void onError(const Response& error) override { call_.serviceEnd(&error); }
    void onCompleted() override { call_.serviceEnd(nullptr); }

private:
    PendingCall& call_;
};

PendingCall* PendingCall::create(const Request& request, Setup&& setup, Target&& target) {
    static_assert(sizeof(ServiceSide) <= sizeof(Slot::memory));
    static_assert(alignof(ServiceSide) <= alignof(void*));
    const std::size_t texts =
        request.getCommand().size() + request.getPath().size() + setup.client.size();
    void* const memory = allocateBlock(sizeof(PendingCall) + texts);
    return ::new (memory) PendingCall(request, std::move(setup), std::move(target));
}

PendingCall::PendingCall(const Request& request, Setup&& setup, Target&& target) noexcept
    : state_(2 * REFERENCE | (setup.awaitsRelease ? 0 : RELEASED)),
      service_(setup.service),
      table_(setup.table),
      executor_(std::move(setup.executor)),
      target_(std::move(target)),
      slot_{this, {}},
      deadline_(setup.deadline),
      startedAt_(coarseNow()),
      commandSize_(static_cast<std::uint32_t>(request.getCommand().size())),
      pathSize_(static_cast<std::uint32_t>(request.getPath().size())),
      clientSize_(static_cast<std::uint32_t>(setup.client.size())),
      timeout_(setup.timeout),
      stream_(setup.stream),
      queueLimit_(setup.queue) {
    std::memcpy(text(), request.getCommand().data(), commandSize_);
    std::memcpy(text() + commandSize_, request.getPath().data(), pathSize_);
    if (clientSize_ != 0) {
        std::memcpy(text() + commandSize_ + pathSize_, setup.client.data(), clientSize_);
    }
}

std::chrono::nanoseconds PendingCall::age() const noexcept {
    return std::chrono::nanoseconds(coarseNow() - startedAt_);
}

PendingCall::Started PendingCall::start(const Request& request, Deadlines* deadlines,
                                        bool keepsOwner) {
    startedBy_ = thisThread().id;
    Started started{nullptr, false};
    if (executor_ && !executor_->reserve(*this)) {
        executor_.reset();  // without an executor, this thread delivers the end
        refuse({statuscodes::SERVICE_UNAVAILABLE, "the executor is full"});
    } else if (!table_.link(*this)) {
        refuse({statuscodes::SERVICE_UNAVAILABLE, "closed"});
    } else {
        if (deadlines != nullptr) {
            deadlines->add(deadline_);
        }
        started.handle = handle;
        started.pending = afterReturn(send(request), keepsOwner);
        return started;
    }
    if (!keepsOwner) {
        release();
    }
    return started;
}

void PendingCall::refuse(const Error& error) noexcept {
    state_.fetch_or(ENDED | RETURNED | UNLINKED, std::memory_order_acq_rel);
    storeEnd(End(End::Kind::refused, error));
    deliverStoredWork();
    release();  // releases the reference that was meant for the service
}

void* PendingCall::send(const Request& request) {
    ThreadRecord& thread = thisThread();
    const FrameGuard frame(thread, *this);
    startingOn_.store(&thread, std::memory_order_relaxed);
    thread.servedBy = nullptr;
    ResponseHandler seen(new (slot_.memory) ServiceSide(*this));
    void* const serviceHandle = service_.actionRequest(request, std::move(seen));
    if (seen) {
        // The service has returned without taking ownership of the response handler.
        if (claim()) {
            storeEnd(End(End::Kind::refused,
                         {statuscodes::SERVICE_UNAVAILABLE, "the service refuses requests"}));
            deliverStoredWork();
        }
        seen.reset();
    }
    startingOn_.store(nullptr, std::memory_order_relaxed);
    return serviceHandle;
}

// Returns whether the call has not ended. If the request has ended while the service was inside
// `actionRequest`, the service may have stored a stale entry for the address of the response
// handler. If the request was cancelled meanwhile, the cancellation has not reached the service
// yet. In both cases this function cancels the request, if the service has returned a handle.
bool PendingCall::afterReturn(void* serviceHandle, bool keepsOwner) noexcept {
    serviceHandle_ = serviceHandle;
    const bool endedHere = endedInStart_;
    Word seen = state_.load(std::memory_order_acquire);
    Word next = 0;
    bool cancels = false;
    do {
        if (endedHere && (seen & WORK) != 0) {
            drain();
            seen = state_.load(std::memory_order_acquire);
        }
        cancels = (seen & ENDED) != 0 && serviceHandle != nullptr;
        next = afterReturn(seen, cancels, keepsOwner);
    } while (!state_.compare_exchange_weak(seen, next, std::memory_order_acq_rel,
                                           std::memory_order_acquire));
    // From here on, this thread does not use the call unless it has a reference of its own.
    if (endedHere && (seen & WAITED) != 0) {
        wakeWaiting();
    }
    if (cancels) {
        cancelAtService();
        if (!keepsOwner) {
            release();
        }
    } else if ((next & REFERENCES) == 0) {
        destroy();
    }
    return (seen & ENDED) == 0;
}

// Returns the new state of the call after the service has returned. It includes flags for the steps
// that this thread still has to perform.
Word PendingCall::afterReturn(Word seen, bool cancels, bool keepsOwner) noexcept {
    Word next = seen | RETURNED | (cancels ? CANCELLING : 0);
    if (endedInStart_) {
        next = ((next & ~(RUNNING | WAITED | THREAD)) | FINISHED) - REFERENCE;
    }
    if (goneInStart_) {
        next = (next | RELEASED) - REFERENCE;
    }
    if (!keepsOwner && !cancels) {
        next -= REFERENCE;
    }
    return unlinkIfSettled(next);
}

}  // namespace kova::kit::detail
