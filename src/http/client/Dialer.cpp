#include "client/Dialer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <random>
#include <system_error>
#include <utility>

#include "UnixSocket.h"

namespace kova::http::detail {

namespace {

struct SocketAddress {
    sockaddr_storage bytes{};
    socklen_t size = 0;
};

template <typename T>
SocketAddress toStorage(const T& address) {
    SocketAddress result;
    std::memcpy(&result.bytes, &address, sizeof address);
    result.size = sizeof address;
    return result;
}

SocketAddress toSocketAddress(const Address& address) {
    if (address.isUnix()) {
        return toStorage(toUnixAddress(address.path));
    }
    sockaddr_in internet{};
    if (inet_pton(AF_INET, address.host.c_str(), &internet.sin_addr) == 1) {
        internet.sin_family = AF_INET;
        internet.sin_port = htons(address.port);
        return toStorage(internet);
    }
    sockaddr_in6 internet6{};
    inet_pton(AF_INET6, address.host.c_str(), &internet6.sin6_addr);
    internet6.sin6_family = AF_INET6;
    internet6.sin6_port = htons(address.port);
    return toStorage(internet6);
}

}  // namespace

Dialer::Dialer(wire::EventLoop& loop, const Address& address, OnConnected onConnected,
               bool onlyTrusted)
    : loop_(loop),
      address_(address),
      onConnected_(std::move(onConnected)),
      onlyTrusted_(onlyTrusted),
      random_(static_cast<unsigned>(wire::EventLoop::Clock::now().time_since_epoch().count())) {}

void Dialer::start() {
    if (!socket_ && !timer_) {
        retry();
    }
}

void Dialer::stop() noexcept {
    if (timer_) {
        loop_.cancel(*timer_);
        timer_.reset();
    }
    if (socket_) {
        loop_.remove(socket_.get());
        socket_.reset();
    }
    forgetDelay();
    reason_ = "no answer";
}

void Dialer::retry() {
    if (delay_.count() == 0) {
        attempt();
        return;
    }
    timer_ = loop_.after(jitter(), [this] {
        timer_.reset();
        attempt();
    });
}

std::chrono::milliseconds Dialer::jitter() {
    const auto most = delay_.count() / 2;
    return delay_ -
           std::chrono::milliseconds(std::uniform_int_distribution<std::int64_t>(0, most)(random_));
}

// A Unix socket answers at once; EAGAIN means that the queue of the server is full.
void Dialer::attempt() {
    delay_ = std::clamp(2 * delay_, FIRST_DELAY, LONGEST_DELAY);
    const SocketAddress target = toSocketAddress(address_);
    wire::FileDescriptor socket(
        ::socket(target.bytes.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!socket) {
        fail(errno);
        return;
    }
    if (::connect(socket.get(), reinterpret_cast<sockaddr const*>(&target.bytes), target.size) ==
        0) {
        connected(std::move(socket));
    } else if (errno == EINPROGRESS || errno == EINTR) {
        watch(std::move(socket));
    } else {
        fail(errno);
    }
}

void Dialer::watch(wire::FileDescriptor socket) {
    if (!loop_.add(socket.get(), EPOLLOUT, [this](std::uint32_t) { finish(); })) {
        fail(errno);
        return;
    }
    socket_ = std::move(socket);
}

void Dialer::finish() {
    wire::FileDescriptor socket = std::move(socket_);
    loop_.remove(socket.get());
    int error = 0;
    socklen_t size = sizeof error;
    if (::getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0) {
        error = errno;
    }
    if (error != 0) {
        fail(error);
    } else {
        connected(std::move(socket));
    }
}

void Dialer::connected(wire::FileDescriptor socket) {
    if (onlyTrusted_ && !isTrustedUser(userOfServer(socket.get()))) {
        fail(EPERM);
        return;
    }
    if (!address_.isUnix()) {
        const int on = 1;
        ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    onConnected_(std::move(socket));
}

void Dialer::fail(int error) {
    reason_ = std::generic_category().message(error);
    retry();
}

}  // namespace kova::http::detail
