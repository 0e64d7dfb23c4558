#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kova/http/Endpoint.h"
#include "kova/kit/Peer.h"
#include "wire/AnswerQueue.h"
#include "wire/EventLoop.h"
#include "wire/ServedService.h"

namespace kova::http::detail {

class ServerConnection;

/// Counts the requests of each peer: a user of this machine, or an IP address. A count exists while
/// it is not 0.
class PeerLimit {
public:
    explicit PeerLimit(std::size_t limit) noexcept : limit_(limit) {}

    /// Counts a request. Returns false if there are as many as allowed.
    bool add(const kit::Peer& peer);
    void remove(const kit::Peer& peer) noexcept;
    /// Returns the number of peers that have requests.
    std::size_t size() const noexcept { return counts_.size(); }

private:
    const std::size_t limit_;
    std::map<std::string, std::size_t, std::less<>> counts_;
};

/// The services of an endpoint, by service path.
class ServedServices {
public:
    /// Throws `std::invalid_argument` if a service is null or the map is empty.
    explicit ServedServices(const std::map<std::string, IKovaApi*>& services);

    /// Returns the service that the path of an HTTP request names; null if the path names no
    /// service. The path is percent-encoded. "/" names the only service of an endpoint.
    wire::ServedService* find(std::string_view path) const;
    const std::map<std::string, std::unique_ptr<wire::ServedService>>& all() const noexcept {
        return services_;
    }

private:
    std::map<std::string, std::unique_ptr<wire::ServedService>> services_;
};

/// What the connections of an endpoint share. Belongs to the thread of the loop.
struct ServerContext {
    ServerContext(const EndpointOptions& options, wire::EventLoop& loop,
                  const ServedServices& services)
        : options(options), loop(loop), services(services), peers(options.requestsOfPeer) {}

    const EndpointOptions& options;
    wire::EventLoop& loop;
    const ServedServices& services;
    std::shared_ptr<wire::ReadyQueues> ready;
    PeerLimit peers;
    /// Whether new requests are refused.
    bool isStopping = false;
    /// The number of open requests.
    std::size_t requests = 0;
    /// Called when a connection was closed. May destroy the connection.
    std::function<void(ServerConnection&)> onClosed;
    /// Called when a request has ended.
    std::function<void()> onRequestEnded;
    /// The connections with records that were not sent yet.
    std::vector<ServerConnection*> unflushed;

    /// Sends what the connections have to send.
    void flush();
};

}  // namespace kova::http::detail
