#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "support/Wire.h"

namespace kova::bench {

/// Turns this process, that of a `WireServer`, into a broker. The socket at the path only shows
/// that the process has started: clients try to connect until the broker listens.
template <typename... Arguments>
void becomeBroker(const std::string& path, char const* program, Arguments... arguments) {
    require(::fcntl(listenAt(path), F_SETFD, 0) == 0, "fcntl");  // kept by the program
    const std::string folders = std::string(std::getenv("PATH")) + ":/usr/sbin";
    ::setenv("PATH", folders.c_str(), 1);
    ::execlp(program, program, arguments..., static_cast<char*>(nullptr));
    require(false, program);
}

/// A nats-server, and where it listens.
struct NatsBroker {
    const std::string port = std::to_string(freePort());
    const std::string url = "nats://127.0.0.1:" + port;
    const WireServer server{"nats-server", [this](const std::string& path) {
                                becomeBroker(path, "nats-server", "-a", "127.0.0.1", "-p",
                                             port.c_str(), "-l", "/dev/null");
                            }};

    /// Returns the broker of this program. Called first before `WireServer::startAll`.
    static const NatsBroker& shared() {
        static const NatsBroker broker;
        return broker;
    }
};

constexpr char const* BROKER_REQUEST = "request through a broker";
constexpr char const* BROKER_TEN = "ten values through a broker";
/// The number of values of an answer in the case `BROKER_TEN`.
constexpr int TEN = 10;

}  // namespace kova::bench
