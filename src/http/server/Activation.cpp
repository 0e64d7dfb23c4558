#include "server/Activation.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <string_view>

#include "UnixSocket.h"
#include "kova/core/StatusCodes.h"

namespace kova::http::detail {

namespace {

constexpr int FIRST_DESCRIPTOR = 3;

/// The sockets that objects use, so that no two of them serve the same clients.
class UsedSockets {
public:
    /// Returns false if the socket is used already.
    bool add(int descriptor) {
        const std::lock_guard<std::mutex> guard(mutex_);
        return descriptors_.insert(descriptor).second;
    }
    void remove(int descriptor) {
        const std::lock_guard<std::mutex> guard(mutex_);
        descriptors_.erase(descriptor);
    }
    static UsedSockets& instance() {
        static UsedSockets sockets;
        return sockets;
    }

private:
    std::mutex mutex_;
    std::set<int> descriptors_;
};

kit::Error unusable(const std::string& reason) {
    return {statuscodes::BAD_REQUEST, reason};
}

std::optional<long> numberOf(char const* text) noexcept {
    long number = 0;
    const std::string_view view = text == nullptr ? "" : text;
    const auto read = std::from_chars(view.data(), view.data() + view.size(), number);
    const bool isWhole = read.ec == std::errc() && read.ptr == view.data() + view.size();
    return isWhole ? std::optional(number) : std::nullopt;
}

// Returns the texts between the colons.
std::vector<std::string> split(std::string_view text) {
    std::vector<std::string> parts;
    for (std::size_t end = 0; end != std::string_view::npos; text.remove_prefix(end + 1)) {
        end = text.find(':');
        parts.emplace_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            break;
        }
    }
    return parts;
}

std::optional<int> optionOf(int descriptor, int option) noexcept {
    int value = 0;
    socklen_t size = sizeof value;
    const int result = ::getsockopt(descriptor, SOL_SOCKET, option, &value, &size);
    return result == 0 ? std::optional(value) : std::nullopt;
}

std::string hostOf(int family, void const* address) {
    std::array<char, INET6_ADDRSTRLEN> host{};
    inet_ntop(family, address, host.data(), host.size());
    return host.data();
}

// Returns the address of a socket, or nothing if it has neither a path nor a port.
std::optional<Address> addressOf(int descriptor) {
    Address address;
    sockaddr_storage bound{};
    socklen_t size = sizeof bound;
    if (::getsockname(descriptor, reinterpret_cast<sockaddr*>(&bound), &size) != 0) {
        return std::nullopt;
    }
    if (bound.ss_family == AF_UNIX) {
        // An abstract name begins with a zero byte. A path is not always terminated by a zero byte.
        char const* const path = reinterpret_cast<const sockaddr_un&>(bound).sun_path;
        address.path.assign(
            path,
            ::strnlen(path, size - std::min<std::size_t>(size, offsetof(sockaddr_un, sun_path))));
        return address.path.empty() ? std::nullopt : std::optional(address);
    }
    if (bound.ss_family == AF_INET) {
        const auto& v4 = reinterpret_cast<const sockaddr_in&>(bound);
        address.host = hostOf(AF_INET, &v4.sin_addr);
        address.port = ntohs(v4.sin_port);
        return address;
    }
    if (bound.ss_family == AF_INET6) {
        const auto& v6 = reinterpret_cast<const sockaddr_in6&>(bound);
        address.host = hostOf(AF_INET6, &v6.sin6_addr);
        address.port = ntohs(v6.sin6_port);
        return address;
    }
    return std::nullopt;
}

// Returns how the text of an error refers to the sockets with this name.
std::string describe(const std::string& name) {
    return name.empty() ? "sockets" : "sockets with the name '" + name + "'";
}

HandedOverSocket choose(const std::vector<HandedOverSocket>& sockets, const std::string& name) {
    std::vector<HandedOverSocket> found;
    std::string names;
    for (const HandedOverSocket& socket : sockets) {
        if (name.empty() || socket.name == name) {
            found.push_back(socket);
        }
        names += (names.empty() ? "" : ", ") + socket.name;
    }
    if (found.empty()) {
        throw std::invalid_argument("the service manager has handed over no " + describe(name) +
                                    "; there is " + names);
    }
    if (found.size() > 1) {
        throw std::invalid_argument("the service manager has handed over " +
                                    std::to_string(found.size()) + " " + describe(name) +
                                    "; give each a name of its own: " + names);
    }
    return found.front();
}

Address check(const HandedOverSocket& socket) {
    const std::string which = "the socket '" + socket.name + "' of the service manager ";
    const std::optional<int> type = optionOf(socket.descriptor, SO_TYPE);
    if (!type) {
        throw std::invalid_argument(which + "is not a socket");
    }
    if (type != SOCK_STREAM) {
        throw std::invalid_argument(which + "is not a stream socket");
    }
    if (optionOf(socket.descriptor, SO_ACCEPTCONN) != 1) {
        throw std::invalid_argument(which + "does not listen");
    }
    const std::optional<Address> address = addressOf(socket.descriptor);
    if (!address) {
        throw std::invalid_argument(which + "has neither a path nor a port");
    }
    return *address;
}

}  // namespace

ActivationVariables ActivationVariables::read() noexcept {
    return {::secure_getenv("LISTEN_PID"), ::secure_getenv("LISTEN_FDS"),
            ::secure_getenv("LISTEN_FDNAMES")};
}

kit::Result<std::vector<HandedOverSocket>> handedOverSockets(const ActivationVariables& variables,
                                                             pid_t self) {
    if (variables.pid == nullptr || variables.count == nullptr) {
        return unusable("no service manager has handed over sockets");
    }
    if (numberOf(variables.pid) != self) {
        return unusable("the sockets of LISTEN_PID '" + std::string(variables.pid) +
                        "' are not for this process");
    }
    const std::optional<long> count = numberOf(variables.count);
    if (!count || *count < 1 || *count > MAX_HANDED_OVER) {
        return unusable("LISTEN_FDS '" + std::string(variables.count) +
                        "' is not a number of sockets from 1 to " +
                        std::to_string(MAX_HANDED_OVER));
    }
    std::vector<std::string> names(static_cast<std::size_t>(*count), "unknown");
    if (variables.names != nullptr) {
        names = split(variables.names);
        if (names.size() != static_cast<std::size_t>(*count)) {
            return unusable("LISTEN_FDNAMES '" + std::string(variables.names) + "' has not " +
                            variables.count + " names");
        }
    }
    std::vector<HandedOverSocket> sockets;
    for (std::string& name : names) {
        const int descriptor = FIRST_DESCRIPTOR + static_cast<int>(sockets.size());
        sockets.push_back({descriptor, std::move(name)});
    }
    return sockets;
}

// The object uses a duplicate: closing the descriptor itself would let another file of the process
// get its number, which the next object would then use.
ActivatedSocket::ActivatedSocket(const std::string& name) {
    const auto sockets = handedOverSockets(ActivationVariables::read(), ::getpid());
    if (!sockets) {
        throw std::invalid_argument(sockets.error().message);
    }
    for (const HandedOverSocket& socket : *sockets) {
        ::fcntl(socket.descriptor, F_SETFD, FD_CLOEXEC);
    }
    const HandedOverSocket chosen = choose(*sockets, name);
    address_ = check(chosen);
    if (!UsedSockets::instance().add(chosen.descriptor)) {
        failWith(EADDRINUSE, "the socket '" + chosen.name + "' of the service manager");
    }
    handedOver_ = chosen.descriptor;
    socket_ = wire::FileDescriptor(::fcntl(chosen.descriptor, F_DUPFD_CLOEXEC, 0));
    const bool isReady = socket_ && ::fcntl(socket_.get(), F_SETFL,
                                            ::fcntl(socket_.get(), F_GETFL) | O_NONBLOCK) == 0;
    if (!isReady) {
        const int error = errno;
        UsedSockets::instance().remove(handedOver_);
        failWith(error, "the socket '" + chosen.name + "' of the service manager");
    }
}

ActivatedSocket::~ActivatedSocket() {
    socket_.reset();
    UsedSockets::instance().remove(handedOver_);
}

}  // namespace kova::http::detail
