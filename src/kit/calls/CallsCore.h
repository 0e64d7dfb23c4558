#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "calls/CallTable.h"
#include "calls/Deadlines.h"
#include "calls/PendingCall.h"
#include "calls/Threads.h"
#include "kova/kit/CallerDriven.h"
#include "kova/kit/Calls.h"

namespace kova::kit::detail {

/// The implementation of `Calls`.
class CallsCore {
public:
    CallsCore(IKovaApi& service, const CallsOptions& options);
    /// Calls `closeAndWait` without a limit.
    ~CallsCore();
    CallsCore(const CallsCore&) = delete;
    CallsCore& operator=(const CallsCore&) = delete;

    /// @{
    /// The functions of `IKovaApi`, as `Calls` describes them.
    void* actionRequest(const Request& request, PendingCall::ResponseHandler handler);
    void cancelRequest(void* handle) noexcept;
    /// @}
    /// Sends a request. Returns the call with a reference that the caller owns.
    CallReference send(const Request& request, PendingCall::Target&& target,
                       const CallOptions& callOptions);
    /// Sends a request without an owner. Returns the handle, or null if the call has ended. `now`
    /// is the time from which the deadline counts, if the caller has already read the clock.
    void* sendAway(const Request& request, PendingCall::Target&& target,
                   const CallOptions& callOptions,
                   std::optional<Deadlines::TimePoint> now = std::nullopt);
    /// Ends all calls silently and waits until they are settled. Returns false if the limit passed.
    bool closeAndWait(bool limited, std::chrono::milliseconds limit);
    /// Ends all calls as "lost" and waits until they are settled. Returns false if the limit
    /// passed.
    bool stopAndWait(const Error& error, std::chrono::milliseconds limit);
    /// Rejects new calls and ends all calls as "lost", without waiting. Returns the number of calls
    /// on which this thread is executing an operation. They cannot settle before that operation has
    /// returned.
    std::size_t stop(const Error& error);
    /// Ends all calls as "lost", without waiting. Returns these calls.
    std::vector<CallReference> lose(const Error& error);
    std::vector<CallInfo> list();

    CallTable table;  // the first member, because its shards are aligned to cache lines
    IKovaApi& service;
    CallerDriven* const driven;  ///< the service if it is a `CallerDriven`, or null
    const CallsOptions options;
    Deadlines deadlines;

    /// A guard for a thread that waits until all calls of a closed table are settled. `own` is the
    /// number of calls that cannot settle before the waiting thread continues.
    class Waiting {
    public:
        Waiting(CallsCore& core, std::size_t own) noexcept;
        ~Waiting() { core_.excepted_ -= own_; }
        Waiting(const Waiting&) = delete;
        Waiting& operator=(const Waiting&) = delete;

        /// Returns whether there are calls that cannot settle before the waiting thread continues.
        bool isInside() const noexcept { return own_ != 0; }
        /// Returns whether all calls are settled. With `withoutWaiting`, calls that cannot settle
        /// before a waiting thread continues are not counted; otherwise two waiting threads could
        /// wait for each other.
        bool isOver(bool withoutWaiting) const noexcept;

    private:
        friend class CallsCore;
        CallsCore& core_;
        const std::size_t own_;
    };

private:
    PendingCall& create(const Request& request, PendingCall::Target&& target,
                        const CallOptions& callOptions, std::optional<Deadlines::TimePoint> now);
    bool waitUntilSettled(std::size_t own, const WaitLimit& until);

    /// The total number of calls that cannot settle before one of the waiting threads continues.
    std::atomic<std::size_t> excepted_{0};
};

/// Returns "thread N has waited 1 s for ..." with the calls.
std::string describeWait(const std::vector<CallInfo>& calls);

}  // namespace kova::kit::detail
