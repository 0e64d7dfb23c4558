#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "foreign/ForeignServer.h"
#include "kova/http/Endpoint.h"
#include "server/Acceptor.h"
#include "server/Listening.h"
#include "server/ServerConnection.h"
#include "server/ServerContext.h"
#include "server/Undecided.h"
#include "wire/EventLoop.h"

namespace kova::http::detail {

/// The implementation of `Endpoint`: its thread, its listening socket and its connections.
///
/// The thread of the loop owns the object, too, while it runs a function of it, so that an endpoint
/// can be destroyed from inside a resource handler.
class EndpointState : public std::enable_shared_from_this<EndpointState> {
public:
    /// Starts to serve. Throws as the constructors of `Endpoint` do.
    static std::shared_ptr<EndpointState> start(const std::map<std::string, IKovaApi*>& services,
                                                const std::string& address,
                                                const EndpointOptions& options);
    ~EndpointState();
    EndpointState(const EndpointState&) = delete;
    EndpointState& operator=(const EndpointState&) = delete;

    /// The time for which `stop` waits.
    using Limit = std::optional<std::chrono::milliseconds>;

    std::string address() const { return address_; }
    std::size_t connections() const noexcept { return connections_.load(); }
    /// Stops, as `Endpoint::stop` does. Without a limit it ends the pending requests at once, and
    /// waits until all resource handlers have returned.
    std::vector<kit::CallInfo> stop(Limit limit);
    /// Ends the thread, after `stop`. Waits for it, unless it is called on it.
    void end() noexcept { loop_->stop(); }

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    EndpointState(Listening listening, const EndpointOptions& options);

    // On the thread of the loop:
    void begin();
    void onAccepted(wire::FileDescriptor socket);
    void onDecided(Undecided& undecided, Undecided::Protocol protocol) noexcept;
    void serve(Undecided& undecided, Undecided::Protocol protocol);
    void startHttp2(wire::FileDescriptor socket, const kit::Peer& peer);
    void adoptForeign(wire::FileDescriptor socket, const kit::Peer& peer);
    ForeignTerms termsOfForeign();
    std::size_t foreignConnections() const noexcept;
    void onClosed(ServerConnection& connection);
    void updateCounts();
    void beginStop();
    void closeAll();

    // On the thread that stops:
    std::vector<kit::CallInfo> endRequests(bool isLimited);
    template <typename Condition>
    bool waitUntil(TimePoint deadline, Condition condition);
    void postCloseAll();

    const EndpointOptions options_;
    const ServedServices services_;
    std::unique_ptr<ListeningSocket> listener_;
    const std::string address_;
    const std::shared_ptr<wire::EventLoop> loop_;
    std::atomic<std::size_t> connections_{0};

    // Of the thread of the loop:
    ServerContext context_;
    std::optional<Acceptor> acceptor_;
    std::unordered_map<Undecided*, std::unique_ptr<Undecided>> undecided_;
    std::unordered_map<ServerConnection*, std::unique_ptr<ServerConnection>> http2_;
    std::optional<ForeignServer> foreign_;  ///< created by the first connection that needs it

    std::mutex mutex_;
    std::condition_variable changed_;
    bool hasBegunToStop_ = false;
    bool isClosed_ = false;
    std::size_t requests_ = 0;  ///< kept up to date while the endpoint stops
};

}  // namespace kova::http::detail
