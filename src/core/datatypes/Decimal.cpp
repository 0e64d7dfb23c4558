#include "datatypes/Decimal.h"

#include <algorithm>
#include <charconv>

namespace kova::detail {

Decimal scanDecimal(std::string_view text) noexcept {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    Decimal decimal;
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
        decimal.negative = text.front() == '-';
        text.remove_prefix(1);
    }
    decimal.error = std::from_chars(text.data(), text.data() + text.size(), decimal.magnitude).ec;
    return decimal;
}

}  // namespace kova::detail
