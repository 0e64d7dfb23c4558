#include "inspection/NotifySocket.h"

#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

namespace kova::kit::detail {

namespace {

// The time limit of `send`: a service manager that does not read its socket must not block the
// service.
constexpr timeval LONGEST_WAIT{1, 0};

}  // namespace

NotifySocket::NotifySocket(std::string_view name) noexcept {
    const bool isAbstract = !name.empty() && name.front() == '@';
    if (name.size() < 2 || name.size() >= sizeof(address_.sun_path) ||
        (!isAbstract && name.front() != '/')) {
        return;
    }
    address_.sun_family = AF_UNIX;
    std::memcpy(address_.sun_path, name.data(), name.size());
    if (isAbstract) {
        address_.sun_path[0] = '\0';
    }
    // The name of an abstract socket does not end with a null byte; a path does.
    size_ = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size() +
                                   (isAbstract ? 0 : 1));
    descriptor_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor_ >= 0) {
        ::setsockopt(descriptor_, SOL_SOCKET, SO_SNDTIMEO, &LONGEST_WAIT, sizeof(LONGEST_WAIT));
    }
}

NotifySocket::~NotifySocket() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

bool NotifySocket::send(std::string_view message) const noexcept {
    if (descriptor_ < 0) {
        return false;
    }
    ssize_t sent = 0;
    do {
        sent = ::sendto(descriptor_, message.data(), message.size(), MSG_NOSIGNAL,
                        reinterpret_cast<sockaddr const*>(&address_), size_);
    } while (sent < 0 && errno == EINTR);
    return sent == static_cast<ssize_t>(message.size());
}

}  // namespace kova::kit::detail
