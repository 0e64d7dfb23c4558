#include "server/Acceptor.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <cerrno>
#include <new>
#include <system_error>
#include <utility>

#include "wire/OutOfMemory.h"

namespace kova::http::detail {

namespace {

// The most connections that are accepted in one turn, so that other descriptors do not wait.
constexpr int ACCEPTED_IN_A_TURN = 32;
constexpr std::chrono::milliseconds RETRY_DELAY(100);

// Returns whether the error concerns one connection that is gone, and not the listening socket.
bool isOfOneConnection(int error) noexcept {
    return error == EINTR || error == ECONNABORTED || error == EPROTO || error == EPERM;
}

}  // namespace

Acceptor::Acceptor(wire::EventLoop& loop, int listener, std::size_t limit, Count count,
                   OnAccepted onAccepted)
    : loop_(loop),
      listener_(listener),
      limit_(limit),
      count_(std::move(count)),
      onAccepted_(std::move(onAccepted)) {
    if (!loop_.add(listener_, EPOLLIN, [this](std::uint32_t) { accept(); })) {
        throw std::system_error(errno, std::generic_category(), "epoll_ctl");
    }
}

Acceptor::~Acceptor() {
    loop_.remove(listener_);
    if (retry_) {
        loop_.cancel(*retry_);
    }
}

void Acceptor::resume() noexcept {
    if (isWatching_ || retry_ || count_() >= limit_) {
        return;
    }
    loop_.change(listener_, EPOLLIN);
    isWatching_ = true;
}

// The socket stays in the loop, so that `resume` needs neither memory nor a descriptor.
void Acceptor::pause() noexcept {
    loop_.change(listener_, 0);
    isWatching_ = false;
}

// Without memory for the timer, the next event of the socket tries again.
void Acceptor::retryLater() noexcept {
    try {
        retry_ = loop_.after(RETRY_DELAY, [this] {
            retry_.reset();
            resume();
        });
        pause();
    } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch)
    }
}

void Acceptor::accept() {
    for (int turn = 0; turn < ACCEPTED_IN_A_TURN; ++turn) {
        if (count_() >= limit_) {
            pause();
            return;
        }
        if (!acceptOne()) {
            return;
        }
    }
}

// Returns whether there may be more connections to accept.
bool Acceptor::acceptOne() {
    wire::FileDescriptor socket(
        ::accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!socket) {
        if (isOfOneConnection(errno)) {
            return true;
        }
        if (errno != EAGAIN && errno != EWOULDBLOCK) {
            retryLater();
        }
        return false;
    }
    const int on = 1;
    ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);  // fails for Unix
    try {
        onAccepted_(std::move(socket));
        return true;
    } catch (const std::bad_alloc&) {
        wire::reportOutOfMemory("a connection is closed: no memory to accept it");
        retryLater();
        return false;
    }
}

}  // namespace kova::http::detail
