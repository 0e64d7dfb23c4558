#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <string>
#include <vector>

#include "kova/kit/Result.h"
#include "wire/FileDescriptor.h"

namespace kova::http::detail {

/// An open directory in which services of this machine register: each service has one socket file
/// there, named by `toFileName`.
///
/// The object refers to the directory itself, not to its path: a directory that is put in its place
/// later has no effect on names that the object checks. Different threads may use one object.
class SocketDirectory {
public:
    /// The highest number of names that are read from a directory.
    static constexpr std::size_t MAX_NAMES = 4096;

    /// Opens a directory. Fails with 404 if it does not exist, and with 403 if it is not trusted
    /// (`kova::http::open`) or not readable.
    static kit::Result<SocketDirectory> open(const std::string& path);
    /// Opens a directory to register services in it, and creates it if it does not exist: with the
    /// mode 0755 for root, and 0700 for other users. Its parent must exist. Throws
    /// `std::system_error`.
    static SocketDirectory create(const std::string& path);

    int descriptor() const noexcept { return descriptor_.get(); }
    /// Returns the path of a file in the directory.
    std::string pathOf(const std::string& fileName) const { return path_ + "/" + fileName; }
    /// Reads the properties of a file, without following a link. Returns false if it does not
    /// exist.
    bool examine(const std::string& fileName, struct stat& status) const noexcept;

    /// Returns the paths of the services whose sockets are trusted, in ascending order.
    std::vector<std::string> services() const;
    /// Returns the path of the socket of a service. Fails with 404 if the directory does not have
    /// it, with 403 if the socket is not trusted or this process may not connect, and with 503 if
    /// no process serves it. Connects to the socket to find out, and closes the connection.
    kit::Result<std::string> find(const std::string& servicePath) const;

private:
    SocketDirectory(std::string path, wire::FileDescriptor descriptor) noexcept;

    std::string path_;
    wire::FileDescriptor descriptor_;
};

}  // namespace kova::http::detail
