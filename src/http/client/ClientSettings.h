#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

#include "wire/EventLoop.h"

namespace kova::http::detail {

/// The settings of a client, besides the address of its server. The values are in range; `connect`
/// checks them.
struct ClientSettings {
    /// The path of each HTTP request, percent-encoded.
    std::string path = "/";
    /// The time for which a request waits for a connection.
    wire::EventLoop::Clock::duration patience = std::chrono::seconds(1);
    /// The window of a stream: the bytes of an answer that the server may send before the client
    /// has delivered them.
    std::int32_t window = 256 * 1024;
    /// The longest record of an answer.
    std::size_t recordBytes = std::size_t{64} * 1024 * 1024;
    /// Whether the server must be a process of root or of this user.
    bool onlyTrusted = false;
    /// @{
    /// As in `ConnectOptions`.
    bool retriesRetrievals = false;
    bool resubscribes = false;
    /// @}
    /// The time without bytes after which the client sends a PING while requests are open.
    wire::EventLoop::Clock::duration quiet = std::chrono::seconds(10);
    /// The time for the answer to a PING.
    wire::EventLoop::Clock::duration pingLimit = std::chrono::seconds(5);
    /// The last number of a stream that a connection may use; then another connection follows.
    std::int32_t lastStream = std::numeric_limits<std::int32_t>::max();
};

}  // namespace kova::http::detail
