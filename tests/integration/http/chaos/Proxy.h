#pragma once

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>

#include "UnixSocket.h"
#include "support/Http2Peer.h"
#include "wire/FileDescriptor.h"

namespace kova::http::test {

/// A bad network between a client and a server. It forwards one connection. After a given number of
/// bytes (the sum of both directions), it fails in the way that `Then` selects.
class Proxy {
public:
    enum class Then {
        goOn,             ///< forwards everything, and a connection that is closed
        trickle,          ///< forwards byte for byte
        close,            ///< closes both ends
        halfCloseServer,  ///< tells the server that the client sends no more
        halfCloseClient,  ///< tells the client that the server sends no more
        blackHole         ///< keeps both ends open, and reads and writes nothing
    };

    Proxy(std::string serverPath, Then then, std::size_t bytes)
        : serverPath_(std::move(serverPath)), then_(then), left_(bytes) {
        listener_.listen();
        thread_ = std::thread([this] { run(); });
    }
    ~Proxy() { stop(); }
    Proxy(const Proxy&) = delete;
    Proxy& operator=(const Proxy&) = delete;

    std::string address() const { return listener_.address(); }
    /// Closes the connection. A client must have connected.
    void stop() {
        if (thread_.joinable()) {
            const std::uint64_t one = 1;
            [[maybe_unused]] const auto size = ::write(stop_.get(), &one, sizeof one);
            thread_.join();
        }
    }
    /// @{
    /// The bytes that have arrived. Call `stop` before.
    const std::string& fromClient() const noexcept { return received_[0]; }
    const std::string& fromServer() const noexcept { return received_[1]; }
    /// @}

private:
    void run() {
        ends_[0] = wire::FileDescriptor(listener_.accept());
        listener_.close();
        ends_[1] = detail::connectToPath(serverPath_);
        while (forward()) {
        }
        ends_ = {};
    }
    // Returns false when the connection is over.
    bool forward() {
        std::array<pollfd, 3> polled{pollfd{stop_.get(), POLLIN, 0}, pollOf(0), pollOf(1)};
        ::poll(polled.data(), polled.size(), -1);
        if (polled[0].revents != 0) {
            return false;
        }
        for (std::size_t from = 0; from < ends_.size(); ++from) {
            if (polled[from + 1].revents != 0 && !forward(from)) {
                return false;
            }
        }
        return true;
    }
    pollfd pollOf(std::size_t end) const {
        return {isBlackHole() ? -1 : ends_[end].get(), POLLIN, 0};
    }
    bool isBlackHole() const { return then_ == Then::blackHole && left_ == 0; }
    bool forward(std::size_t from) {
        std::array<char, 4096> bytes{};
        const std::size_t most = then_ == Then::trickle || then_ == Then::goOn || left_ == 0
                                     ? bytes.size()
                                     : std::min(bytes.size(), left_);
        const ssize_t count = ::recv(ends_[from].get(), bytes.data(), most, 0);
        if (count < 0 && errno == EAGAIN) {
            return true;
        }
        if (count <= 0) {
            return false;
        }
        const auto size = static_cast<std::size_t>(count);
        received_[from].append(bytes.data(), size);
        if (!send(1 - from, bytes.data(), size)) {
            return false;
        }
        if (then_ == Then::goOn || then_ == Then::trickle || left_ == 0) {
            return true;
        }
        left_ -= size;
        return left_ != 0 || act();
    }
    bool send(std::size_t end, char const* bytes, std::size_t size) {
        const std::size_t most = then_ == Then::trickle ? 1 : size;
        while (size != 0) {
            const ssize_t count =
                ::send(ends_[end].get(), bytes, std::min(most, size), MSG_NOSIGNAL);
            if (count < 0 && errno == EAGAIN) {
                pollfd writable{ends_[end].get(), POLLOUT, 0};
                ::poll(&writable, 1, -1);
                continue;
            }
            if (count < 0) {
                return false;
            }
            bytes += count;
            size -= static_cast<std::size_t>(count);
        }
        return true;
    }
    // Fails in the way that `then_` selects. Returns false if the connection is over.
    bool act() {
        switch (then_) {
            case Then::close:
                return false;
            case Then::halfCloseServer:
                ::shutdown(ends_[1].get(), SHUT_WR);
                return true;
            case Then::halfCloseClient:
                ::shutdown(ends_[0].get(), SHUT_WR);
                return true;
            default:
                return true;
        }
    }

    const std::string serverPath_;
    const Then then_;
    std::size_t left_;
    kova::test::UnixListener listener_;
    wire::FileDescriptor stop_{::eventfd(0, EFD_CLOEXEC)};
    std::array<wire::FileDescriptor, 2> ends_;  ///< the sockets to the client and to the server
    std::array<std::string, 2> received_;
    std::thread thread_;
};

}  // namespace kova::http::test
