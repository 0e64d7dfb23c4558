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
class KitBatch;
class PendingCall;
struct ThreadRecord;

/// The delivery of a call's values and end, as a task of its executor.
class DeliveryTask : public Task {
public:
    void run() noexcept final;
    void done() noexcept final;
    std::string label() const final;
};

/// The cancellation of a request at the service, as a task of the kit's thread. If an inline call
/// is ended together with many others (`lose`), the task first delivers the end of the call.
class CancellationTask : public Task {
public:
    void run() noexcept final;
    void done() noexcept final;
    std::string label() const final;
};

/// One call: the object to which the service sends its events, the receiver, and the state between
/// them. The whole call is in one block of memory, which lives until
///
/// - the service has destroyed its response handler,
/// - the service has returned from `actionRequest`, and a stale entry for the handler's address has
///   been cancelled (otherwise a later request could get the same address while the entry exists),
///   and
/// - no reference to the call is left.
///
/// `CallState.h` describes the state. Only the thread that has set RUNNING uses the receiver.
class PendingCall final : public DeliveryTask, public CancellationTask, public Reservation {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using ResponseHandler = std::unique_ptr<IResponseHandler<Response>>;

    /// The receiver of the answer. Exactly one of the two members is set.
    struct Target {
        ResponseHandler handler;
        std::unique_ptr<Receiver> receiver;
    };
    struct Setup {
        IKovaApi& service;
        CallTable& table;
        std::shared_ptr<ExecutorState> executor;  ///< null for the inline executor
        TimePoint deadline = TimePoint::max();
        std::chrono::milliseconds timeout{0};  ///< the time from which the deadline was computed
        bool stream = false;                   ///< the deadline applies only to the first value
        bool awaitsRelease = false;            ///< see `CallsOptions::awaitsRelease`
        std::size_t queue = 0;                 ///< maximum number of waiting values
        std::string_view client = {};          ///< copied; valid during `create`
    };

    /// Returns a new call with two references: one for its owner and one for the service. The
    /// caller must then call `start` or `refuse`.
    static PendingCall* create(const Request& request, Setup&& setup, Target&& target);

    /// The result of `start`.
    struct Started {
        void* handle;
        bool pending;  ///< The call has not ended.
    };
    /// Reserves the place in the executor, links the call into the table, registers its deadline
    /// and sends the request. `deadlines` is null if there is no deadline. If `keepsOwner` is
    /// false, the reference of the owner is released, so the call may be destroyed afterwards.
    Started start(const Request& request, Deadlines* deadlines, bool keepsOwner);

    /// Ends the call because its owner cancels it, its deadline passes or its connection is lost.
    /// The receiver gets the end later, on a thread of the executor. The request is cancelled at
    /// the service: on this thread if the owner cancels it, otherwise on the kit's thread. Returns
    /// false if the call has already ended.
    bool end(End::Kind kind, const Error& error) noexcept;
    /// Does the same as `end` with the kind "lost", for one of many calls that end at once. The
    /// `End` object is created when the end is delivered.
    void lose(const std::shared_ptr<const Error>& reason, KitBatch& batch) noexcept;
    /// Ends the call silently: cancels the request, and no further callback begins. Does not wait.
    void silence() noexcept;

    /// Returns the state.
    state::Word peek() const noexcept { return state_.load(std::memory_order_acquire); }
    /// Sets WAITED, so that the thread that calls the receiver also calls `wakeWaiting` when it
    /// clears RUNNING. Returns the former state.
    state::Word askToBeWoken() noexcept {
        return state_.fetch_or(state::WAITED, std::memory_order_acq_rel);
    }
    /// Removes the call from the table, if it is still there. Call it only if this thread is inside
    /// an operation on the call, or if the callback of the call cannot return before this thread
    /// does.
    void unlink() noexcept;

    void hold() noexcept override { state_.fetch_add(state::REFERENCE, std::memory_order_relaxed); }
    void endForStop() noexcept override;
    /// Releases a reference. Releasing the last one destroys the call.
    void release() noexcept;

    /// @{
    /// Properties that do not change while the call is pending.
    std::string_view command() const noexcept { return {text(), commandSize_}; }
    std::string_view path() const noexcept { return {text() + commandSize_, pathSize_}; }
    std::string_view client() const noexcept {
        return {text() + commandSize_ + pathSize_, clientSize_};
    }
    /// Returns the deadline that applies in the current state: `TimePoint::max()` if there is no
    /// deadline, or if the call has already met it.
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

    /// The links of the table's lists. The locks of the table guard them.
    PendingCall* nextInTable = nullptr;
    void* handle = nullptr;

private:
    friend class DeliveryTask;
    friend class CancellationTask;
    class ServiceSide;
    // The memory of the response handler that is passed to the service, and a pointer to the call.
    // The pointer is not a member of the response handler, because it is used after the handler was
    // destroyed.
    struct Slot {
        PendingCall* call;
        alignas(void*) std::byte memory[2 * sizeof(void*)];
    };

    PendingCall(const Request& request, Setup&& setup, Target&& target) noexcept;
    ~PendingCall() = default;

    // The events that the service sends.
    bool value(const Response& response);
    void serviceEnd(Response const* error) noexcept;
    void dropped() noexcept;
    void releaseByService() noexcept;
    void releaseAwaited() noexcept;

    // These functions acquire and release the right to use the receiver (RUNNING).
    bool enter() noexcept;
    bool enterForValue() noexcept;
    enum class Leave { afterAllWork, forExecutor };
    void leave(Leave how = Leave::afterAllWork) noexcept;

    // These functions deliver values and the end. Only the thread that has set RUNNING calls them.
    void drain() noexcept;
    void deliverQueued();
    bool deliver(const Response& response);
    void finish(End const* end) noexcept;
    void finishDirectly(Response const* error) noexcept;

    // The functions that change the state.
    bool claim() noexcept;
    std::optional<state::Word> decideEnd(bool byKit) noexcept;
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
    /// The thread that is inside `start`, until the service has returned.
    std::atomic<const ThreadRecord*> startingOn_{nullptr};
    /// @{
    /// Used only by the thread that is inside `start`. They record steps that the thread performs
    /// at the end of `start`, where the steps need no additional atomic operation. No other thread
    /// has the handle yet, so no other thread waits for these steps.
    bool endedInStart_ = false;
    bool goneInStart_ = false;
    /// @}
    /// Whether `unlinkIfSettled` has removed the call from the table. `unlink` does not set it.
    bool removed_ = false;
    /// Whether the receiver is destroyed. Used only by the thread that has set RUNNING.
    bool finished_ = false;
    /// Written by the thread that decides the end, before END_STORED is set. If `lossReason_` is
    /// set instead, the end is "lost", and the thread that delivers the end creates it.
    std::optional<End> end_;
    std::shared_ptr<const Error> lossReason_;
    /// Whether the cancellation task delivers the end. Written by the same thread as `end_`, and
    /// before END_STORED is set.
    bool deliversLoss_ = false;
    /// The end of a call whose receiver cannot use a value. It replaces the end in `end_`.
    std::optional<End> failure_;

    std::mutex valuesMutex_;
    std::vector<Response> values_;
    const std::size_t queueLimit_;
};

}  // namespace kova::kit::detail
