#pragma once

#include <chrono>
#include <functional>
#include <utility>

#include "kova/kit/Peer.h"
#include "wire/EventLoop.h"
#include "wire/FileDescriptor.h"

namespace kova::http::detail {

/// An accepted connection whose protocol is not known yet. It peeks at the first three bytes: "PRI"
/// begins the preface of HTTP/2 (RFC 9113, section 3.4), anything else is a foreign protocol.
///
/// All functions belong to the thread of the loop.
class Undecided {
public:
    enum class Protocol { http2, foreign, none };
    /// Gets the decision; `none` if the client sent too little within the limit, or has left. The
    /// object may be destroyed in it.
    using OnDecided = std::function<void(Protocol)>;

    Undecided(wire::EventLoop& loop, wire::FileDescriptor socket, kit::Peer peer) noexcept;
    ~Undecided();
    Undecided(const Undecided&) = delete;
    Undecided& operator=(const Undecided&) = delete;

    /// Watches the socket. May decide before it returns. Throws `std::bad_alloc`; the object must
    /// then be destroyed.
    void start(std::chrono::milliseconds limit, OnDecided onDecided);
    /// Releases the socket. All its bytes are still unread.
    wire::FileDescriptor takeSocket() noexcept { return std::move(socket_); }
    const kit::Peer& peer() const noexcept { return peer_; }

private:
    void peek(std::uint32_t events);
    void decide(Protocol protocol);

    wire::EventLoop& loop_;
    wire::FileDescriptor socket_;
    const kit::Peer peer_;
    OnDecided onDecided_;
    wire::EventLoop::TimerId timer_;
    bool isStarted_ = false;
};

}  // namespace kova::http::detail
