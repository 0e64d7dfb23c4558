#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <string>
#include <string_view>

namespace kova::kit::detail {

/// The socket of a service manager, to which a process sends datagrams (sd_notify(3)).
///
/// Any thread may call any function.
class NotifySocket {
public:
    /// Prepares sending to the socket `name`: a path, or an abstract socket if the name begins with
    /// "@". If the name has another form or is too long, no message is sent.
    explicit NotifySocket(std::string_view name) noexcept;
    ~NotifySocket();
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;

    /// Returns whether there is a socket to which messages can be sent.
    bool isOpen() const noexcept { return descriptor_ >= 0; }
    /// Sends a message. Returns whether it was sent.
    bool send(std::string_view message) const noexcept;

private:
    sockaddr_un address_{};
    socklen_t size_ = 0;
    int descriptor_ = -1;
};

}  // namespace kova::kit::detail
