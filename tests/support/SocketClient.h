#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "kova/http/Address.h"

namespace kova::test {

/// A connected socket, for tests that send arbitrary bytes.
class SocketClient {
public:
    static constexpr std::chrono::milliseconds PATIENCE{20000};

    /// Throws `std::runtime_error` if nothing listens at the address.
    explicit SocketClient(const std::string& text) {
        const kit::Result<http::Address> address = http::Address::parse(text);
        const int family = address->isUnix() ? AF_UNIX : AF_INET;
        descriptor_ = ::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
        int result = -1;
        if (address->isUnix()) {
            sockaddr_un name{};
            name.sun_family = AF_UNIX;
            std::memcpy(name.sun_path, address->path.data(), address->path.size());
            result = ::connect(descriptor_, reinterpret_cast<sockaddr*>(&name), sizeof name);
        } else {
            sockaddr_in name{};
            name.sin_family = AF_INET;
            name.sin_port = htons(address->port);
            inet_pton(AF_INET, address->host.c_str(), &name.sin_addr);
            result = ::connect(descriptor_, reinterpret_cast<sockaddr*>(&name), sizeof name);
        }
        if (result != 0) {
            const std::string reason = std::strerror(errno);
            close();
            throw std::runtime_error("connect to " + text + ": " + reason);
        }
    }
    /// Takes ownership of a connected socket.
    explicit SocketClient(int descriptor) : descriptor_(descriptor) {}
    ~SocketClient() { close(); }
    SocketClient(const SocketClient&) = delete;
    SocketClient& operator=(const SocketClient&) = delete;

    int descriptor() const noexcept { return descriptor_; }
    void close() noexcept {
        if (descriptor_ >= 0) {
            ::close(std::exchange(descriptor_, -1));
        }
    }
    /// Closes the sending direction; the server can still answer.
    void halfClose() noexcept { ::shutdown(descriptor_, SHUT_WR); }

    /// Sends all bytes. Returns false if the connection is closed.
    bool send(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t count = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count <= 0) {
                return false;
            }
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
        return true;
    }
    /// Sends the bytes of a number, the most significant first.
    static std::string bytesOf(std::uint32_t number, int count) {
        std::string bytes;
        for (int i = count - 1; i >= 0; --i) {
            bytes += static_cast<char>(number >> (8 * i));
        }
        return bytes;
    }
    /// Waits for bytes and returns them; "" if the connection is closed or the time is over.
    std::string receive(std::chrono::milliseconds patience = PATIENCE) {
        pollfd poll{descriptor_, POLLIN, 0};
        if (::poll(&poll, 1, static_cast<int>(patience.count())) <= 0) {
            return {};
        }
        std::array<char, 65536> bytes;
        const ssize_t count = ::recv(descriptor_, bytes.data(), bytes.size(), 0);
        return count > 0 ? std::string(bytes.data(), static_cast<std::size_t>(count))
                         : std::string();
    }
    /// Returns all bytes until the connection is closed.
    std::string receiveAll() {
        std::string all;
        for (std::string bytes = receive(); !bytes.empty(); bytes = receive()) {
            all += bytes;
        }
        return all;
    }
    /// Returns whether the server closes the connection in time.
    bool isClosedByPeer(std::chrono::milliseconds patience = PATIENCE) {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (!receive(patience).empty()) {
        }
        return std::chrono::steady_clock::now() < deadline;
    }

private:
    int descriptor_ = -1;
};

}  // namespace kova::test
