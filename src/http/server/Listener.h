#pragma once

#include <sys/types.h>

#include <string>

#include "kova/http/Address.h"
#include "kova/kit/Peer.h"
#include "wire/FileDescriptor.h"

namespace kova::http::detail {

/// A socket that accepts connections, and its address. One thread at a time.
class ListeningSocket {
public:
    ListeningSocket() = default;
    virtual ~ListeningSocket() = default;
    ListeningSocket(const ListeningSocket&) = delete;
    ListeningSocket& operator=(const ListeningSocket&) = delete;

    int descriptor() const noexcept { return socket_.get(); }
    /// Returns the address, with the port that the system chose if it was 0.
    const Address& address() const noexcept { return address_; }

protected:
    Address address_;
    wire::FileDescriptor socket_;
};

/// A listening socket at an address. Its file, if it has one, exists as long as the object.
///
/// A file that a dead process has left is replaced. Processes that do so hold a `DirectoryLock`, so
/// that only one of several gets the path. One thread at a time.
class Listener final : public ListeningSocket {
public:
    /// Throws `std::system_error`; with `EADDRINUSE` if another process serves the address, or if
    /// the path is not that of a socket. `mode` is the mode of the file.
    Listener(const Address& address, unsigned mode);
    /// Closes the socket. Removes the file, unless it is that of another socket by now.
    ~Listener() override;
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

private:
    void listenAtPath(unsigned mode);
    void adoptFile(unsigned mode);
    void listenAtPort();
    void removeFile() noexcept;

    dev_t device_ = 0;  ///< of the socket file, like the inode
    ino_t inode_ = 0;
};

/// Returns what the system says of the process at the other end of an accepted socket.
kit::Peer peerOfSocket(int descriptor);

}  // namespace kova::http::detail
