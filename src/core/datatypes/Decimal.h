#pragma once

#include <string_view>
#include <system_error>

namespace kova::detail {

/// The result of reading a decimal integer from the start of a text.
struct Decimal {
    bool negative = false;
    unsigned long magnitude = 0;
    /// `std::errc()` on success, `invalid_argument` when the text has no digit, or
    /// `result_out_of_range` when the magnitude does not fit.
    std::errc error = std::errc();
};

/// Reads an integer as `std::stol` does in base 10 under the "C" locale: white space, at most one
/// sign, then digits. The process locale and the rest of the text are ignored.
Decimal scanDecimal(std::string_view text) noexcept;

}  // namespace kova::detail
