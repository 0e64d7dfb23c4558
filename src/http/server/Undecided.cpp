#include "server/Undecided.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

namespace kova::http::detail {

namespace {

constexpr std::string_view PREFACE = "PRI";

}  // namespace

Undecided::Undecided(wire::EventLoop& loop, wire::FileDescriptor socket, kit::Peer peer) noexcept
    : loop_(loop), socket_(std::move(socket)), peer_(std::move(peer)) {}

Undecided::~Undecided() {
    if (isStarted_) {
        loop_.cancel(timer_);
        loop_.remove(socket_.get());
    }
}

// Edge-triggered: peeked bytes stay in the socket, and would otherwise be reported for ever.
void Undecided::start(std::chrono::milliseconds limit, OnDecided onDecided) {
    onDecided_ = std::move(onDecided);
    timer_ = loop_.after(limit, [this] { decide(Protocol::none); });
    isStarted_ = true;
    const bool isWatched = loop_.add(socket_.get(), EPOLLIN | EPOLLRDHUP | EPOLLET,
                                     [this](std::uint32_t events) { peek(events); });
    if (!isWatched) {
        decide(Protocol::none);
    }
}

void Undecided::peek(std::uint32_t events) {
    std::array<char, PREFACE.size()> bytes{};
    const ssize_t count = ::recv(socket_.get(), bytes.data(), bytes.size(), MSG_PEEK);
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) {
        return;
    }
    const std::string_view seen(bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    if (seen != PREFACE.substr(0, seen.size())) {
        decide(Protocol::foreign);
    } else if (seen.size() == PREFACE.size()) {
        decide(Protocol::http2);
    } else if (count <= 0 || (events & (EPOLLRDHUP | EPOLLHUP | EPOLLERR)) != 0) {
        decide(Protocol::none);
    }
}

void Undecided::decide(Protocol protocol) {
    loop_.cancel(timer_);
    loop_.remove(socket_.get());
    isStarted_ = false;
    const OnDecided onDecided = std::move(onDecided_);  // outlives the object
    onDecided(protocol);
}

}  // namespace kova::http::detail
