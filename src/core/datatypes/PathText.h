#pragma once

#include <algorithm>
#include <string_view>

#include "kova/core/Path.h"

namespace kova {

/// Walks the parts of a path's text without copying them. Borrows the text.
class PathReader {
public:
    explicit PathReader(std::string_view text) noexcept : rest_(text) {}

    /// Gives the next part; false, and an empty part, at the end.
    bool next(std::string_view& part) noexcept {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(Path::SEP_CHAR), rest_.size()));
        part = rest_.substr(0, rest_.find(Path::SEP_CHAR));
        rest_.remove_prefix(part.size());
        return !part.empty();
    }

private:
    std::string_view rest_;
};

/// The part that steps up.
inline constexpr char const* STEP_UP = "..";

/// The text, or an empty one for a null pointer.
inline std::string_view textOrEmpty(char const* text) noexcept {
    return text != nullptr ? std::string_view(text) : std::string_view();
}

/// The position that `index` stands for in a path of `count` parts; not less than `count` if none.
inline unsigned long resolveIndex(unsigned long index, unsigned long count) noexcept {
    return index == Path::NPOS ? count - 1 : index;
}

}  // namespace kova
