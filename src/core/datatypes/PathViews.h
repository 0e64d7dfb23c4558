#pragma once

#include <string>
#include <string_view>

#include "kova/core/Path.h"

/// Operations on the text of a path that copy nothing. Routing does them for every request.
namespace kova::detail {

/// The path that has no parts and is absolute.
inline constexpr std::string_view ROOT_PATH = "/";

/// Returns the path without its trailing separators. The first character is never examined, so
/// "/", "//" and "a/" are returned unchanged.
inline std::string_view withoutTrailingSeparators(std::string_view path) noexcept {
    const std::size_t last = path.find_last_not_of(Path::SEP_CHAR);
    return last == std::string_view::npos || last == 0 ? path : path.substr(0, last + 1);
}

/// Returns whether a separator follows the first character at the end of the text.
inline bool hasTrailingSeparator(std::string_view path) noexcept {
    return path.size() > 1 && path.back() == Path::SEP_CHAR;
}

/// Returns whether two separators are next to each other.
inline bool hasEmptySegment(std::string_view path) noexcept {
    // Segments are short, so a loop over the characters is faster than a search for "//".
    char before = '\0';
    for (const char c : path) {
        if (c == Path::SEP_CHAR && before == Path::SEP_CHAR) {
            return true;
        }
        before = c;
    }
    return false;
}

/// Returns the parent of a path that `Path::toString` could have made; empty if it has no parent.
inline std::string_view parentPath(std::string_view path) noexcept {
    const std::size_t separator = path.rfind(Path::SEP_CHAR);
    if (separator == std::string_view::npos || path == ROOT_PATH) {
        return {};
    }
    return separator == 0 ? ROOT_PATH : path.substr(0, separator);
}

/// Returns the same text as `Path::relativize(from, target)`. Inline, because routing does it for
/// every request.
inline std::string relativePath(const std::string& from, std::string_view target) noexcept {
    // Fast path, for nearly every request: `from` ends at a segment boundary of the target, and the
    // remainder is already normalized.
    const std::size_t size = from == ROOT_PATH ? 0 : from.size();
    if (target.substr(0, size) == std::string_view(from).substr(0, size)) {
        const std::string_view rest = target.substr(size);
        const bool endsAtBoundary = rest.empty() || rest.front() == Path::SEP_CHAR;
        if (endsAtBoundary && !hasTrailingSeparator(rest) && !hasEmptySegment(rest)) {
            return std::string(rest.substr(rest.empty() ? 0 : 1));
        }
    }
    std::string relative;
    Path::relativize(from, std::string(target), relative);
    return relative;
}

}  // namespace kova::detail
