#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <string>

namespace kova::test {

/// A datagram socket that stands in for a service manager. Its name has the form of NOTIFY_SOCKET:
/// a path, or a name after "@".
class NotifyReceiver {
public:
    explicit NotifyReceiver(const std::string& name)
        : name_(name), descriptor_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, name.data(), name.size());
        if (name[0] == '@') {
            address.sun_path[0] = '\0';
        } else {
            ::unlink(name.c_str());
        }
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size() +
                                                 (name[0] == '@' ? 0 : 1));
        EXPECT_EQ(::bind(descriptor_, reinterpret_cast<sockaddr*>(&address), size), 0) << name;
    }
    ~NotifyReceiver() {
        ::close(descriptor_);
        if (name_[0] != '@') {
            ::unlink(name_.c_str());
        }
    }
    NotifyReceiver(const NotifyReceiver&) = delete;
    NotifyReceiver& operator=(const NotifyReceiver&) = delete;

    /// Waits for the next message.
    std::string receive() { return read(0); }
    /// Returns the next message, or "" if no message has arrived.
    std::string poll() { return read(MSG_DONTWAIT); }
    const std::string& name() const noexcept { return name_; }

private:
    std::string read(int flags) {
        std::array<char, 512> message{};
        const ssize_t size = ::recv(descriptor_, message.data(), message.size(), flags);
        return size < 0 ? std::string()
                        : std::string(message.data(), static_cast<std::size_t>(size));
    }

    std::string name_;
    int descriptor_;
};

/// Returns the name of an abstract socket that only this process uses.
inline std::string abstractSocket(char const* purpose) {
    return "@kova-test-" + std::to_string(::getpid()) + '-' + purpose;
}

}  // namespace kova::test
