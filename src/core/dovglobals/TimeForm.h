#pragma once

#include <cstddef>
#include <optional>

#include "TextForm.h"
#include "kova/core/dovglobals/Time.h"

namespace kova::detail {

/// The text form of an optional `TimeZone`, which can also be printed alone. It has no checks,
/// because `TimeForm` checks its fields.
struct ZoneForm {
    using Value = std::optional<dovglobals::TimeZone>;
    static constexpr std::size_t SIZE = sizeof("-128:128");

    static bool scan(Scanner& scanner, Value& zone);
    static char* print(char* out, const Value& zone);
};

/// The text form of `Time`. `DateTime` also uses it.
struct TimeForm {
    using Value = dovglobals::Time;
    using Fields = dovglobals::Time;
    static const Failure MISMATCH;
    static constexpr std::size_t SIZE = sizeof("255:255:255.65535") + ZoneForm::SIZE;

    /// Returns a time with these fields without checking them.
    static Fields fields(unsigned char hour, unsigned char minute, unsigned char second,
                         std::optional<unsigned short> millisecond,
                         std::optional<dovglobals::TimeZone> timeZone) noexcept;

    static bool scan(Scanner& scanner, Fields& time);
    static std::optional<Failure> check(const Fields& time);
    static char* print(char* out, const Value& time);
};

}  // namespace kova::detail
