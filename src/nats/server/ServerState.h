#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "kova/kit/Calls.h"
#include "kova/kit/Peer.h"
#include "kova/nats/Server.h"
#include "nats/Broker.h"
#include "nats/Pulse.h"
#include "nats/server/Discovery.h"
#include "nats/server/ServerRequest.h"
#include "wire/AnswerQueue.h"
#include "wire/EventLoop.h"
#include "wire/ServedService.h"

namespace kova::nats::detail {

/// The implementation of `Server`: its thread, its connection to the broker and its requests.
///
/// The thread of the loop owns the object, too, while it runs a function of it, so that a server
/// can be destroyed from inside a resource handler.
class ServerState final : private Broker::Owner,
                          private ServerRequest::Owner,
                          public std::enable_shared_from_this<ServerState> {
public:
    /// Begins to serve. Throws as the constructor of `Server` does.
    static std::shared_ptr<ServerState> start(IKovaApi& service, const std::string& url,
                                              const ServerOptions& options);

    /// The time for which `stop` waits.
    using Limit = std::optional<std::chrono::milliseconds>;

    kit::Result<void> waitUntilServing(std::chrono::milliseconds limit);
    /// Stops, as `Server::stop` does. Without a limit it ends the pending requests at once, and
    /// waits until all resource handlers have returned.
    std::vector<kit::CallInfo> stop(Limit limit);
    /// Ends the thread, after `stop`. Waits for it, unless it is called on it.
    void end() noexcept { loop_->stop(); }

private:
    using Clock = wire::EventLoop::Clock;
    using TimePoint = Clock::time_point;
    // The channels of the connection.
    enum ChannelNumber : int { ANY, ONE, ALL, CONTROL, DISCOVERY };

    ServerState(IKovaApi& service, const Urls& urls, const ServerOptions& options,
                const std::string& id, std::optional<Discovery> discovery,
                std::vector<Channel> channels);

    // On the thread of the loop:
    void onReady() override;
    void onMessage(int channel, natsMsg& message) override;
    void onDrained(int channel) override;
    void onRefused(const kit::Error& error) override;
    void onLost(const kit::Error& error) override;
    void onOver(ServerRequest& request) override;
    void handle(int channel, natsMsg& message);
    void begin(Discovery::Endpoint endpoint, natsMsg& message);
    void serve(Discovery::Endpoint endpoint, const std::string& reply, const Frame& frame);
    void refuse(Discovery::Endpoint endpoint, const std::string& reply, const kit::Error& error);
    void introduce(const natsMsg& message);
    void discover(natsMsg& message);
    void control(natsMsg& message);
    void armCheck(std::chrono::milliseconds period);
    void check();
    void forget(std::uint64_t number);
    void updateCount();
    void beginStop();
    void closeAll();

    // On the thread that stops:
    template <typename Condition>
    bool waitUntil(TimePoint deadline, Condition condition);
    void postCloseAll();

    const ServerOptions options_;
    const std::string control_;  ///< the beginning of the subjects for clients
    const kit::Peer peer_;
    wire::ServedService service_;
    const std::shared_ptr<wire::EventLoop> loop_;
    const std::shared_ptr<wire::ReadyQueues> ready_;
    std::shared_ptr<Heartbeats> heartbeats_;

    // Of the thread of the loop:
    Broker broker_;
    std::unordered_map<std::uint64_t, std::unique_ptr<ServerRequest>> requests_;
    std::uint64_t lastNumber_ = 0;
    std::chrono::milliseconds period_{0};  ///< of the next check; 0 if none is armed
    std::optional<wire::EventLoop::TimerId> check_;
    std::optional<Discovery> discovery_;  ///< nothing unless the server is discoverable
    bool isStopping_ = false;
    int undrained_ = 0;  ///< the channels of requests that may still deliver

    std::mutex mutex_;
    std::condition_variable changed_;
    bool isServing_ = false;
    kit::Error latest_;  ///< why the server does not serve
    bool hasDrained_ = false;
    bool isClosed_ = false;
    std::size_t count_ = 0;  ///< of open requests; kept up to date while the server stops
};

}  // namespace kova::nats::detail
