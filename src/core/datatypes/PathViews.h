#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "kova/core/Path.h"

/// Operations on the text of a path that copy nothing. Routing uses them for every request.
namespace kova::detail {

/// The absolute path without parts.
inline constexpr std::string_view ROOT_PATH = "/";

/// Returns the path without its trailing separators. The first character is never examined, so "/",
/// "//" and "a/" are returned unchanged.
inline std::string_view withoutTrailingSeparators(std::string_view path) noexcept {
    const std::size_t last = path.find_last_not_of(Path::SEP_CHAR);
    return last == std::string_view::npos || last == 0 ? path : path.substr(0, last + 1);
}

/// Returns whether the text ends with a separator that is not its first character.
inline bool hasTrailingSeparator(std::string_view path) noexcept {
    return path.size() > 1 && path.back() == Path::SEP_CHAR;
}

/// Returns whether the path has two adjacent separators.
inline bool hasEmptySegment(std::string_view path) noexcept {
    // Compares chunks of eight characters, which overlap by one character. Segments are short, so
    // this is faster than a search for "//".
    constexpr std::uint64_t EACH = 0x0101010101010101U;
    constexpr std::uint64_t LOW_BITS = 0x7F * EACH;
    for (; path.size() >= sizeof(EACH); path.remove_prefix(sizeof(EACH) - 1)) {
        std::uint64_t characters;
        std::memcpy(&characters, path.data(), sizeof(characters));
        characters ^= Path::SEP_CHAR * EACH;
        // For each byte of `characters` that is zero, `found` has the highest bit of that byte set.
        const std::uint64_t found = ~(((characters & LOW_BITS) + LOW_BITS) | characters | LOW_BITS);
        if ((found & found >> 8U) != 0) {
            return true;
        }
    }
    for (std::size_t i = 1; i < path.size(); ++i) {
        if (path[i] == Path::SEP_CHAR && path[i - 1] == Path::SEP_CHAR) {
            return true;
        }
    }
    return false;
}

/// Returns the parent of a path, or an empty text if the path has no parent. The path must have the
/// form that `Path::toString` returns.
inline std::string_view parentPath(std::string_view path) noexcept {
    const std::size_t separator = path.rfind(Path::SEP_CHAR);
    if (separator == std::string_view::npos || path == ROOT_PATH) {
        return {};
    }
    return separator == 0 ? ROOT_PATH : path.substr(0, separator);
}

/// Returns the same text as `Path::relativize(from, target)`. Inline, because routing calls it for
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
