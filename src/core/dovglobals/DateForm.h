#pragma once

#include <cstddef>
#include <optional>

#include "TextForm.h"
#include "kova/core/dovglobals/Date.h"

namespace kova::detail {

/// The text form of `Date`. `DateTime` also uses it.
struct DateForm {
    using Value = dovglobals::Date;
    using Fields = dovglobals::Date;
    static const Failure MISMATCH;
    static constexpr std::size_t SIZE = sizeof("65535-255-255");

    /// Returns a date with these fields without checking them.
    static Fields fields(unsigned short year, unsigned char month, unsigned char day) noexcept;

    static bool scan(Scanner& scanner, Fields& date);
    static std::optional<Failure> check(const Fields& date);
    static char* print(char* out, const Value& date);
};

}  // namespace kova::detail
