#pragma once

#include <string>

#include "wire/FileDescriptor.h"

namespace kova::http::detail {

/// The right to create, replace and remove the sockets of this user in a directory. Only one object
/// of all processes of the user has it.
///
/// The lock is that of a file (`flock`), which exists as long as the object. Only the user can open
/// the file, so no other user can delay a process. A child that was forked meanwhile does not keep
/// the lock. One thread at a time.
class DirectoryLock {
public:
    /// Waits for the lock for two seconds. `directory` is an open directory, and `path` the path of
    /// the file, for texts. Throws `std::system_error`: with EADDRINUSE if another object still has
    /// the lock, with EPERM if the file belongs to another user, or is open to others.
    DirectoryLock(int directory, std::string path);
    /// Opens the directory of the path of a socket.
    static DirectoryLock ofSocket(const std::string& socketPath);
    ~DirectoryLock();
    DirectoryLock(DirectoryLock&&) noexcept = default;
    DirectoryLock& operator=(DirectoryLock&&) = delete;

    /// Returns the name of the file.
    static std::string fileName();

private:
    bool tryLock();
    void open();
    bool isStillThere() const noexcept;

    wire::FileDescriptor directory_;
    std::string name_;
    std::string path_;
    wire::FileDescriptor file_;
};

}  // namespace kova::http::detail
