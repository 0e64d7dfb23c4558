#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kova/http/Export.h"
#include "kova/kit/Result.h"

namespace kova::http {

/// The address of a stream socket: a path of the file system, or a host and a port.
///
/// An address is neither a locator nor a URL: it names no service and no resource. Its grammar is
///
///     "unix:" PATH
///     "tcp:" HOST ":" PORT
///
/// PATH has 1 to 107 bytes, none of them 0 (the capacity of `sockaddr_un`). HOST is an IPv4
/// address, an IPv6 address in brackets, or "localhost", which is 127.0.0.1; names are not looked
/// up. PORT is 0 to 65535; an endpoint with the port 0 gets a free port from the system. Plain
/// value type. Not synchronized.
///
///     auto address = kova::http::Address::parse("unix:/run/kova/player.sock");
///     address->path;        // "/run/kova/player.sock"
///     address->toString();  // "unix:/run/kova/player.sock"
struct KOVA_HTTP_API Address {
    /// The path of a Unix socket; "" if the address is one of TCP.
    std::string path;
    /// The numeric address of the host, without brackets; "" if the address is a Unix socket.
    std::string host;
    /// The port, if the address is one of TCP.
    std::uint16_t port = 0;

    /// Returns the address with this text, or the error 400 with the reason.
    static kit::Result<Address> parse(std::string_view text);
    /// Returns the text of the address, in the form that `parse` accepts.
    std::string toString() const;

    /// Returns whether the address is that of a Unix socket.
    bool isUnix() const noexcept { return !path.empty(); }
    /// Returns whether only this machine can reach the address: a Unix socket, 127.0.0.0/8 or ::1.
    bool isLocal() const noexcept;
};

}  // namespace kova::http
