#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The names of services in a socket directory.
///
///     "/device"         device
///     "/media/player2"  media+player2
///
/// A file name has the parts of the service path, separated by "+". The letters and digits of
/// ASCII, "-", ".", "_" and "~" are unchanged; all other bytes are escaped as "%XX", and so is a
/// "." at the beginning. Files of other purposes cannot have such a name: theirs begin with ".".
namespace kova::http::detail {

/// Returns whether a text is the path of a service that can be registered: it begins with "/", has
/// no empty part, is not "/" itself, and has none of the characters that end a path in a locator:
/// "$", "?", "#" and "[".
bool isServicePath(std::string_view path) noexcept;

/// Returns the file name of a service path.
std::string toFileName(std::string_view servicePath);

/// Returns the service path of a file name; nothing if `toFileName` does not return this name.
std::optional<std::string> toServicePath(std::string_view fileName);

}  // namespace kova::http::detail
