#include "kova/core/dovglobals/Time.h"

#include <algorithm>
#include <cstdlib>
#include <tuple>

#include "TimeForm.h"

namespace kova::detail {

namespace {

using dovglobals::Time;
using dovglobals::TimeZone;

constexpr Source SOURCE{"src/core/dovglobals/Time", "struct Time"};

constexpr std::tuple CHECKS{
    Check{__LINE__, "the Hour value not being between 0 and 23",
          [](const Time& time) { return time.hour < 24; }},
    Check{__LINE__, "the Minute value not being between 0 and 59",
          [](const Time& time) { return time.minute < 60; }},
    Check{__LINE__, "the Second value not being between 0 and 59",
          [](const Time& time) { return time.second < 60; }},
    Check{__LINE__, "the Time Zone Hour value not being between -23 and 23",
          [](const Time& time) { return !time.timeZone || std::abs(time.timeZone->hours) < 24; }},
    Check{__LINE__, "the Time Zone Minute value not being between -59 and 59 when hour is 0",
          [](const Time& time) {
              return !time.timeZone || time.timeZone->hours != 0 ||
                     std::abs(time.timeZone->minutes) < 60;
          }},
    Check{__LINE__, "the Time Zone Minute value not being between 0 and 59 when hour is not 0",
          [](const Time& time) {
              return !time.timeZone || time.timeZone->hours == 0 ||
                     (time.timeZone->minutes >= 0 && time.timeZone->minutes < 60);
          }}};

}  // namespace

constexpr Failure TimeForm::MISMATCH{SOURCE, __LINE__, MISMATCH_REASON};

bool ZoneForm::scan(Scanner& scanner, std::optional<TimeZone>& zone) {
    if (scanner.skip('Z')) {
        return true;
    }
    const bool negative = scanner.skip('-');
    int hours = 0;
    int minutes = 0;
    if ((!negative && !scanner.skip('+')) ||
        !scanner.read(digits<2>(hours), ':', digits<2>(minutes))) {
        return false;
    }
    // The sign is stored in the hours or, if they are 0, in the minutes.
    zone = TimeZone{static_cast<std::int8_t>(negative ? -hours : hours),
                    static_cast<std::int8_t>(negative && hours == 0 ? -minutes : minutes)};
    return true;
}

char* ZoneForm::print(char* out, const std::optional<TimeZone>& zone) {
    if (!zone) {
        *out++ = 'Z';
        return out;
    }
    const bool negative = zone->hours < 0 || (zone->hours == 0 && zone->minutes < 0);
    const int hours = std::abs(zone->hours);
    const int minutes = std::abs(zone->minutes);
    return write(out, negative ? '-' : '+', digits<2>(hours), ':', digits<2>(minutes));
}

Time TimeForm::fields(unsigned char hour, unsigned char minute, unsigned char second,
                      std::optional<unsigned short> millisecond,
                      std::optional<TimeZone> timeZone) noexcept {
    Time time;
    time.hour = hour;
    time.minute = minute;
    time.second = second;
    time.millisecond = millisecond;
    time.timeZone = timeZone;
    return time;
}

bool TimeForm::scan(Scanner& scanner, Time& time) {
    if (!scanner.read(digits<2>(time.hour), ':', digits<2>(time.minute), ':',
                      digits<2>(time.second))) {
        return false;
    }
    if (scanner.skip('.') && !scanner.read(digits<3>(time.millisecond.emplace()))) {
        return false;
    }
    return ZoneForm::scan(scanner, time.timeZone);
}

std::optional<Failure> TimeForm::check(const Time& time) {
    return firstFailure(SOURCE, CHECKS, time);
}

char* TimeForm::print(char* out, const Time& time) {
    out =
        write(out, digits<2>(time.hour), ':', digits<2>(time.minute), ':', digits<2>(time.second));
    if (time.millisecond) {
        out = write(out, '.', digits<3>(*time.millisecond));
    }
    return ZoneForm::print(out, time.timeZone);
}

}  // namespace kova::detail

namespace kova::dovglobals {

namespace {

auto key(const TimeZone& zone) {
    return std::tie(zone.hours, zone.minutes);
}

// Returns the fields in the order of comparison. An optional field that is not set is less than
// every value.
auto key(const Time& time) {
    return std::tie(time.hour, time.minute, time.second, time.millisecond, time.timeZone);
}

std::optional<TimeZone> clamped(std::optional<TimeZone> zone) {
    if (zone) {
        zone->hours = std::min<std::int8_t>(zone->hours, 23);
        zone->minutes = std::min<std::int8_t>(zone->minutes, 59);
    }
    return zone;
}

}  // namespace

bool TimeZone::operator==(const TimeZone& other) const noexcept {
    return key(*this) == key(other);
}

bool TimeZone::operator<(const TimeZone& other) const noexcept {
    return key(*this) < key(other);
}

Time::Time(unsigned char hour, unsigned char minute, unsigned char second,
           std::optional<unsigned short> millisecond, std::optional<TimeZone> timeZone) noexcept
    : hour(std::min<unsigned char>(hour, 23)),
      minute(std::min<unsigned char>(minute, 59)),
      second(std::min<unsigned char>(second, 59)),
      millisecond(millisecond ? std::optional(std::min<std::uint16_t>(*millisecond, 999))
                              : std::nullopt),
      timeZone(clamped(timeZone)) {}

std::string Time::getTimeZoneString() const {
    return detail::Printed<detail::ZoneForm>(timeZone).toString();
}

std::string Time::toString() const {
    return detail::Printed<detail::TimeForm>(*this).toString();
}

bool Time::operator==(const Time& other) const noexcept {
    return key(*this) == key(other);
}

bool Time::operator<(const Time& other) const noexcept {
    return key(*this) < key(other);
}

std::optional<Time> createTime(unsigned char hour, unsigned char minute, unsigned char second,
                               std::optional<unsigned short> millisecond,
                               std::optional<TimeZone> timeZone) {
    return detail::create<detail::TimeForm>(
        detail::TimeForm::fields(hour, minute, second, millisecond, timeZone),
        Time(hour, minute, second, millisecond, timeZone));
}

std::optional<Time> parseTime(const std::string& text) {
    return detail::parse<detail::TimeForm>(text);
}

}  // namespace kova::dovglobals

namespace kova::serializer {

bool serialize(util::serializer::IStructuredSerializer& serializer, const dovglobals::Time& value) {
    return !detail::writeString<detail::TimeForm>(serializer, value);
}

bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                 dovglobals::Time& value) {
    return !detail::readString<detail::TimeForm>(deserializer, value);
}

}  // namespace kova::serializer
