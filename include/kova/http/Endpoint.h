#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kova/core/IKovaApi.h"
#include "kova/http/Export.h"
#include "kova/kit/Calls.h"

namespace kova::http {

namespace detail {
class EndpointState;
}

/// Options of an `Endpoint`. Each limit is inclusive.
struct EndpointOptions {
    /// The highest number of open connections. At the limit, the endpoint accepts no further one;
    /// the system queues it.
    std::size_t connections = 256;
    /// The highest number of pending requests of a connection. The client learns it through HTTP/2.
    std::size_t requestsOfConnection = 1024;
    /// The highest number of pending requests of one peer (a user of this machine, or an IP
    /// address), over all its connections. A further request is answered with 429.
    std::size_t requestsOfPeer = 4096;
    /// The highest number of bytes of the header fields of a request. More are answered with 431.
    std::size_t headerBytes = std::size_t{16} * 1024;
    /// The highest number of bytes of a request's body. More are answered with 413. If the
    /// unfinished bodies of a connection together exceed twice the number, a request is answered
    /// with 429.
    std::size_t bodyBytes = std::size_t{32} * 1024 * 1024;
    /// The highest number of bytes of one answer that are queued for a client that does not read. A
    /// single value may have more. The first value of a stream may set a highest number of values,
    /// too, and what happens when a limit is exceeded (`kova::kit::STREAM_QUEUE`). By default the
    /// stream is then ended with 503.
    std::size_t queuedBytes = std::size_t{256} * 1024;
    /// The longest wait for the first bytes of a connection, and for further bytes of a request's
    /// body.
    std::chrono::milliseconds firstBytes = std::chrono::seconds(5);
    /// The time after which a connection without requests is closed; 0 means never.
    std::chrono::milliseconds idle{0};
    /// The access rights of a Unix socket's file.
    unsigned mode = 0660;
    /// The directory in which an endpoint with an address of the form "kova:" registers its
    /// services. If it is empty, the first one of `kova::http::socketDirectories`.
    std::string directory = {};
    /// Allows a TCP address that other machines reach. There is no encryption and no
    /// authentication: put a proxy in front.
    bool allowsRemote = false;
    /// Serves the paths below "/.kova" to curl and browsers over TCP, as far as the service itself
    /// allows it (`kova::kit::InspectionOptions::isAllowed`). Over a Unix socket the endpoint's own
    /// user and root get them in any case.
    bool inspectsOverTcp = false;
};

/// Serves services to other processes, over a Unix socket or TCP.
///
/// The text of its address is that of an `Address`, or
///
///     "kova:" [SERVICE_PATH]
///     "systemd:" [NAME]
///
/// The first form registers the services in a directory of sockets (`Directory.h`), each under its
/// path, where `kova::http::open` finds them; SERVICE_PATH is the path of a service that has none
/// yet. The directory is created if it does not exist. A service path that a process serves already
/// is refused.
///
/// The second form uses a listening socket that systemd, or another service manager with the
/// protocol of sd_listen_fds(3), has opened: the one with this name (FileDescriptorName=); without
/// a name, the only one. The file of the socket is not removed. While no endpoint uses the socket,
/// clients wait.
///
/// Programs use HTTP/2 without TLS and the records that `docs/wire.md` describes;
/// `kova::http::connect` is such a client. curl and browsers use HTTP/1.1 (`docs/http.md`). The
/// peer of a request is what the system says of the client's process (`kova::kit::peerOf`).
///
/// A thread of the endpoint reads and writes all connections and calls the services, so a resource
/// handler that blocks delays all clients: let it answer later, or use a `kova::kit::Worker`.
/// Any thread may call any function.
///
///     const auto serve = [](kova::IKovaApi& service, void (*waitForSignal)()) {
///         kova::http::Endpoint endpoint(service, "unix:/run/kova/player.sock");
///         waitForSignal();
///         endpoint.stop(std::chrono::seconds(2));
///     };
class KOVA_HTTP_API Endpoint {
public:
    /// Serves a service at an address. The service must outlive the object. Throws
    /// `std::invalid_argument` if the address is malformed or not allowed, and `std::system_error`
    /// if the system refuses the socket. The file of a Unix socket of this user that no process
    /// serves any more is replaced; any other file is refused with `EADDRINUSE`.
    Endpoint(IKovaApi& service, const std::string& address, const EndpointOptions& options = {});
    /// Serves several services, by service path ("/device"). Throws as the other constructor does.
    Endpoint(const std::map<std::string, IKovaApi*>& services, const std::string& address,
             const EndpointOptions& options = {});
    /// Ends pending requests with 503 at once, and waits without a limit until all resource
    /// handlers have returned and the thread has ended. Inside a resource handler it does not wait
    /// for that handler, and the connections are closed when the handler has returned.
    ~Endpoint();
    Endpoint(const Endpoint&) = delete;
    Endpoint& operator=(const Endpoint&) = delete;

    /// Returns the address of the endpoint, in the form that `connect` accepts. If the port was 0,
    /// the address has the port that the system chose.
    std::string address() const;
    /// Removes the file of a Unix socket, accepts no connection and no request any more, lets
    /// pending requests end within the limit, then ends them with 503, and closes all connections.
    /// Clients that do not read get another second for their last answers. Returns the requests
    /// whose resource handlers have not returned yet. If there are any, connections are still open,
    /// and the function may be called again. Inside a resource handler it does not wait.
    std::vector<kit::CallInfo> stop(std::chrono::milliseconds limit);
    /// Returns the number of open connections.
    std::size_t connections() const;

private:
    std::shared_ptr<detail::EndpointState> state_;
};

}  // namespace kova::http
