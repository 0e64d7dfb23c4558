#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Http2Connection.h"
#include "client/ClientSettings.h"
#include "client/ClientStream.h"
#include "wire/EventLoop.h"
#include "wire/FileDescriptor.h"

namespace kova::http::detail {

/// The client's end of an HTTP/2 connection: sends requests, passes their answers on to the
/// streams, and notices when the server is gone.
///
/// All functions belong to the thread of the loop. Response handlers are called inside `receive`,
/// before the server may send more of the stream. They may not call a function of the object.
class ClientConnection final : public Http2Connection {
public:
    /// Owns connections and streams. Called inside `receive`, `flush` and `close`, never while a
    /// response handler is called.
    class Owner {
    public:
        /// The connection does not use the stream any more. Its request has ended.
        virtual void onStreamClosed(ClientStream& stream) = 0;
        /// The stream was reset by a server that accepts no requests on this connection any more.
        /// The owner must send its request again (`ClientStream::isRepeatable`).
        virtual void onStreamLost(ClientStream& stream) = 0;
        /// `isUsable` or `hasCapacity` may have changed. May submit requests.
        virtual void onChange() = 0;
        /// The connection is closed. The owner must end its streams or send their requests again.
        virtual void onConnectionClosed(ClientConnection& connection,
                                        const std::string& reason) = 0;

    protected:
        ~Owner() = default;
    };

    ClientConnection(wire::EventLoop& loop, wire::FileDescriptor socket,
                     const ClientSettings& settings, Owner& owner);
    ~ClientConnection() override;

    /// Begins the protocol. Must be the first call.
    void start();
    /// Returns whether the connection accepts requests. Once it does not, it never does again.
    bool isUsable() const noexcept;
    /// Returns whether the server accepts one more stream now.
    bool hasCapacity() const noexcept;
    /// Sends a request with the next `flush`. The stream must exist until `onStreamClosed` or
    /// `onConnectionClosed`. Returns false if memory is exhausted; the stream is then not used.
    bool submit(ClientStream& stream);
    /// Asks the server with the next `flush` to stop the answer of a stream.
    void reset(ClientStream& stream, std::uint32_t code = NGHTTP2_CANCEL) noexcept;
    /// Forgets a stream that was submitted, while `hasSentNothing` is true.
    void withdraw(ClientStream& stream) noexcept;
    /// Closes the connection with a `flush`, when its last stream is closed.
    void retire() noexcept;
    /// Returns whether the server has sent something.
    bool hasReceived() const noexcept { return hasReceived_; }

private:
    struct Callbacks;

    void onClosed() noexcept override;
    void onFrame(const nghttp2_frame& frame);
    void onStreamFrame(const nghttp2_frame& frame);
    void onData(std::int32_t number, const std::uint8_t* bytes, std::size_t size);
    void onStreamClosed(std::int32_t number, std::uint32_t code);
    void received() noexcept;
    ClientStream* find(std::int32_t number) const noexcept;
    bool isIdle() const noexcept { return open_ == 0; }

    void watch(wire::EventLoop::Clock::duration time);
    void check();
    void checkPing(wire::EventLoop::Clock::duration age);
    bool hasUnreadBytes() const noexcept;
    void lose(std::string reason) noexcept;

    const ClientSettings& settings_;
    Owner& owner_;
    std::size_t open_ = 0;  ///< streams that are submitted and not closed
    bool isRetired_ = false;
    bool isTerminated_ = false;
    bool hasReceived_ = false;
    bool hasSettings_ = false;  ///< the server's SETTINGS have arrived
    std::string reason_ = "the connection was closed";

    std::optional<wire::EventLoop::TimerId> timer_;  ///< of the next `check`
    wire::EventLoop::Clock::time_point quietSince_;
    wire::EventLoop::Clock::time_point pingedAt_;
    bool isPinged_ = false;  ///< a PING was sent, and no bytes have arrived since
};

}  // namespace kova::http::detail
