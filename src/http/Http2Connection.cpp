#include "Http2Connection.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <new>
#include <utility>

namespace kova::http::detail {

namespace {

constexpr std::size_t GATHERED = std::size_t{64} * 1024;
// The most reads in one turn, so that a connection that always has bytes does not delay others.
constexpr int READS_OF_A_TURN = 4;

}  // namespace

Http2Connection::Http2Connection(wire::EventLoop& loop, wire::FileDescriptor socket) noexcept
    : loop_(loop), socket_(std::move(socket)) {}

Http2Connection::~Http2Connection() {
    if (isOpen_ && session_) {
        loop_.remove(socket_.get());
    }
}

void Http2Connection::start(nghttp2_session* session) {
    session_.reset(session);
    if (!loop_.add(socket_.get(), EPOLLIN | EPOLLRDHUP,
                   [this](std::uint32_t events) { onReady(events); })) {
        close();
        return;
    }
    flush();
}

void Http2Connection::close() noexcept {
    if (!isOpen_) {
        return;
    }
    isOpen_ = false;
    loop_.remove(socket_.get());
    socket_.reset();
    onClosed();
}

void Http2Connection::onReady(std::uint32_t events) {
    if ((events & ~static_cast<std::uint32_t>(EPOLLOUT)) != 0 && !read()) {
        close();
        return;
    }
    flush();
}

// Returns false if the connection has ended.
bool Http2Connection::read() {
    std::array<std::uint8_t, GATHERED> bytes;
    for (int turn = 0; turn < READS_OF_A_TURN; ++turn) {
        const ssize_t count = ::recv(socket_.get(), bytes.data(), bytes.size(), 0);
        if (count < 0) {
            return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
        }
        const auto size = static_cast<std::size_t>(count);
        if (size == 0 || nghttp2_session_mem_recv(session(), bytes.data(), size) < 0) {
            return false;
        }
        if (size < bytes.size()) {
            return true;
        }
    }
    return true;
}

void Http2Connection::receive(const std::uint8_t* bytes, std::size_t size) {
    if (nghttp2_session_mem_recv(session(), bytes, size) < 0) {
        close();
        return;
    }
    flush();
}

void Http2Connection::flush() {
    if (!isOpen_) {
        return;
    }
    const Sent sent = isBroken_ ? Sent::broken : send();
    if (sent == Sent::broken) {
        read();  // the peer may have sent the reason before it closed
    }
    if (sent == Sent::asFarAsPossible) {
        watchForWriting(sent_ < output_.size());
    } else {
        close();
    }
}

bool Http2Connection::trySend() {
    if (!isOpen_ || isBroken_) {
        return false;
    }
    const Sent sent = send();
    isBroken_ = sent == Sent::broken;
    if (sent != Sent::asFarAsPossible) {
        return false;
    }
    watchForWriting(sent_ < output_.size());
    return true;
}

// Sends until the session has nothing to send, or the socket accepts no more.
Http2Connection::Sent Http2Connection::send() {
    bool isSent = sent_ == output_.size() || write();
    while (isSent && sent_ == output_.size()) {
        if (!gather()) {
            return Sent::broken;
        }
        if (output_.empty()) {
            break;
        }
        isSent = write();
    }
    if (!isSent) {
        return Sent::broken;
    }
    const bool isOver = sent_ == output_.size() && nghttp2_session_want_read(session()) == 0 &&
                        nghttp2_session_want_write(session()) == 0;
    return isOver ? Sent::over : Sent::asFarAsPossible;
}

// Moves bytes from the session to `output_`. Returns false if the session has failed, or if there
// is no memory for bytes that the session has already handed over.
bool Http2Connection::gather() {
    output_.clear();
    sent_ = 0;
    while (output_.size() < GATHERED) {
        const std::uint8_t* bytes = nullptr;
        const ssize_t count = nghttp2_session_mem_send(session(), &bytes);
        if (count <= 0) {
            return count == 0;
        }
        try {
            output_.append(reinterpret_cast<char const*>(bytes), static_cast<std::size_t>(count));
        } catch (const std::bad_alloc&) {
            return false;
        }
    }
    return true;
}

// Returns false if the connection is broken.
bool Http2Connection::write() {
    while (sent_ < output_.size()) {
        const ssize_t count =
            ::send(socket_.get(), output_.data() + sent_, output_.size() - sent_, MSG_NOSIGNAL);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno == EAGAIN || errno == EWOULDBLOCK;
        }
        sent_ += static_cast<std::size_t>(count);
    }
    return true;
}

void Http2Connection::watchForWriting(bool isOn) noexcept {
    if (isOn != isWatchedForWriting_) {
        isWatchedForWriting_ = isOn;
        loop_.change(socket_.get(), EPOLLIN | EPOLLRDHUP | (isOn ? EPOLLOUT : 0U));
    }
}

}  // namespace kova::http::detail
