#pragma once

#include <algorithm>
#include <string_view>

#include "kova/core/Path.h"

namespace kova::detail {

/// A cursor over the parts of a path's text. It copies no part; the text must outlive the cursor
/// and the parts.
class PathReader {
public:
    explicit PathReader(std::string_view text) noexcept : rest_(text) {}

    /// Sets `part` to the next part and returns true. At the end of the path returns false and sets
    /// `part` to an empty text.
    bool next(std::string_view& part) noexcept {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(Path::SEP_CHAR), rest_.size()));
        part = rest_.substr(0, rest_.find(Path::SEP_CHAR));
        rest_.remove_prefix(part.size());
        return !part.empty();
    }

private:
    std::string_view rest_;
};

}  // namespace kova::detail
