#include "kova/core/dovglobals/Duration.h"

#include <algorithm>
#include <tuple>

#include "TextForm.h"

namespace kova::detail {

namespace {

using dovglobals::Duration;

constexpr Source SOURCE{"src/core/dovglobals/Duration", "struct Duration"};

constexpr std::tuple CHECKS{Check{__LINE__, "the Month value not being between 0 and 12",
                                  [](const Duration& duration) { return duration.months <= 12; }},
                            Check{__LINE__, "the Day value not being between 0 and 31",
                                  [](const Duration& duration) { return duration.days <= 31; }},
                            Check{__LINE__, "the Hour value not being between 0 and 23",
                                  [](const Duration& duration) { return duration.hours < 24; }},
                            Check{__LINE__, "the Minute value not being between 0 and 59",
                                  [](const Duration& duration) { return duration.minutes < 60; }},
                            Check{__LINE__, "the Second value not being between 0 and 59",
                                  [](const Duration& duration) { return duration.seconds < 60; }}};

struct DurationForm {
    using Value = Duration;
    using Fields = Duration;
    static constexpr Failure MISMATCH{SOURCE, __LINE__, MISMATCH_REASON};
    static constexpr std::size_t SIZE = sizeof("P65535-255-255T255:255:255");

    static bool scan(Scanner& scanner, Fields& duration) {
        return scanner.read('P', digits<4>(duration.years), '-', digits<2>(duration.months), '-',
                            digits<2>(duration.days), 'T', digits<2>(duration.hours), ':',
                            digits<2>(duration.minutes), ':', digits<2>(duration.seconds));
    }

    static std::optional<Failure> check(const Fields& duration) {
        return firstFailure(SOURCE, CHECKS, duration);
    }

    static char* print(char* out, const Duration& duration) {
        return write(out, 'P', digits<4>(duration.years), '-', digits<2>(duration.months), '-',
                     digits<2>(duration.days), 'T', digits<2>(duration.hours), ':',
                     digits<2>(duration.minutes), ':', digits<2>(duration.seconds));
    }
};

}  // namespace

}  // namespace kova::detail

namespace kova::dovglobals {

namespace {

auto key(const Duration& duration) {
    return std::tie(duration.years, duration.months, duration.days, duration.hours,
                    duration.minutes, duration.seconds);
}

}  // namespace

Duration::Duration(unsigned short years, unsigned char months, unsigned char days,
                   unsigned char hours, unsigned char minutes, unsigned char seconds) noexcept
    : years(years),
      months(std::clamp<unsigned char>(months, 1, 12)),
      days(std::clamp<unsigned char>(days, 1, 31)),
      hours(std::min<unsigned char>(hours, 23)),
      minutes(std::min<unsigned char>(minutes, 59)),
      seconds(std::min<unsigned char>(seconds, 59)) {}

std::string Duration::toString() const {
    return detail::Printed<detail::DurationForm>(*this).toString();
}

bool Duration::operator==(const Duration& other) const noexcept {
    return key(*this) == key(other);
}

bool Duration::operator<(const Duration& other) const noexcept {
    return key(*this) < key(other);
}

std::optional<Duration> createDuration(unsigned short years, unsigned char months,
                                       unsigned char days, unsigned char hours,
                                       unsigned char minutes, unsigned char seconds) {
    Duration unclamped;
    unclamped.years = years;
    unclamped.months = months;
    unclamped.days = days;
    unclamped.hours = hours;
    unclamped.minutes = minutes;
    unclamped.seconds = seconds;
    return detail::create<detail::DurationForm>(
        unclamped, Duration(years, months, days, hours, minutes, seconds));
}

std::optional<Duration> parseDuration(const std::string& text) {
    return detail::parse<detail::DurationForm>(text);
}

}  // namespace kova::dovglobals

namespace kova::serializer {

bool serialize(util::serializer::IStructuredSerializer& serializer,
               const dovglobals::Duration& value) {
    return !detail::writeString<detail::DurationForm>(serializer, value);
}

bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                 dovglobals::Duration& value) {
    return !detail::readString<detail::DurationForm>(deserializer, value);
}

}  // namespace kova::serializer
