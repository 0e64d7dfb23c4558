#pragma once

#include <chrono>
#include <optional>
#include <vector>

#include "calls/CallTable.h"
#include "calls/Deadlines.h"
#include "calls/PendingCall.h"
#include "kova/kit/Calls.h"

namespace kova::kit::detail {

/// The implementation of `Calls`.
class CallsCore {
public:
    CallsCore(IKovaApi& service, const CallsOptions& options)
        : service(service), options(options), deadlines(table, options.clock) {}

    /// Sends a request. Returns the call with a reference of the caller.
    CallReference send(const Request& request, PendingCall::Target&& target,
                       const CallOptions& callOptions);
    /// Sends a request without an owner. Returns the handle, or null if the call has ended. `now`
    /// is the time from which the deadline counts, if the caller has read the clock already.
    void* sendAway(const Request& request, PendingCall::Target&& target,
                   const CallOptions& callOptions,
                   std::optional<Deadlines::TimePoint> now = std::nullopt);
    /// Ends all calls silently and waits until they are settled. Returns false if the limit passed.
    bool closeAndWait(bool limited, std::chrono::milliseconds limit);
    /// Ends all calls as "lost" and waits until they are settled. Returns false if the limit
    /// passed.
    bool stopAndWait(const Error& error, std::chrono::milliseconds limit);
    std::vector<CallInfo> list();

    CallTable table;  // first, because its shards begin at cache lines
    IKovaApi& service;
    const CallsOptions options;
    Deadlines deadlines;

private:
    PendingCall& create(const Request& request, PendingCall::Target&& target,
                        const CallOptions& callOptions, std::optional<Deadlines::TimePoint> now);
};

}  // namespace kova::kit::detail
