#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "calls/CallState.h"
#include "calls/ExecutorState.h"
#include "calls/Task.h"
#include "kova/core/IKovaApi.h"
#include "kova/kit/Receiver.h"

namespace kova::kit::detail {

class CallTable;
class Deadlines;
class PendingCall;
struct ThreadRecord;

/// The delivery of a call's values and end, as a task of its executor.
class DeliveryTask : public Task {
public:
    void run() noexcept final;
    void done() noexcept final;
    std::string label() const final;
};

/// The cancellation of a request at the service, as a task of the kit's thread.
class CancellationTask : public Task {
public:
    void run() noexcept final;
    void done() noexcept final;
    std::string label() const final;
};

/// One call: the object that the service sends its events to, the receiver, and what happens
/// between them. One block of memory holds all of it, and it lives until
///
/// - the service has destroyed its response handler,
/// - the service has returned from `actionRequest`, and a stale entry for the handler's address has
///   been cancelled, so that no later request can have this address before, and
/// - nobody refers to the call any more.
///
/// `CallState.h` describes the state. Only the thread that has set RUNNING uses the receiver.
class PendingCall final : public DeliveryTask, public CancellationTask, public Reservation {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using ResponseHandler = std::unique_ptr<IResponseHandler<Response>>;

    /// What receives the answer: one of the two.
    struct Target {
        ResponseHandler handler;
        std::unique_ptr<Receiver> receiver;
    };
    struct Setup {
        IKovaApi& service;
        CallTable& table;
        std::shared_ptr<ExecutorState> executor;  ///< null: inline
        TimePoint deadline = TimePoint::max();
        std::chrono::milliseconds timeout{0};  ///< the time that the deadline came from
        bool stream = false;                   ///< the deadline is that of the first value
        std::size_t queue = 0;                 ///< bound of the values that wait for the executor
        std::string_view client = {};          ///< copied; valid during `create`
    };

    /// Returns a new call with a reference for its owner and one for the service. `start` or
    /// `refuse` must follow.
    static PendingCall* create(const Request& request, Setup&& setup, Target&& target);

    /// What comes of `start`.
    struct Started {
        void* handle;
        bool pending;  ///< The call has not ended.
    };
    /// Reserves the place in the executor, links the call into the table, notes its deadline and
    /// sends the request. `deadlines` is null without a deadline. If the owner is not kept, its
    /// reference is given back, so the call may be destroyed afterwards.
    Started start(const Request& request, Deadlines* deadlines, bool keepsOwner);

    /// Ends the call for its owner, a deadline or a connection. The receiver gets the end later, on
    /// a thread of the executor. A cancellation reaches the service on this thread, all other ends
    /// on the thread of the kit. Returns false if the call has ended already.
    bool end(End::Kind kind, const Error& error) noexcept;
    /// Begins silence: no callback begins from now on. Cancels the request. Does not wait.
    void silence() noexcept;

    /// Returns the state.
    state::Word peek() const noexcept { return state_.load(std::memory_order_acquire); }
    /// Makes the thread that calls the receiver call `wakeWaiting` when it leaves. Returns the
    /// state before.
    state::Word askToBeWoken() noexcept {
        return state_.fetch_or(state::WAITED, std::memory_order_acq_rel);
    }
    /// Removes the call from the table, if it is there and this thread is inside an operation on
    /// the call, or its callback cannot return before this thread does.
    void unlink() noexcept;

    void hold() noexcept override { state_.fetch_add(state::REFERENCE, std::memory_order_relaxed); }
    void endForStop() noexcept override;
    /// Gives a reference back. The last one destroys the call.
    void release() noexcept;

    /// @{
    /// Properties that do not change while the call is pending.
    std::string_view command() const noexcept { return {text(), commandSize_}; }
    std::string_view path() const noexcept { return {text() + commandSize_, pathSize_}; }
    std::string_view client() const noexcept {
        return {text() + commandSize_ + pathSize_, clientSize_};
    }
    /// Returns the deadline in this state; `TimePoint::max()` if it has been met or never set.
    TimePoint deadline() const noexcept {
        const bool met = (peek() & (stream_ ? state::ENDED | state::VALUE : state::ENDED)) != 0;
        return met ? TimePoint::max() : deadline_;
    }
    std::chrono::milliseconds timeout() const noexcept { return timeout_; }
    std::chrono::nanoseconds age() const noexcept;
    std::uint32_t startedBy() const noexcept { return startedBy_; }
    bool isInline() const noexcept { return executor_ == nullptr; }
    const CallTable& table() const noexcept { return table_; }
    /// @}
    /// Returns "COMMAND 'PATH'".
    std::string describe() const;
    void traceLate(char const* event) const noexcept;

    /// Links of the table, which it guards.
    PendingCall* nextInTable = nullptr;
    void* handle = nullptr;

private:
    friend class DeliveryTask;
    friend class CancellationTask;
    class ServiceSide;
    // The memory of the response handler that the service sees, with the way back to the call. It
    // is used after the handler was destroyed, so it is not a part of it.
    struct Slot {
        PendingCall* call;
        alignas(void*) std::byte memory[2 * sizeof(void*)];
    };

    PendingCall(const Request& request, Setup&& setup, Target&& target) noexcept;
    ~PendingCall() = default;

    // Events of the service.
    bool value(const Response& response);
    void serviceEnd(Response const* error) noexcept;
    void dropped() noexcept;
    void releaseByService() noexcept;

    // The right to use the receiver: RUNNING.
    bool enter() noexcept;
    bool enterForValue() noexcept;
    enum class Leave { afterAllWork, forExecutor };
    void leave(Leave how = Leave::afterAllWork) noexcept;

    // Delivery, by the thread that has set RUNNING.
    void drain() noexcept;
    void deliverQueued();
    bool deliver(const Response& response);
    void finish(End const* end) noexcept;
    void finishDirectly(Response const* error) noexcept;

    // Steps of the state.
    bool claim() noexcept;
    void storeEnd(End&& end) noexcept;
    void schedule() noexcept;
    void deliverStoredWork() noexcept;
    bool queue(const Response& response);
    bool needsCancellation(state::Word seen) const noexcept;
    void cancelAtService() noexcept;
    bool afterReturn(void* serviceHandle, bool keepsOwner) noexcept;
    state::Word afterReturn(state::Word seen, bool cancels, bool keepsOwner) noexcept;
    void refuse(const Error& error) noexcept;
    void destroy() noexcept;
    void advance(state::Word clear) noexcept;
    state::Word unlinkIfSettled(state::Word next) noexcept;
    void* send(const Request& request);
    bool isStartedBy(const ThreadRecord& thread) const noexcept {
        return startingOn_.load(std::memory_order_relaxed) == &thread;
    }

    char* text() noexcept { return reinterpret_cast<char*>(this + 1); }
    char const* text() const noexcept { return reinterpret_cast<char const*>(this + 1); }

    std::atomic<state::Word> state_;
    IKovaApi& service_;
    CallTable& table_;
    std::shared_ptr<ExecutorState> executor_;
    Target target_;
    void* serviceHandle_ = nullptr;
    Slot slot_;
    const TimePoint deadline_;
    const std::int64_t startedAt_;
    std::uint32_t startedBy_ = 0;
    const std::uint32_t commandSize_;
    const std::uint32_t pathSize_;
    const std::uint32_t clientSize_;
    const std::chrono::milliseconds timeout_;
    const bool stream_;
    /// The thread that is inside `start`, if the service has not returned.
    std::atomic<const ThreadRecord*> startingOn_{nullptr};
    /// @{
    /// Used only by the thread that is inside `start`: the steps that it leaves to the end of
    /// `start`, where they cost no atomic operation of their own. Nobody else has the handle yet,
    /// so nobody waits for them.
    bool endedInStart_ = false;
    bool goneInStart_ = false;
    /// @}
    /// The call was removed from the table by one of its own steps.
    bool removed_ = false;
    /// The receiver is destroyed. Only the thread that has set RUNNING uses it.
    bool finished_ = false;
    /// Written by the thread that decides the end, before END_STORED.
    std::optional<End> end_;
    /// The end that a value caused which the receiver cannot use. It replaces a stored one.
    std::optional<End> failure_;

    std::mutex valuesMutex_;
    std::vector<Response> values_;
    const std::size_t queueLimit_;
};

}  // namespace kova::kit::detail
