#include "kova/core/StatusCodes.h"

#include <iterator>

namespace kova::statuscodes {

namespace {

constexpr bool codesAscend() {
    for (std::size_t i = 1; i < std::size(detail::TEXTS); ++i) {
        if (detail::TEXTS[i - 1].code >= detail::TEXTS[i].code) {
            return false;
        }
    }
    return true;
}

static_assert(codesAscend(), "each code has one row");

}  // namespace

std::string toString(unsigned short code) {
    char const* const text = detail::textOf(code);
    return text != nullptr ? text : "unknown";
}

}  // namespace kova::statuscodes
