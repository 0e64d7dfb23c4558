#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

#include "inspection/MonitorFeed.h"
#include "kova/core/IResourceHandler.h"
#include "kova/core/IResponseHandler.h"
#include "kova/core/Request.h"
#include "kova/core/Response.h"
#include "kova/kit/MonitorViews.h"
#include "kova/kit/Peer.h"

namespace kova::kit::detail {

/// Reports the requests of a service and their answers to the watchers of "/.kova/monitor".
///
/// Any thread may call any function. The response handlers that `observe` returns share the
/// ownership of the object.
class Monitor : public std::enable_shared_from_this<Monitor> {
public:
    using ResponseHandler = std::unique_ptr<IResponseHandler<Response>>;
    /// The mount path.
    static constexpr char const* MOUNT = "/.kova/monitor";
    /// The maximum number of bytes of a payload that is reported.
    static constexpr std::size_t LONGEST_PAYLOAD = std::size_t{4} * 1024 * 1024;

    /// Returns whether requests may have to be reported. An atomic load of two flags.
    bool isWatched() const noexcept { return requests_.isWatched() || events_.isWatched(); }
    /// Returns a response handler that reports the answer and passes it on to `handler`. Returns
    /// `handler` unchanged for a request to the monitor, because each report of such a request
    /// would cause another report.
    ResponseHandler observe(const Request& request, ResponseHandler handler);
    /// Returns the resource handler of "/.kova/monitor". Peers for which `isAllowed` returns false
    /// are answered with 403.
    std::unique_ptr<IResourceHandler> makeHandler(std::function<bool(const Peer&)> isAllowed) const;

private:
    class Observation;

    MonitorFeed<MonitoredRequests, MonitoredRequest, &MonitoredRequests::requests> requests_{
        {256, std::size_t{64} * 1024, 256}};
    MonitorFeed<MonitoredEvents, MonitoredEvent, &MonitoredEvents::events> events_{FeedLimits()};
    std::atomic<std::uint64_t> lastId_{0};
};

}  // namespace kova::kit::detail
