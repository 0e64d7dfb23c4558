#pragma once

#include <microhttpd.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "foreign/ForeignServer.h"

namespace kova::http::detail {

class ForeignExchange;

/// One connection of a client.
struct ForeignConnection {
    kit::Peer peer;
    int socket = -1;
    /// The limit for the rest of a request, or for the next one.
    std::optional<wire::EventLoop::TimerId> deadline;

    bool isUnix() const noexcept { return peer.address.compare(0, 5, "unix:") == 0; }
};

/// The daemon of libmicrohttpd, driven by the loop. Its epoll descriptor is one of the descriptors
/// that the loop watches.
class ForeignDaemon {
public:
    ForeignDaemon(std::shared_ptr<wire::EventLoop> loop, ForeignTerms terms);
    ~ForeignDaemon();
    ForeignDaemon(const ForeignDaemon&) = delete;
    ForeignDaemon& operator=(const ForeignDaemon&) = delete;

    void adopt(wire::FileDescriptor socket, const kit::Peer& peer);
    void close() noexcept;
    /// Lets the daemon process what is ready. Must also be called after a connection was resumed: a
    /// daemon that is polled from outside does not notice that by itself.
    void run() noexcept;

    const std::shared_ptr<wire::EventLoop>& loop() const noexcept { return loop_; }
    const ForeignTerms& terms() const noexcept { return terms_; }

    /// @{
    /// Called when a request begins to arrive, is complete, or has ended. Without memory for a
    /// deadline, the connection is closed.
    void startDeadline(ForeignConnection& connection) noexcept;
    void stopDeadline(ForeignConnection& connection) noexcept;
    void startIdle(ForeignConnection& connection) noexcept;
    /// @}
    /// Shuts down a connection that cannot be served, so that libmicrohttpd closes it.
    static void giveUp(const ForeignConnection& connection) noexcept;

    bool isRefusing = false;
    std::set<ForeignExchange*> exchanges;
    std::size_t connections = 0;

private:
    static void onConnection(void* self, MHD_Connection* connection, void** context,
                             MHD_ConnectionNotificationCode code) noexcept;
    static void onDeadline(ForeignConnection& connection);
    bool schedule() noexcept;

    const std::shared_ptr<wire::EventLoop> loop_;
    const ForeignTerms terms_;
    MHD_Daemon* daemon_ = nullptr;
    int epoll_ = -1;
    ForeignConnection* adopted_ = nullptr;  ///< the connection that is being added to the daemon
    std::optional<wire::EventLoop::TimerId> timer_;
};

}  // namespace kova::http::detail
