#include "UnixSocket.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace kova::http::detail {

namespace {

// What the system returns as the user of a peer that it does not know.
constexpr uid_t NOBODY = static_cast<uid_t>(-1);

}  // namespace

sockaddr_un toUnixAddress(const std::string& path) noexcept {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

wire::FileDescriptor connectToPath(const std::string& path) noexcept {
    wire::FileDescriptor socket(::socket(AF_UNIX, SOCKET_KIND, 0));
    const sockaddr_un address = toUnixAddress(path);
    if (socket &&
        ::connect(socket.get(), reinterpret_cast<sockaddr const*>(&address), sizeof address) != 0) {
        const int error = errno;
        socket.reset();
        errno = error;
    }
    return socket;
}

bool isDeadSocket(const std::string& path) noexcept {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode) ||
        status.st_uid != ::geteuid()) {
        return false;
    }
    return !connectToPath(path) && errno == ECONNREFUSED;
}

std::optional<uid_t> userOfServer(int descriptor) noexcept {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0 ||
        credentials.uid == NOBODY) {
        return std::nullopt;
    }
    return credentials.uid;
}

bool isTrustedUser(std::optional<uid_t> user) noexcept {
    return user && (*user == 0 || *user == ::geteuid());
}

}  // namespace kova::http::detail
