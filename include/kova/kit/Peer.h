#pragma once

#include <string>

#include "kova/core/Request.h"
#include "kova/kit/Export.h"

namespace kova::kit {

/// The process on whose behalf a request is served, as the operating system knows it.
///
/// A plain value type. The numbers come from the kernel, not from the request, so a client cannot
/// forge them.
struct Peer {
    /// The number of the user; -1 if the transport does not know it.
    long uid = -1;
    long gid = -1;  ///< the number of the group; -1 if the transport does not know it
    long pid = -1;  ///< the number of the process; -1 if the transport does not know it
    /// The address in the text form of the transport, such as "unix:" or "127.0.0.1:41034". Empty
    /// for requests from within the process.
    std::string address;

    /// Returns the peer of requests from within the process: its own effective user and group, and
    /// its process number.
    KOVA_KIT_API static Peer self();
};

/// Returns the peer of a request. If the current thread has a `PeerScope`, returns the peer of that
/// scope, otherwise `Peer::self()`.
///
/// The request does not contain its peer, so no header entry can forge it. Call the function while
/// the request is being served, on the thread that serves the request. A request that a handler
/// sends to another service on this thread has the same peer. `Job` and `Ask` keep the peer of
/// their request. Any thread may call the function.
KOVA_KIT_API Peer peerOf(const Request& request);

/// A guard for transports. Until the guard is destroyed, the requests that the current thread sends
/// have this peer. A thread may have nested guards; the innermost applies.
///
///     const kova::kit::Peer peer{1000, 1000, 4711, "unix:"};
///     const kova::kit::PeerScope scope(peer);
///     kova::kit::peerOf(kova::Request("retrieve", "/state")).uid;  // 1000
class KOVA_KIT_API PeerScope {
public:
    /// Keeps a reference to `peer`, which must outlive the guard.
    explicit PeerScope(const Peer& peer) noexcept;
    ~PeerScope();
    PeerScope(const PeerScope&) = delete;
    PeerScope& operator=(const PeerScope&) = delete;

private:
    const Peer* const outer_;
};

}  // namespace kova::kit
