#include "DirectoryLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include "UnixSocket.h"

namespace kova::http::detail {

namespace {

constexpr int ATTEMPTS = 200;
constexpr std::chrono::milliseconds DELAY(10);

}  // namespace

std::string DirectoryLock::fileName() {
    return ".lock-" + std::to_string(::geteuid());
}

DirectoryLock::DirectoryLock(int directory, std::string path)
    : directory_(::fcntl(directory, F_DUPFD_CLOEXEC, 0)),
      name_(fileName()),
      path_(std::move(path)) {
    if (!directory_) {
        failWith(errno, "lock '" + path_ + "'");
    }
    for (int attempt = 0; !tryLock(); ++attempt) {
        if (attempt == ATTEMPTS) {
            failWith(EADDRINUSE, "lock '" + path_ + "' is held");
        }
        std::this_thread::sleep_for(DELAY);
    }
}

DirectoryLock DirectoryLock::ofSocket(const std::string& socketPath) {
    const std::size_t slash = socketPath.rfind('/');
    const std::string path = slash == std::string::npos ? "./" : socketPath.substr(0, slash + 1);
    const wire::FileDescriptor directory(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!directory) {
        failWith(errno, path);
    }
    return {directory.get(), path + fileName()};
}

// A forked child has the same open file, so closing it here would not unlock it.
DirectoryLock::~DirectoryLock() {
    if (file_) {
        ::unlinkat(directory_.get(), name_.c_str(), 0);
        ::flock(file_.get(), LOCK_UN);
    }
}

// Returns false if another object has the lock. The former owner of the lock removes the file, and
// the lock of a removed file is worth nothing.
bool DirectoryLock::tryLock() {
    open();
    return ::flock(file_.get(), LOCK_EX | LOCK_NB) == 0 && isStillThere();
}

void DirectoryLock::open() {
    file_ = wire::FileDescriptor(::openat(directory_.get(), name_.c_str(),
                                          O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC,
                                          S_IRUSR | S_IWUSR));
    struct stat status {};
    if (!file_ || ::fstat(file_.get(), &status) != 0) {
        failWith(errno, "lock '" + path_ + "'");
    }
    if (status.st_uid != ::geteuid() || (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        failWith(EPERM, "lock '" + path_ + "' belongs to another user");
    }
}

bool DirectoryLock::isStillThere() const noexcept {
    struct stat opened {};
    struct stat named {};
    return ::fstat(file_.get(), &opened) == 0 &&
           ::fstatat(directory_.get(), name_.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

}  // namespace kova::http::detail
