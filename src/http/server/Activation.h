#pragma once

#include <string>
#include <vector>

#include "kova/kit/Result.h"
#include "server/Listener.h"

namespace kova::http::detail {

/// The environment variables in which a service manager describes the sockets that it has opened
/// for a process; null if one is not set. The protocol is that of sd_listen_fds(3).
struct ActivationVariables {
    char const* pid = nullptr;
    char const* count = nullptr;
    char const* names = nullptr;

    /// Returns the variables LISTEN_PID, LISTEN_FDS and LISTEN_FDNAMES of this process.
    static ActivationVariables read() noexcept;
};

/// A socket that was handed over.
struct HandedOverSocket {
    int descriptor;
    std::string name;
};

/// The highest number of sockets that the program that starts a process hands over to it.
constexpr int MAX_HANDED_OVER = 1024;

/// Returns the sockets that the variables describe. A socket without a name has the name "unknown".
/// Fails with 400 if no sockets were handed over to the process `self`, or if the variables are
/// malformed.
kit::Result<std::vector<HandedOverSocket>> handedOverSockets(const ActivationVariables& variables,
                                                             pid_t self);

/// A listening socket that a service manager has opened, such as systemd. It stays open when the
/// object is destroyed, and so does its file: clients that connect wait for the next object, or for
/// the next process.
class ActivatedSocket final : public ListeningSocket {
public:
    /// Uses the socket with this name; without a name, the only one that was handed over. Sets
    /// close-on-exec for all that were handed over. Throws `std::invalid_argument` if there is no
    /// such socket, if there are several, or if it is not a listening stream socket with a path or
    /// a port. Throws `std::system_error` with EADDRINUSE if another object uses it.
    explicit ActivatedSocket(const std::string& name);
    ~ActivatedSocket() override;
    ActivatedSocket(const ActivatedSocket&) = delete;
    ActivatedSocket& operator=(const ActivatedSocket&) = delete;

private:
    int handedOver_ = -1;
};

}  // namespace kova::http::detail
