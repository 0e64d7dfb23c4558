#include "server/Acceptor.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

namespace kova::http::detail {

namespace {

// The connections that are accepted in one turn, so that others of the loop are not kept waiting.
constexpr int ACCEPTED_IN_A_TURN = 32;
constexpr std::chrono::milliseconds RETRY_DELAY(100);

// Returns whether the error concerns one connection that is gone, and not the listening socket.
bool isOfOneConnection(int error) noexcept {
    return error == EINTR || error == ECONNABORTED || error == EPROTO || error == EPERM;
}

}  // namespace

Acceptor::Acceptor(EventLoop& loop, int listener, std::size_t limit, Count count,
                   OnAccepted onAccepted)
    : loop_(loop),
      listener_(listener),
      limit_(limit),
      count_(std::move(count)),
      onAccepted_(std::move(onAccepted)) {
    resume();
}

Acceptor::~Acceptor() {
    pause();
    if (retry_) {
        loop_.cancel(*retry_);
    }
}

void Acceptor::resume() {
    if (isWatching_ || retry_ || count_() >= limit_) {
        return;
    }
    isWatching_ = loop_.add(listener_, EPOLLIN, [this](std::uint32_t) { accept(); });
    if (!isWatching_) {
        retryLater();
    }
}

void Acceptor::pause() noexcept {
    if (isWatching_) {
        loop_.remove(listener_);
        isWatching_ = false;
    }
}

void Acceptor::retryLater() {
    pause();
    retry_ = loop_.after(RETRY_DELAY, [this] {
        retry_.reset();
        resume();
    });
}

void Acceptor::accept() {
    for (int turn = 0; turn < ACCEPTED_IN_A_TURN; ++turn) {
        if (count_() >= limit_) {
            pause();
            return;
        }
        FileDescriptor socket(::accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
        if (!socket) {
            if (isOfOneConnection(errno)) {
                continue;
            }
            if (errno != EAGAIN && errno != EWOULDBLOCK) {
                retryLater();
            }
            return;
        }
        const int on = 1;
        ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);  // fails for Unix
        onAccepted_(std::move(socket));
    }
}

}  // namespace kova::http::detail
