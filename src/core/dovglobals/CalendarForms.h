#pragma once

#include <cstddef>
#include <optional>

#include "TextForm.h"
#include "kova/core/dovglobals/Date.h"
#include "kova/core/dovglobals/Time.h"

/// The forms that the form of a date-time holds.
namespace kova::dovglobals {

struct DateForm {
    using Value = Date;
    using Fields = Date;
    static const Failure MISMATCH;
    static constexpr std::size_t SIZE = sizeof("65535-255-255");

    /// The date with these fields, whatever they are.
    static Fields fields(unsigned short year, unsigned char month, unsigned char day) noexcept;

    static bool scan(Scanner& scanner, Fields& date);
    static std::optional<Failure> check(const Fields& date);
    static char* print(char* out, const Date& date);
};

/// An optional time zone: the part of a time that has a text of its own. It has no checks of its
/// own: they are among those of a time.
struct ZoneForm {
    using Value = std::optional<TimeZone>;
    static constexpr std::size_t SIZE = sizeof("-128:128");

    static bool scan(Scanner& scanner, std::optional<TimeZone>& zone);
    static char* print(char* out, const std::optional<TimeZone>& zone);
};

struct TimeForm {
    using Value = Time;
    using Fields = Time;
    static const Failure MISMATCH;
    static constexpr std::size_t SIZE = sizeof("255:255:255.65535") + ZoneForm::SIZE;

    /// The time with these fields, whatever they are.
    static Fields fields(unsigned char hour, unsigned char minute, unsigned char second,
                         std::optional<unsigned short> millisecond,
                         std::optional<TimeZone> timeZone) noexcept;

    static bool scan(Scanner& scanner, Fields& time);
    static std::optional<Failure> check(const Fields& time);
    static char* print(char* out, const Time& time);
};

}  // namespace kova::dovglobals
