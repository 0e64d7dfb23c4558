#include "kova/core/StatusCodes.h"

#include <iterator>

namespace kova::statuscodes {

namespace {

constexpr bool codesAscend() {
    for (std::size_t i = 1; i < std::size(detail::STATUS_TEXTS); ++i) {
        if (detail::STATUS_TEXTS[i - 1].code >= detail::STATUS_TEXTS[i].code) {
            return false;
        }
    }
    return true;
}

static_assert(codesAscend(), "each code has one row");

}  // namespace

std::string toString(unsigned short code) {
    char const* const text = detail::statusTextOf(code);
    return text != nullptr ? text : "unknown";
}

}  // namespace kova::statuscodes
