#include "kova/kit/values/EnumTable.h"

#include <algorithm>

namespace kova::kit::detail {

namespace {

/// The maximum number of names that a message lists.
constexpr std::size_t LONGEST_LIST = 8;

}  // namespace

std::size_t EnumTable::find(std::string_view name) const noexcept {
    for (std::size_t i = 0; i < size; ++i) {
        if (rows[i].name == name) {
            return i;
        }
    }
    return fallback == NO_FALLBACK ? size : fallback;
}

std::string_view EnumTable::nameOf(std::uint64_t bits) const noexcept {
    const EnumRow* const end = rows + size;
    const EnumRow* const row = std::find_if(
        rows, end, [bits](const EnumRow& candidate) { return candidate.bits == bits; });
    return row == end ? std::string_view() : row->name;
}

std::string EnumTable::list() const {
    std::string text = size == 1 ? "" : "one of ";
    for (std::size_t i = 0; i < std::min(size, LONGEST_LIST); ++i) {
        text += (i == 0 ? "" : ", ") + State::quoted(rows[i].name);
    }
    return size > LONGEST_LIST ? text + ", ..." : text;
}

}  // namespace kova::kit::detail
