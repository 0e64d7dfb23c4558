#include "datatypes/PathViews.h"

namespace kova::detail {

std::string relativePath(const std::string& from, std::string_view target) noexcept {
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
