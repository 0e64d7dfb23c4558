#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kova/core/Request.h"
#include "kova/kit/Chain.h"
#include "kova/kit/Export.h"
#include "kova/kit/Metrics.h"
#include "kova/kit/Peer.h"

namespace tracing {
class Channel;
}

/// The middleware of the kit, for `Chain::use`. If one middleware object is used in several chains,
/// it counts the requests of all these chains together. Any thread may call the functions.
///
///     const auto protect = [](kova::kit::Chain& api, const kova::kit::MetricsRegistry& registry) {
///         api.use(kova::kit::logging("PLAYER_REQUESTS"));
///         api.use(kova::kit::metrics(registry));
///         kova::kit::LimitOptions limits;
///         limits.perPeer = 10;
///         api.use(kova::kit::limit(limits));
///         api.use(kova::kit::deadline(std::chrono::seconds(5)));
///     };
namespace kova::kit {

/// @{
/// Writes one line to a trace channel when a request ends:
///
///     client="hmi" uid=1000 pid=4711 address="unix:" command="retrieve" path="/state" code=200 ...
///     ... ms=1.250 traceparent="00-4bf92f3577b34da6a3ce929d0e0e4736-00f067aa0ba902b7-01"
///
/// The code is "cancelled" for a cancelled request. The last entry is the header entry
/// "traceparent" (W3C Trace Context) if the request has one. Quoted texts are shortened to 256
/// bytes. Each of their bytes that is not printable ASCII is written as "\xNN", so no text can
/// forge an entry or a line. If the channel's level is above `level` when a request arrives,
/// nothing is read or allocated for the request.
///
/// If `channel` is a name, it selects a shared channel, which is silent until its level is set. If
/// `channel` is an object, it must outlive the chain.
KOVA_KIT_API std::shared_ptr<Middleware> logging(const std::string& channel, int level = 2);
KOVA_KIT_API std::shared_ptr<Middleware> logging(const ::tracing::Channel& channel, int level = 2);
/// @}

/// @{
/// Counts requests in a registry:
///
///     kova_requests_total{mount="/state",command="retrieve",code="2xx"}      counter
///     kova_request_duration_seconds{mount="/state",command="retrieve"}       histogram
///     kova_requests_pending                                                  gauge
///
/// The code is "cancelled" for a cancelled request. The command is "other" if it is not one of the
/// four standard commands. The duration of a stream ends with its first value. The mount is the
/// longest path in `mounts` with which the path of the request begins, or "other". Without
/// `mounts`, the mount is the first segment of the path; it counts as "other" until a request with
/// this segment has been served without an error. There are at most 100 mounts. Throws
/// `std::invalid_argument` for a mount that is not UTF-8 or does not begin with "/".
KOVA_KIT_API std::shared_ptr<Middleware> metrics(const MetricsRegistry& registry);
KOVA_KIT_API std::shared_ptr<Middleware> metrics(const MetricsRegistry& registry,
                                                 const std::vector<std::string>& mounts);
/// @}

/// Answers a request with 403 if the function returns false. The function is called on the thread
/// that sends the request.
KOVA_KIT_API Chain::Function authorize(
    std::function<bool(const Request& request, const Peer& peer)> isAllowed);

/// Ends a request with 504 if it is not answered in time, and cancels it at the service. The time
/// begins when the request has passed all functions up to the next `Chain::Front`. For a stream the
/// time ends with the first value.
inline Deadline deadline(std::chrono::milliseconds limit, osal::Clock* clock = nullptr) {
    return {limit, clock};
}

/// The options of `limit`: the maximum numbers of pending requests and streams. 0 means no limit.
struct LimitOptions {
    /// The maximum number of requests that have not ended, including streams.
    std::size_t pending = 0;
    /// The maximum number of such requests for each peer. A peer is identified by the user, process
    /// and address that `peerOf` returns, never by "$client-id".
    std::size_t perPeer = 0;
    /// The maximum number of streams that have not ended.
    std::size_t streams = 0;
};

/// Answers a request with 503 if it would exceed a limit. The count of a peer is kept while the
/// peer has an unfinished request. A request is counted until the client has received its end.
KOVA_KIT_API std::shared_ptr<Middleware> limit(const LimitOptions& options);

/// The options of `faults`.
struct FaultOptions {
    /// The seed of the random choice. The seed and the number of a request determine the fault of
    /// that request.
    std::uint64_t seed = 1;
    /// The share of requests, from 0 to 1, whose response handler is destroyed without an end.
    double drop = 0;
    /// The share of requests that are answered with an error.
    double error = 0;
    /// The status code of these errors.
    unsigned short code = 503;
    /// The delay of the requests that are neither dropped nor answered with an error. A thread of
    /// the middleware forwards them in order after this time. With 0 they are forwarded
    /// immediately.
    std::chrono::milliseconds delay{0};
    /// The clock of the delay, for tests. The rules of `Deadline::clock` apply.
    osal::Clock* clock = nullptr;
};

/// Adds faults to requests, for tests. The n-th request always gets the same fault for the same
/// seed. For the middleware in front of this one, a dropped request ends with 500. Throws
/// `std::invalid_argument` if a share, or the sum of the shares, is not from 0 to 1.
KOVA_KIT_API Chain::Front faults(const FaultOptions& options);

}  // namespace kova::kit
