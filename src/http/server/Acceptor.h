#pragma once

#include <cstddef>
#include <functional>
#include <optional>

#include "wire/EventLoop.h"
#include "wire/FileDescriptor.h"

namespace kova::http::detail {

/// Accepts the connections of a listening socket, on the thread of a loop.
///
/// It pauses while the owner has `limit` connections, and for a moment if the system has no more
/// descriptors or memory. The socket is not watched meanwhile, so that the loop does not spin.
class Acceptor {
public:
    /// Gets an accepted socket, which does not block. It must not destroy the acceptor.
    using OnAccepted = std::function<void(wire::FileDescriptor)>;
    using Count = std::function<std::size_t()>;

    /// `count` returns the number of open connections. Throws `std::system_error` if the loop
    /// cannot watch the socket.
    Acceptor(wire::EventLoop& loop, int listener, std::size_t limit, Count count,
             OnAccepted onAccepted);
    ~Acceptor();
    Acceptor(const Acceptor&) = delete;
    Acceptor& operator=(const Acceptor&) = delete;

    /// Accepts again after a pause. Call it when a connection is closed.
    void resume() noexcept;
    /// Returns whether the socket is not watched at present.
    bool isPaused() const noexcept { return !isWatching_; }

private:
    void accept();
    bool acceptOne();
    void pause() noexcept;
    void retryLater() noexcept;

    wire::EventLoop& loop_;
    const int listener_;
    const std::size_t limit_;
    const Count count_;
    const OnAccepted onAccepted_;
    bool isWatching_ = true;
    std::optional<wire::EventLoop::TimerId> retry_;
};

}  // namespace kova::http::detail
