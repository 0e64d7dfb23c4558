#include "directory/SocketDirectory.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "UnixSocket.h"
#include "directory/ServiceName.h"
#include "kova/core/StatusCodes.h"

namespace kova::http::detail {

namespace {

constexpr mode_t MODE_OF_ROOT = 0755;
constexpr mode_t MODE_OF_USERS = 0700;

// With a "/" at the end of a path, the system follows a symbolic link that the path names.
std::string withoutSlash(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

wire::FileDescriptor openDirectory(const std::string& path) noexcept {
    return wire::FileDescriptor(
        ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

std::string belongsTo(uid_t user) {
    return "belongs to the user " + std::to_string(user);
}

// Returns why a directory is not trusted.
std::optional<std::string> distrust(int descriptor) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) {
        return "cannot be examined";
    }
    if (!isTrustedUser(status.st_uid)) {
        return belongsTo(status.st_uid);
    }
    const bool isShared = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    if (isShared && (status.st_mode & S_ISVTX) == 0) {
        return "other users may write in it";
    }
    return std::nullopt;
}

// Returns why the file of a socket is not trusted.
std::optional<std::string> distrust(const struct stat& status) {
    if (!S_ISSOCK(status.st_mode)) {
        return "is not a socket";
    }
    return isTrustedUser(status.st_uid) ? std::nullopt : std::optional(belongsTo(status.st_uid));
}

kit::Error forbidden(const std::string& path, const std::string& reason) {
    return {statuscodes::FORBIDDEN, "'" + path + "' " + reason};
}

// Connects to a socket to find out whether a trusted process serves it. If the queue of connections
// is full, a process serves the socket.
kit::Result<void> probe(const std::string& path) {
    const wire::FileDescriptor socket = connectToPath(path);
    if (!socket) {
        if (errno == EACCES || errno == EPERM) {
            return forbidden(path, "does not allow this process to connect");
        }
        if (errno == EAGAIN) {
            return {};
        }
        return kit::Error{statuscodes::SERVICE_UNAVAILABLE, "no process serves '" + path + "'"};
    }
    const std::optional<uid_t> user = userOfServer(socket.get());
    if (!isTrustedUser(user)) {
        return forbidden(path, "is served by " + (user ? "the user " + std::to_string(*user)
                                                       : std::string("an unknown user")));
    }
    return {};
}

}  // namespace

SocketDirectory::SocketDirectory(std::string path, wire::FileDescriptor descriptor) noexcept
    : path_(std::move(path)), descriptor_(std::move(descriptor)) {}

kit::Result<SocketDirectory> SocketDirectory::open(const std::string& path) {
    std::string name = withoutSlash(path);
    wire::FileDescriptor descriptor = openDirectory(name);
    if (!descriptor) {
        const int error = errno;
        if (error == ENOENT) {
            return kit::Error{statuscodes::NOT_FOUND, "'" + name + "' does not exist"};
        }
        return forbidden(name, "cannot be opened: " + std::generic_category().message(error));
    }
    if (const auto reason = distrust(descriptor.get())) {
        return forbidden(name, "is not trusted: " + *reason);
    }
    return SocketDirectory(std::move(name), std::move(descriptor));
}

// The mode that the umask has narrowed is set again, but only if this process created the
// directory.
SocketDirectory SocketDirectory::create(const std::string& path) {
    const std::string name = withoutSlash(path);
    const mode_t mode = ::geteuid() == 0 ? MODE_OF_ROOT : MODE_OF_USERS;
    const bool isCreated = ::mkdir(name.c_str(), mode) == 0;
    if (!isCreated && errno != EEXIST) {
        failWith(errno, "directory '" + name + "'");
    }
    wire::FileDescriptor descriptor = openDirectory(name);
    if (!descriptor) {
        failWith(errno, "directory '" + name + "'");
    }
    if (const auto reason = distrust(descriptor.get())) {
        failWith(EPERM, "directory '" + name + "' is not trusted: " + *reason);
    }
    if (isCreated) {
        ::fchmod(descriptor.get(), mode);
    }
    return {name, std::move(descriptor)};
}

bool SocketDirectory::examine(const std::string& fileName, struct stat& status) const noexcept {
    return ::fstatat(descriptor(), fileName.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

std::vector<std::string> SocketDirectory::services() const {
    std::vector<std::string> found;
    wire::FileDescriptor own(::openat(descriptor(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::fdopendir(own.get()), ::closedir);
    if (!entries) {
        return found;
    }
    own.release();  // owned by `entries` now
    std::size_t count = 0;
    while (dirent const* const entry = ::readdir(entries.get())) {
        if (++count > MAX_NAMES + 2) {  // and "." and ".."
            break;
        }
        const std::string name = static_cast<char const*>(entry->d_name);
        std::optional<std::string> service = toServicePath(name);
        struct stat status {};
        if (service && examine(name, status) && !distrust(status)) {
            found.push_back(*std::move(service));
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

kit::Result<std::string> SocketDirectory::find(const std::string& servicePath) const {
    const std::string name = toFileName(servicePath);
    std::string path = pathOf(name);
    struct stat status {};
    if (path.size() > LONGEST_SOCKET_PATH || !examine(name, status)) {
        return kit::Error{statuscodes::NOT_FOUND, "'" + path + "' does not exist"};
    }
    if (const auto reason = distrust(status)) {
        return forbidden(path, *reason);
    }
    if (const auto result = probe(path); !result) {
        return result.error();
    }
    return path;
}

}  // namespace kova::http::detail
