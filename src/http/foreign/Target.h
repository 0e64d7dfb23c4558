#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kova/kit/Result.h"

namespace kova::http::detail {

/// The largest number of paths that one event stream watches.
constexpr std::size_t MAX_WATCHES = 128;

/// A resource that a request target names.
struct Destination {
    /// The path of the service; nothing if the target names none.
    std::optional<std::string> servicePath;
    /// The path of the resource.
    std::string path;
};

/// The target of a request, decoded.
struct Target {
    /// The authority of a target that is a whole URL ("http://host/a"), which replaces the field
    /// `Host` (RFC 9112, section 3.2.2).
    std::optional<std::string> authority;
    /// The resource; if there are `watches`, the root.
    Destination resource;
    /// The resources that the query names: "/?watch=/a&watch=/b".
    std::vector<Destination> watches;

    /// Parses the text between method and version. Percent escapes are decoded; the first "$" that
    /// is not escaped ends the service path. Returns the error 400 for a text that is not a path
    /// or a URL with the scheme "http", for an escape that is malformed, for the bytes 0 and "/" as
    /// an escape, and for a query with anything but `watch`.
    ///
    /// In the query, "/" and "$" may be escaped, and "+" is a space, because functions of browsers
    /// write a space so.
    static kit::Result<Target> parse(std::string_view text);
};

}  // namespace kova::http::detail
