#pragma once

#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>

#include <cstddef>
#include <optional>
#include <string>
#include <system_error>

#include "wire/FileDescriptor.h"

/// What clients and servers of Unix sockets have in common. Any thread may call the functions.
namespace kova::http::detail {

/// The longest path of a Unix socket.
constexpr std::size_t LONGEST_SOCKET_PATH = sizeof(sockaddr_un::sun_path) - 1;
/// The kind of all sockets of the library.
constexpr int SOCKET_KIND = SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC;

/// Throws a `std::system_error`.
[[noreturn]] inline void failWith(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

/// Returns the address of a path, which must not be longer than `LONGEST_SOCKET_PATH`.
sockaddr_un toUnixAddress(const std::string& path) noexcept;

/// Returns a socket that is connected to the path. If the result is empty, `errno` has the reason.
wire::FileDescriptor connectToPath(const std::string& path) noexcept;

/// Returns whether the path is that of a socket of this user that no process serves.
bool isDeadSocket(const std::string& path) noexcept;

/// Returns the user whose process listens at the other end of a connected socket; nothing if it is
/// not a Unix socket.
std::optional<uid_t> userOfServer(int descriptor) noexcept;

/// Returns whether a service that runs as the user is trusted: root, or the user of this process.
bool isTrustedUser(std::optional<uid_t> user) noexcept;

}  // namespace kova::http::detail
