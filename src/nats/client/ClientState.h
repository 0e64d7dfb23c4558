#pragma once

#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kova/core/IKovaApi.h"
#include "kova/nats/BrokerOptions.h"
#include "nats/Backoff.h"
#include "nats/Broker.h"
#include "nats/Pulse.h"
#include "nats/Urls.h"
#include "nats/client/ClientStream.h"
#include "nats/client/OpenStreams.h"
#include "wire/EventLoop.h"

namespace kova::nats::detail {

/// @{
/// Convert between the number of a request and the handle that its caller knows.
inline std::uint64_t toNumber(void* handle) noexcept {
    return reinterpret_cast<std::uintptr_t>(handle);
}
inline void* toHandle(std::uint64_t number) noexcept {
    return reinterpret_cast<void*>(number);  // NOLINT(performance-no-int-to-ptr)
}
/// @}

/// The settings of a client. The values are in range; `connect` checks them.
struct ClientSettings {
    std::shared_ptr<const Target> target;  ///< of the requests
    BrokerOptions broker;
    std::chrono::milliseconds patience;
    std::uint32_t window;
    /// @{
    /// As in `ConnectOptions`.
    bool retriesRetrievals = false;
    bool resubscribes = false;
    /// @}
};

/// The requests of one client, its connection to the broker, and the thread that serves them.
///
/// Any thread may call `actionRequest` and `cancelRequest`; they add to a queue, which the thread
/// of the loop empties. All other functions belong to the thread of the loop. Response handlers are
/// called there, and no lock is held. `kit::Calls` in front of the object silences a cancelled
/// request at once.
///
/// A request that the broker has not accepted yet waits for a connection, at most for the patience.
/// A request whose connection or server is lost ends, unless the settings let it be sent again.
class ClientState final : public IKovaApi,
                          private Broker::Owner,
                          public std::enable_shared_from_this<ClientState> {
public:
    /// Starts the threads. `stop` must follow. Throws `std::system_error`.
    static std::shared_ptr<ClientState> start(const Urls& urls, const ClientSettings& settings);

    /// Sends a request to the target of the settings.
    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override;
    void cancelRequest(void* handle) override;
    /// Sends a request to a target. Returns what `actionRequest` returns.
    void* send(std::shared_ptr<const Target> target, const Request& request,
               ClientStream::ResponseHandler handler);
    /// Searches for the instances of a target: each that answers is a value with its name in the
    /// header. Ends with an error, or when it is cancelled. Returns the handle.
    void* search(std::shared_ptr<const Target> target, ClientStream::ResponseHandler handler);
    /// Returns the time since the latest message of a request; nothing if it has not been sent, or
    /// has ended. Called on the thread of the loop.
    std::optional<std::chrono::milliseconds> silenceOf(void* handle) const;
    /// The loop on whose thread response handlers are called.
    const std::shared_ptr<wire::EventLoop>& loop() const noexcept { return loop_; }
    /// Cancels all requests without an end, closes the connection and ends the thread. Waits for
    /// the thread, unless it is inside a response handler that waits for the caller. Called once;
    /// no other function may be called afterwards.
    void stop();

private:
    using Clock = wire::EventLoop::Clock;
    using Stream = OpenStreams::Stream;
    // An order of another thread: send the request of `stream`, or, if that is null, cancel one.
    struct Order {
        std::uint64_t handle;
        Stream stream;
    };

    ClientState(const Urls& urls, const ClientSettings& settings);
    std::uint64_t add(std::uint64_t handle, Stream stream);
    std::uint64_t nextNumber();
    void processOrders();
    void begin(Stream stream);
    void cancel(std::uint64_t handle);
    void close();

    void send(ClientStream& stream);
    void sendWaiting();
    static void tell(ClientStream& stream, FrameKind kind, std::uint64_t number);
    void cancelAt(const std::string& control);
    void answer(ClientStream& stream, natsMsg& message);
    void meetServer(ClientStream& stream, natsMsg& message);
    void finish(ClientStream& stream);
    void onNobody(ClientStream& stream);
    static void failAll(const std::vector<Stream>& ended, const kit::Error& error);

    void lose(Stream stream, const std::string& reason);
    void loseAll(std::vector<Stream> lost, const std::string& reason);
    void repeat(Stream stream);
    void sendDelayed();
    void armPatience();
    void expire();
    void armCheck();
    void check();

    void onReady() override;
    void onMessage(int channel, natsMsg& message) override;
    void onDrained(int /*channel*/) override {}
    void onRefused(const kit::Error& error) override;
    void onLost(const kit::Error& error) override;

    const ClientSettings settings_;
    const std::string inbox_;  ///< the beginning of the subjects of answers
    const std::shared_ptr<wire::EventLoop> loop_;
    std::shared_ptr<Heartbeats> heartbeats_;

    std::mutex mutex_;
    std::vector<Order> orders_;
    std::uint64_t lastNumber_ = 0;  ///< of a request

    // Used only by the thread of the loop:
    OpenStreams streams_;
    std::optional<kit::Error> denied_;  ///< why the broker does not serve this client
    std::string reason_ = "not connected yet";
    std::optional<wire::EventLoop::TimerId> patience_;
    std::optional<wire::EventLoop::TimerId> check_;
    std::optional<wire::EventLoop::TimerId> repetition_;
    Backoff backoff_;  ///< of the requests that are sent again
    Broker broker_;

    std::promise<void> closed_;
};

}  // namespace kova::nats::detail
