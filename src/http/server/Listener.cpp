#include "server/Listener.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "DirectoryLock.h"
#include "UnixSocket.h"

namespace kova::http::detail {

namespace {

constexpr int BACKLOG = 512;

wire::FileDescriptor checked(int descriptor, const Address& address) {
    if (descriptor < 0) {
        failWith(errno, address.toString());
    }
    return wire::FileDescriptor(descriptor);
}

template <typename SocketAddress>
int bindTo(int descriptor, const SocketAddress& address) noexcept {
    return ::bind(descriptor, reinterpret_cast<sockaddr const*>(&address), sizeof address);
}

std::string textOf(const sockaddr_storage& address) {
    std::array<char, INET6_ADDRSTRLEN> host{};
    if (address.ss_family == AF_INET) {
        const auto& v4 = reinterpret_cast<const sockaddr_in&>(address);
        inet_ntop(AF_INET, &v4.sin_addr, host.data(), host.size());
        return std::string(host.data()) + ":" + std::to_string(ntohs(v4.sin_port));
    }
    const auto& v6 = reinterpret_cast<const sockaddr_in6&>(address);
    inet_ntop(AF_INET6, &v6.sin6_addr, host.data(), host.size());
    return "[" + std::string(host.data()) + "]:" + std::to_string(ntohs(v6.sin6_port));
}

}  // namespace

Listener::Listener(const Address& address, unsigned mode) {
    address_ = address;
    if (address_.isUnix()) {
        listenAtPath(mode);
    } else {
        listenAtPort();
    }
}

Listener::~Listener() {
    if (address_.isUnix()) {
        removeFile();
    }
}

// The mode is set before the file exists, so that at no time it is wider than `mode`; `adoptFile`
// adds the bits that the umask has taken.
void Listener::listenAtPath(unsigned mode) {
    socket_ = checked(::socket(AF_UNIX, SOCKET_KIND, 0), address_);
    ::fchmod(socket_.get(), mode);
    const DirectoryLock lock = DirectoryLock::ofSocket(address_.path);
    const sockaddr_un name = toUnixAddress(address_.path);
    int error = bindTo(socket_.get(), name) == 0 ? 0 : errno;
    if (error == EADDRINUSE && isDeadSocket(address_.path)) {
        ::unlink(address_.path.c_str());
        error = bindTo(socket_.get(), name) == 0 ? 0 : errno;
    }
    if (error != 0) {
        failWith(error, address_.toString());
    }
    adoptFile(mode);
    if (::listen(socket_.get(), BACKLOG) != 0) {
        error = errno;
        ::unlink(address_.path.c_str());
        failWith(error, address_.toString());
    }
}

// Sets the mode through a descriptor, because another user with the right to write in the directory
// could have replaced the file by a symbolic link.
void Listener::adoptFile(unsigned mode) {
    const wire::FileDescriptor file(::open(address_.path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (file && ::fstat(file.get(), &status) == 0 && S_ISSOCK(status.st_mode)) {
        device_ = status.st_dev;
        inode_ = status.st_ino;
        ::chmod(("/proc/self/fd/" + std::to_string(file.get())).c_str(), mode);
    }
}

void Listener::listenAtPort() {
    const bool isV6 = address_.host.find(':') != std::string::npos;
    socket_ = checked(::socket(isV6 ? AF_INET6 : AF_INET, SOCKET_KIND, 0), address_);
    const int on = 1;
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    int result = 0;
    if (isV6) {
        ::setsockopt(socket_.get(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
        sockaddr_in6 name{};
        name.sin6_family = AF_INET6;
        name.sin6_port = htons(address_.port);
        inet_pton(AF_INET6, address_.host.c_str(), &name.sin6_addr);
        result = bindTo(socket_.get(), name);
    } else {
        sockaddr_in name{};
        name.sin_family = AF_INET;
        name.sin_port = htons(address_.port);
        inet_pton(AF_INET, address_.host.c_str(), &name.sin_addr);
        result = bindTo(socket_.get(), name);
    }
    if (result != 0 || ::listen(socket_.get(), BACKLOG) != 0) {
        failWith(errno, address_.toString());
    }
    sockaddr_storage bound{};
    socklen_t size = sizeof bound;
    ::getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&bound), &size);
    // The port is at the same place in both families.
    address_.port = ntohs(reinterpret_cast<const sockaddr_in&>(bound).sin_port);
}

void Listener::removeFile() noexcept {
    try {
        const DirectoryLock lock = DirectoryLock::ofSocket(address_.path);
        struct stat status {};
        const bool isOurs = ::lstat(address_.path.c_str(), &status) == 0 &&
                            status.st_dev == device_ && status.st_ino == inode_;
        if (isOurs) {
            ::unlink(address_.path.c_str());
        }
        socket_.reset();
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch)
        // A file that is left is replaced at the next start.
    }
}

kit::Peer peerOfSocket(int descriptor) {
    kit::Peer peer;
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
        address.ss_family != AF_UNIX) {
        peer.address = textOf(address);
        return peer;
    }
    peer.address = "unix:";
    ucred credentials{};
    size = sizeof credentials;
    if (::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &credentials, &size) == 0) {
        peer.uid = static_cast<long>(credentials.uid);
        peer.gid = static_cast<long>(credentials.gid);
        peer.pid = static_cast<long>(credentials.pid);
    }
    return peer;
}

}  // namespace kova::http::detail
