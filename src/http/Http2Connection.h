#pragma once

#include <nghttp2/nghttp2.h>

#include <cstdint>
#include <memory>
#include <string>

#include "wire/EventLoop.h"
#include "wire/FileDescriptor.h"

namespace kova::http::detail {

/// The socket and the session of one HTTP/2 connection (RFC 9113), of a client or a server.
///
/// A derived class creates the session with its callbacks, and submits requests or responses. All
/// functions belong to the thread of the loop. nghttp2 calls the callbacks inside `receive` and
/// `flush`; a callback must not call either, nor destroy the object. What a callback submits is
/// sent when `receive` or `flush` goes on.
class Http2Connection {
public:
    /// The socket must be non-blocking.
    Http2Connection(wire::EventLoop& loop, wire::FileDescriptor socket) noexcept;
    virtual ~Http2Connection();
    Http2Connection(const Http2Connection&) = delete;
    Http2Connection& operator=(const Http2Connection&) = delete;

    /// Watches the socket, and sends what the session has to send. Takes ownership of the session.
    void start(nghttp2_session* session);
    /// Sends what the session has to send, as far as the socket accepts it; the rest follows when
    /// the socket accepts more. Closes the connection if it is broken, if the session has ended, or
    /// if there is no memory.
    void flush();
    /// Sends as `flush` does, but never closes the connection. Returns false if the caller must
    /// call `flush`, which then closes it. Calls no function of the derived class but callbacks for
    /// sending.
    bool trySend();
    /// Returns whether the latest `flush` or `trySend` had bytes to send and has sent none of them.
    /// These bytes may belong to requests that were submitted earlier.
    bool hasSentNothing() const noexcept { return sent_ == 0 && !output_.empty(); }
    /// Processes bytes that were received already.
    void receive(const std::uint8_t* bytes, std::size_t size);
    /// Closes the socket. Calls `onClosed` if the connection is open.
    void close() noexcept;
    bool isOpen() const noexcept { return isOpen_; }

protected:
    struct DeleteSession {
        void operator()(nghttp2_session* session) const noexcept { nghttp2_session_del(session); }
    };

    /// Called once, as the last call, when the connection is closed. May destroy the object.
    /// `session` may still be read.
    virtual void onClosed() noexcept = 0;
    nghttp2_session* session() const noexcept { return session_.get(); }
    wire::EventLoop& loop() const noexcept { return loop_; }
    int socket() const noexcept { return socket_.get(); }

private:
    void onReady(std::uint32_t events);
    bool read();
    enum class Sent : std::uint8_t { asFarAsPossible, broken, over };
    Sent send();
    bool gather();
    bool write();
    void watchForWriting(bool isOn) noexcept;

    wire::EventLoop& loop_;
    wire::FileDescriptor socket_;
    std::unique_ptr<nghttp2_session, DeleteSession> session_;
    std::string output_;    ///< the bytes from the session that the socket has not accepted
    std::size_t sent_ = 0;  ///< the bytes of `output_` that the socket has accepted
    bool isOpen_ = true;
    bool isBroken_ = false;  ///< bytes could not be sent, so nothing is sent any more
    bool isWatchedForWriting_ = false;
};

}  // namespace kova::http::detail
