#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "kova/kit/Calls.h"
#include "kova/kit/Peer.h"
#include "kova/kit/Worker.h"
#include "osal/Alarm.h"
#include "osal/AlarmTimer.h"

namespace kova::kit::detail {

/// Forwards requests to a service after a delay, in the order in which they arrive.
///
/// An alarm detects requests that are due. A separate thread sends them to the service. Any thread
/// may call any function.
class DelayedRequests {
public:
    using ResponseHandler = std::unique_ptr<IResponseHandler<Response>>;

    /// If `clock` is null, uses the system's clock. If the delay is 0, starts no thread.
    DelayedRequests(IKovaApi& service, std::chrono::milliseconds delay, osal::Clock* clock);
    ~DelayedRequests();
    DelayedRequests(const DelayedRequests&) = delete;
    DelayedRequests& operator=(const DelayedRequests&) = delete;

    /// Sends a request after the delay. Always takes ownership of the handler.
    void* send(const Request& request, ResponseHandler&& handler);
    /// Cancels a request. Ignores a handle of a request that has ended.
    void cancel(void* handle);

private:
    using Number = std::uintptr_t;
    using TimePoint = std::chrono::steady_clock::time_point;
    class Delayed;
    /// A request that has not ended.
    struct Entry {
        Entry(const Request& request, Peer peer) : request(request), peer(std::move(peer)) {}

        Request request;
        Peer peer;
        ResponseHandler handler;  ///< null after the request was forwarded
        void* handle = nullptr;   ///< the handle that the service returned
        bool isCancelled = false;
    };
    struct Due {
        TimePoint time;
        Number number;
    };

    TimePoint now() const;
    void expired();
    void passOn(Number number);
    void finish(Number number) noexcept;
    void armLocked();

    const std::chrono::milliseconds delay_;
    osal::Clock* const clock_;
    std::mutex mutex_;
    Number last_ = 0;
    std::map<Number, Entry> entries_;
    std::deque<Due> queue_;
    /// The calls of the service. `Calls` ensures that no two requests have the same handle.
    Calls calls_;
    std::optional<Worker> worker_;
    std::unique_ptr<osal::AlarmTimer> ownTimer_;
    std::unique_ptr<osal::Alarm> alarm_;
};

}  // namespace kova::kit::detail
