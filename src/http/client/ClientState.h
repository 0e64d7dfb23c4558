#pragma once

#include <cstdint>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "client/ClientConnection.h"
#include "client/ClientSettings.h"
#include "client/ClientStream.h"
#include "client/Dialer.h"
#include "kova/core/IKovaApi.h"
#include "kova/http/Address.h"
#include "wire/EventLoop.h"
#include "wire/FileDescriptor.h"

namespace kova::http::detail {

/// The requests of one client, its connections, and the thread that serves them.
///
/// Any thread may call `actionRequest` and `cancelRequest`; they add to a queue, which the thread
/// of the loop empties. All other functions belong to the thread of the loop. Response handlers are
/// called there, and no lock is held. `kit::Calls` in front of the object silences a cancelled
/// request at once.
///
/// The thread of the loop rests while no request is open. The thread that sends the first request
/// then borrows the loop, and writes the request itself. If the thread waits for the answer, it
/// also reads the answer, as long as no other request is sent (`kit::CallerDriven`).
///
/// There is at most one connection for new requests. It is connected when a request waits for it.
/// A connection that the server is ending stays until its last stream is closed. A request whose
/// connection is lost waits for the next connection if it may be sent again
/// (`ClientStream::isRepeatable`); otherwise it ends.
class ClientState final : public IKovaApi,
                          private ClientConnection::Owner,
                          public std::enable_shared_from_this<ClientState> {
public:
    /// Starts the thread. `stop` must follow. Throws `std::system_error`.
    static std::shared_ptr<ClientState> start(const Address& address,
                                              const ClientSettings& settings);

    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override;
    void cancelRequest(void* handle) override;
    /// Destroys all requests without an end, closes the connections and ends the thread. Waits for
    /// the thread, unless it is inside a response handler that waits for the caller. Called once;
    /// no other function may be called afterwards.
    void stop();

    /// @{
    /// The functions of `kit::CallerDriven`.
    bool beginDriving() noexcept;
    bool drive(wire::EventLoop::Clock::time_point due);
    void endDriving() noexcept;
    void interruptDriving() noexcept;
    /// @}

private:
    using Clock = wire::EventLoop::Clock;
    using Stream = std::unique_ptr<ClientStream>;
    // An order of another thread: send the request of `stream`, or, if that is null, cancel one.
    struct Order {
        std::uint64_t handle;
        Stream stream;
    };

    ClientState(const Address& address, const ClientSettings& settings);
    bool isDriven() const noexcept { return loop_->isLoopThread() && isDriven_; }
    void* send(Stream stream);
    bool trySend();
    void sendAgain(ClientStream& stream);
    std::uint64_t add(std::uint64_t handle, Stream stream);
    void processOrders();
    void takeOrders();
    void begin(Stream stream);
    void cancel(std::uint64_t handle);
    void close();

    void sendWaiting();
    void sendFirst();
    void awaitConnection();
    void leaveConnection();
    void onConnected(wire::FileDescriptor socket);
    bool repeat(std::vector<Stream>& lost);
    Clock::time_point deadlineOf(const ClientStream& stream) const;
    void armPatience();
    void disarmPatience() noexcept;
    void expire();
    void flush();
    std::vector<Stream> takeStreamsOf(const ClientConnection& connection);

    void onStreamClosed(ClientStream& stream) override;
    void onStreamLost(ClientStream& stream) override;
    void onChange() override;
    void onConnectionClosed(ClientConnection& connection, const std::string& reason) override;

    const ClientSettings settings_;
    const std::string address_;
    const bool isLocal_;  ///< whether the address is a Unix socket
    const std::shared_ptr<wire::EventLoop> loop_;

    std::mutex mutex_;
    std::vector<Order> orders_;
    std::uint64_t lastHandle_ = 0;

    // Used only by the thread of the loop:
    std::unordered_map<std::uint64_t, Stream> streams_;
    std::map<std::uint64_t, ClientStream*> waiting_;  ///< the streams that are not sent yet
    bool hasLostUnanswered_ = false;  ///< a stream without a value is to be sent again
    std::vector<std::unique_ptr<ClientConnection>> connections_;
    ClientConnection* current_ = nullptr;  ///< the connection for new requests
    Clock::time_point disconnectedSince_;  ///< when the latest connection was lost
    std::optional<wire::EventLoop::TimerId> patience_;
    Dialer dialer_;
    bool isDriven_ = false;  ///< a thread has borrowed the loop, and is not inside `drive`

    std::promise<void> closed_;
};

}  // namespace kova::http::detail
