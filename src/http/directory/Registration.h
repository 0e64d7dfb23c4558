#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "directory/SocketDirectory.h"
#include "server/Listener.h"

namespace kova::http::detail {

/// A listening socket in a socket directory, with a file for each of its services. The files are
/// hard links of one socket, and exist as long as the object.
///
/// The socket listens before the first file exists, so a client that finds a file can connect. A
/// name belongs to the process that serves it: other processes are refused. A file that a dead
/// process of the same user has left is replaced; files of other users, and those that are not
/// sockets, never are. The processes of a user take turns, by a lock on a file that only they can
/// open.
class Registration final : public ListeningSocket {
public:
    /// Throws `std::system_error`: with EADDRINUSE if a name is taken, with EPERM if the directory
    /// is not trusted, with ENAMETOOLONG if a path is too long for a socket. Nothing is registered
    /// then. `mode` is the mode of the files. The service paths must be valid (`isServicePath`).
    Registration(const std::string& directory, const std::vector<std::string>& servicePaths,
                 unsigned mode);
    /// Removes the files, unless other ones have taken their places.
    ~Registration() override;
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;

private:
    void listenAt(const std::string& name, unsigned mode);
    void claim(const std::string& name, const std::string& temporary);
    void checkReplaceable(const std::string& name) const;
    void removeNames() noexcept;

    SocketDirectory directory_;
    std::vector<std::string> names_;  ///< the files that exist
    dev_t device_ = 0;                ///< of the socket file, like the inode
    ino_t inode_ = 0;
};

}  // namespace kova::http::detail
