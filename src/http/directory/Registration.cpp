#include "directory/Registration.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <exception>

#include "DirectoryLock.h"
#include "UnixSocket.h"
#include "directory/ServiceName.h"

namespace kova::http::detail {

namespace {

constexpr int BACKLOG = 512;

// Returns the name of a file that only the processes of this user create: `name`, and the number of
// the user. In a sticky directory, each user has such a file.
std::string ofThisUser(std::string name) {
    return name += std::to_string(::geteuid());
}

void checkLength(const std::string& path) {
    if (path.size() > LONGEST_SOCKET_PATH) {
        failWith(ENAMETOOLONG, "'" + path + "'");
    }
}

}  // namespace

Registration::Registration(const std::string& directory,
                           const std::vector<std::string>& servicePaths, unsigned mode)
    : directory_(SocketDirectory::create(directory)) {
    for (const std::string& service : servicePaths) {
        checkLength(directory_.pathOf(toFileName(service)));
    }
    address_.path = directory_.pathOf(toFileName(servicePaths.front()));
    const DirectoryLock lock(directory_.descriptor(), directory_.pathOf(DirectoryLock::fileName()));
    const std::string temporary = ofThisUser(".new-");
    try {
        listenAt(temporary, mode);
        for (const std::string& service : servicePaths) {
            claim(toFileName(service), temporary);
        }
    } catch (...) {
        removeNames();
        ::unlinkat(directory_.descriptor(), temporary.c_str(), 0);
        throw;
    }
    ::unlinkat(directory_.descriptor(), temporary.c_str(), 0);
}

// A file that cannot be removed is replaced at the next start.
Registration::~Registration() {
    try {
        const DirectoryLock lock(directory_.descriptor(),
                                 directory_.pathOf(DirectoryLock::fileName()));
        removeNames();
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): see above
    }
}

// The name is free, because the caller has the lock: a file there was left by a process that has
// died in between. The mode is set before the file exists, so that it is never wider than `mode`,
// and again for the bits that the umask has removed.
void Registration::listenAt(const std::string& name, unsigned mode) {
    const std::string path = directory_.pathOf(name);
    checkLength(path);
    ::unlinkat(directory_.descriptor(), name.c_str(), 0);
    socket_ = wire::FileDescriptor(::socket(AF_UNIX, SOCKET_KIND, 0));
    if (!socket_) {
        failWith(errno, "'" + path + "'");
    }
    ::fchmod(socket_.get(), mode);
    const sockaddr_un address = toUnixAddress(path);
    struct stat status {};
    if (::bind(socket_.get(), reinterpret_cast<sockaddr const*>(&address), sizeof address) != 0 ||
        ::fchmodat(directory_.descriptor(), name.c_str(), mode, 0) != 0 ||
        ::listen(socket_.get(), BACKLOG) != 0) {
        failWith(errno, "'" + path + "'");
    }
    if (!directory_.examine(name, status)) {
        failWith(ENOENT, "'" + path + "'");
    }
    device_ = status.st_dev;
    inode_ = status.st_ino;
}

// An existing file is removed only if nobody serves it; the lock excludes the other processes of
// this user, and other users cannot create a file in its place that this process would trust.
void Registration::claim(const std::string& name, const std::string& temporary) {
    const int directory = directory_.descriptor();
    if (::linkat(directory, temporary.c_str(), directory, name.c_str(), 0) != 0) {
        if (errno != EEXIST) {
            failWith(errno, "'" + directory_.pathOf(name) + "'");
        }
        checkReplaceable(name);
        ::unlinkat(directory, name.c_str(), 0);
        if (::linkat(directory, temporary.c_str(), directory, name.c_str(), 0) != 0) {
            failWith(errno, "'" + directory_.pathOf(name) + "'");
        }
    }
    names_.push_back(name);
}

void Registration::checkReplaceable(const std::string& name) const {
    const std::string path = directory_.pathOf(name);
    struct stat status {};
    if (!directory_.examine(name, status)) {
        return;
    }
    if (!S_ISSOCK(status.st_mode)) {
        failWith(EADDRINUSE, "'" + path + "' is not a socket");
    }
    if (status.st_uid != ::geteuid()) {
        failWith(EADDRINUSE, "'" + path + "' belongs to the user " + std::to_string(status.st_uid));
    }
    if (!isDeadSocket(path)) {
        failWith(EADDRINUSE, "'" + path + "' is served by another process");
    }
}

void Registration::removeNames() noexcept {
    for (const std::string& name : names_) {
        struct stat status {};
        if (directory_.examine(name, status) && status.st_dev == device_ &&
            status.st_ino == inode_) {
            ::unlinkat(directory_.descriptor(), name.c_str(), 0);
        }
    }
    names_.clear();
}

}  // namespace kova::http::detail
