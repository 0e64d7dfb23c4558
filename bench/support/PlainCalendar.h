#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kova/core/dovglobals/DateTime.h"

/// Short code that parses and prints only dates and times, as a practical limit of the speed.
namespace kova::bench::plain {

/// Returns the number of two digits, or a number above 99 if they are not digits.
inline unsigned two(char const* text) {
    const auto tens = static_cast<unsigned>(text[0] - '0');
    const auto ones = static_cast<unsigned>(text[1] - '0');
    return tens > 9 || ones > 9 ? 1000 : tens * 10 + ones;
}

inline char* put2(char* out, unsigned value) {
    out[0] = static_cast<char>('0' + value / 10 % 10);
    out[1] = static_cast<char>('0' + value % 10);
    return out + 2;
}

inline bool readDate(char const* text, dovglobals::Date& date) {
    const unsigned century = two(text);
    const unsigned year = two(text + 2);
    const unsigned month = two(text + 5);
    const unsigned day = two(text + 8);
    if (century > 99 || year > 99 || text[4] != '-' || text[7] != '-' || month - 1 > 11 ||
        day - 1 > 30) {
        return false;
    }
    date.year = static_cast<std::uint16_t>(century * 100 + year);
    date.month = static_cast<std::uint8_t>(month);
    date.day = static_cast<std::uint8_t>(day);
    return true;
}

inline bool readZone(std::string_view text, std::optional<dovglobals::TimeZone>& zone) {
    if (text == "Z") {
        return true;
    }
    if (text.size() != 6 || (text[0] != '+' && text[0] != '-') || text[3] != ':') {
        return false;
    }
    const unsigned hours = two(text.data() + 1);
    const unsigned minutes = two(text.data() + 4);
    const int sign = text[0] == '-' ? -1 : 1;
    zone = dovglobals::TimeZone{
        static_cast<std::int8_t>(sign * static_cast<int>(hours)),
        static_cast<std::int8_t>((hours == 0 ? sign : 1) * static_cast<int>(minutes))};
    return hours < 24 && minutes < 60;
}

inline bool readClock(char const* text, unsigned& hour, unsigned& minute, unsigned& second) {
    hour = two(text);
    minute = two(text + 3);
    second = two(text + 6);
    return hour < 24 && minute < 60 && second < 60 && text[2] == ':' && text[5] == ':';
}

inline bool readTime(std::string_view text, dovglobals::Time& time) {
    unsigned hour = 0;
    unsigned minute = 0;
    unsigned second = 0;
    if (text.size() < 9 || !readClock(text.data(), hour, minute, second)) {
        return false;
    }
    time.hour = static_cast<std::uint8_t>(hour);
    time.minute = static_cast<std::uint8_t>(minute);
    time.second = static_cast<std::uint8_t>(second);
    text.remove_prefix(8);
    if (text[0] == '.') {
        const auto hundreds = static_cast<unsigned>(text.size() < 5 ? 10 : text[1] - '0');
        const unsigned rest = hundreds > 9 ? 1000 : two(text.data() + 2);
        if (rest > 99) {
            return false;
        }
        time.millisecond = static_cast<std::uint16_t>(hundreds * 100 + rest);
        text.remove_prefix(4);
    }
    return readZone(text, time.timeZone);
}

inline std::optional<dovglobals::DateTime> parseDateTime(std::string_view text) {
    dovglobals::DateTime value;
    if (text.size() < 20 || text[10] != 'T' || !readDate(text.data(), value.date) ||
        !readTime(text.substr(11), value.time)) {
        return std::nullopt;
    }
    return value;
}

inline char* put(char* out, const dovglobals::Date& date) {
    out = put2(put2(out, date.year / 100U), date.year % 100U);
    *out++ = '-';
    out = put2(out, date.month);
    *out++ = '-';
    return put2(out, date.day);
}

inline char* put(char* out, const std::optional<dovglobals::TimeZone>& zone) {
    if (!zone) {
        *out++ = 'Z';
        return out;
    }
    const bool negative = zone->hours < 0 || zone->minutes < 0;
    *out++ = negative ? '-' : '+';
    out = put2(out, static_cast<unsigned>(zone->hours < 0 ? -zone->hours : zone->hours));
    *out++ = ':';
    return put2(out, static_cast<unsigned>(zone->minutes < 0 ? -zone->minutes : zone->minutes));
}

inline char* putClock(char* out, unsigned hour, unsigned minute, unsigned second) {
    out = put2(out, hour);
    *out++ = ':';
    out = put2(out, minute);
    *out++ = ':';
    return put2(out, second);
}

inline char* put(char* out, const dovglobals::Time& time) {
    out = putClock(out, time.hour, time.minute, time.second);
    if (time.millisecond) {
        *out++ = '.';
        *out++ = static_cast<char>('0' + *time.millisecond / 100);
        out = put2(out, *time.millisecond % 100U);
    }
    return put(out, time.timeZone);
}

inline char* put(char* out, const dovglobals::DateTime& value) {
    out = put(out, value.date);
    *out++ = 'T';
    return put(out, value.time);
}

/// Returns the text of a value. Its fields must be in range.
template <typename Value>
std::string toString(const Value& value) {
    std::array<char, 40> text;  // not initialized: put() writes the part that is read
    return {text.data(), put(text.data(), value)};
}

}  // namespace kova::bench::plain
