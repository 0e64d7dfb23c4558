#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "kova/core/IKovaApi.h"
#include "kova/http/Endpoint.h"
#include "kova/kit/Peer.h"
#include "wire/EventLoop.h"
#include "wire/FileDescriptor.h"

namespace kova::http::detail {

class ForeignDaemon;

/// What a server for foreign clients shares with its endpoint.
struct ForeignTerms {
    /// The services, by service path. They must always take ownership of the response handler, and
    /// accept a late `cancelRequest`, as `kit::Calls` does.
    std::map<std::string, IKovaApi*> services;
    EndpointOptions options;
    /// The port of an endpoint that listens to TCP.
    unsigned short port = 0;
    /// The time after which a quiet stream of events gets a comment.
    std::chrono::milliseconds commentInterval = std::chrono::seconds(15);
    /// @{
    /// Called before a request is sent to a service, and after its end. `beginRequest` returns
    /// false if the peer has as many pending requests as allowed; `endRequest` is then not called.
    /// Both may be empty.
    std::function<bool(const kit::Peer&)> beginRequest;
    std::function<void(const kit::Peer&)> endRequest;
    /// @}
    /// Called when a connection was closed. May be empty.
    std::function<void()> onConnectionClosed;
};

/// Serves clients that are not kova with HTTP/1.1, over sockets that are handed over.
///
/// All functions belong to the thread of the loop. No function may be called from inside a service
/// that the server has called.
class ForeignServer {
public:
    /// Throws `std::runtime_error` if the server cannot be started.
    ForeignServer(std::shared_ptr<wire::EventLoop> loop, ForeignTerms terms);
    /// Calls `close`.
    ~ForeignServer();
    ForeignServer(const ForeignServer&) = delete;
    ForeignServer& operator=(const ForeignServer&) = delete;

    /// Serves a connection, from which nothing has been read.
    void adopt(wire::FileDescriptor socket, const kit::Peer& peer);
    /// Refuses all further requests with 503.
    void refuse() noexcept;
    /// Cancels all requests and closes all connections.
    void close() noexcept;
    /// Returns the number of open connections.
    std::size_t connections() const noexcept;
    /// Returns the number of requests that have not been answered.
    std::size_t requests() const noexcept;

private:
    std::unique_ptr<ForeignDaemon> daemon_;
};

}  // namespace kova::http::detail
