#pragma once

#include <string_view>
#include <system_error>

namespace kova::detail {

/// A decimal integer at the start of a text.
struct Decimal {
    bool negative = false;
    unsigned long magnitude = 0;
    /// `std::errc()`, `invalid_argument` without a digit, or `result_out_of_range` when the
    /// magnitude does not fit.
    std::errc error = std::errc();
};

/// Reads what `std::stol` and its family read in base 10 under the "C" locale, whatever the
/// process's locale is: white space, at most one sign, digits; the rest of the text is ignored.
Decimal scanDecimal(std::string_view text) noexcept;

}  // namespace kova::detail
