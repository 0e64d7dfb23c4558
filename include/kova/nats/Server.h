#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "kova/core/IKovaApi.h"
#include "kova/kit/Calls.h"
#include "kova/kit/Result.h"
#include "kova/nats/BrokerOptions.h"
#include "kova/nats/Export.h"

namespace kova::nats {

namespace detail {
class ServerState;
}

/// Options of a `Server`. Each limit is inclusive.
struct ServerOptions {
    /// The path under which clients find the service ("/device"). It begins with "/".
    std::string servicePath = "/";
    /// The name of this server among the servers of the same service path ("car-17"), for clients
    /// that want to reach exactly this one. If it is empty, the server only gets requests that any
    /// server of the service path may execute. No two servers should have the same name.
    std::string instance = {};
    BrokerOptions broker = {};  ///< the connection to the broker: login, TLS, heartbeat
    /// The highest number of pending requests. A further request is answered with 429.
    std::size_t requests = 4096;
    /// The highest number of bytes of one answer that are queued while the client grants no credit.
    /// A single value may have more. The first value of a stream may set a highest number of
    /// values, too, and what happens when a limit is exceeded (`kova::kit::STREAM_QUEUE`). By
    /// default the stream is then ended with 503.
    std::size_t queuedBytes = std::size_t{256} * 1024;

    /// Whether the server answers the services protocol of NATS (ADR-32 of the NATS project), which
    /// other programs use to find services and to read how many requests they get. The broker must
    /// then permit the server to subscribe to "$SRV.>".
    bool isDiscoverable = false;
    /// The name in the services protocol: letters, digits, "-" and "_". If it is empty, the service
    /// path with "_" in place of other characters ("/a/b" becomes "a_b").
    std::string name = {};
    /// The version in the services protocol, a semantic version.
    std::string version = "0.0.0";
    /// The description in the services protocol.
    std::string description = {};
};

/// Serves a service to other processes and machines, through a broker.
///
/// `url` is the URL of the broker, as for `kova::nats::connect`, which is the client. Several
/// servers with the same service path share the requests. A server whose broker cannot be reached
/// tries again until it is destroyed. If the connection is lost, the pending requests are
/// cancelled; their clients get the error 503 "lost: ...".
///
/// A thread of the object calls the service, so a resource handler that blocks delays all clients:
/// let it answer later, or use a `kova::kit::Worker`. `kova::kit::peerOf` of a request has an
/// address that begins with "nats:" and no numbers, because the broker does not name the sender of
/// it. An answer with a value longer than the broker's limit for messages ends with 413. Any
/// thread may call any function.
///
///     const auto serve = [](kova::IKovaApi& service, void (*waitForSignal)()) {
///         kova::nats::ServerOptions options;
///         options.servicePath = "/device";
///         options.instance = "car-17";
///         kova::nats::Server server(service, "nats://broker:4222", options);
///         waitForSignal();
///         server.stop(std::chrono::seconds(2));
///     };
class KOVA_NATS_API Server {
public:
    /// Begins to serve; does not wait for a connection. The service must outlive the object. Throws
    /// `std::invalid_argument` if the URL or an option is malformed or out of its range, and
    /// `std::system_error` if the system refuses a thread.
    Server(IKovaApi& service, const std::string& url, const ServerOptions& options = {});
    /// Ends pending requests with 503 at once, and waits without a limit until all resource
    /// handlers have returned and the threads have ended. Inside a resource handler it does not
    /// wait for that handler.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Waits until the broker delivers requests to this server. Returns 503 with the latest reason
    /// if that is not the case after `limit`; 401 or 403 if the broker refuses the login or the
    /// subjects.
    kit::Result<void> waitUntilServing(std::chrono::milliseconds limit) const;
    /// Accepts no request any more, lets pending requests end within the limit, then ends them with
    /// 503, and closes the connection. Clients that grant no credit get another second for their
    /// last answers. Returns the requests whose resource handlers have not returned yet. If there
    /// are any, the connection is still open, and the function may be called again. Inside a
    /// resource handler it does not wait.
    std::vector<kit::CallInfo> stop(std::chrono::milliseconds limit);

private:
    std::shared_ptr<detail::ServerState> state_;
};

}  // namespace kova::nats
