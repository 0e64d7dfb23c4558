// Parsing and printing the other typed values that have a text form, compared with plain code and
// cached std::regex objects.
#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdio>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include "kova/core/dovglobals/Date.h"
#include "kova/core/dovglobals/Duration.h"
#include "kova/core/dovglobals/GeoPosition.h"
#include "kova/core/dovglobals/RGBA.h"
#include "kova/core/dovglobals/Time.h"
#include "support/Contest.h"
#include "support/Inputs.h"
#include "support/PlainCalendar.h"

namespace kova::bench {

namespace {

using namespace kova::dovglobals;

unsigned char part(Random& random, int most) {
    return static_cast<unsigned char>(random.number(1, most));
}

std::vector<Date> dates() {
    return inputs([random = Random()]() mutable {
        return Date(static_cast<unsigned short>(random.number(0, 9999)), part(random, 12),
                    part(random, 31));
    });
}

std::vector<Time> times() {
    return inputs([random = Random()]() mutable {
        return Time(part(random, 23), part(random, 59), part(random, 59),
                    static_cast<unsigned short>(random.number(0, 999)), TimeZone{2, 0});
    });
}

std::vector<Duration> durations() {
    return inputs([random = Random()]() mutable {
        return Duration(static_cast<unsigned short>(random.number(0, 9999)), part(random, 12),
                        part(random, 31), part(random, 23), part(random, 59), part(random, 59));
    });
}

std::vector<GeoPosition> positions() {
    return inputs([random = Random()]() mutable {
        return GeoPosition(random.real(-90, 90), random.real(-180, 180), random.real(-400, 9000));
    });
}

std::vector<RGBA> colours() {
    return inputs([random = Random()]() mutable {
        return RGBA(part(random, 255), part(random, 255), part(random, 255),
                    static_cast<float>(random.number(0, 100)) / 100.0F);
    });
}

namespace plain {

using bench::plain::toString;

std::optional<Date> parseDate(std::string_view text) {
    Date date;
    return text.size() == 10 && bench::plain::readDate(text.data(), date) ? std::optional(date)
                                                                          : std::nullopt;
}

std::optional<Time> parseTime(std::string_view text) {
    Time time;
    return bench::plain::readTime(text, time) ? std::optional(time) : std::nullopt;
}

std::optional<Duration> parseDuration(std::string_view text) {
    unsigned hours = 0;
    unsigned minutes = 0;
    unsigned seconds = 0;
    Date date;
    if (text.size() != 20 || text[0] != 'P' || text[11] != 'T' ||
        !bench::plain::readDate(text.data() + 1, date) ||
        !bench::plain::readClock(text.data() + 12, hours, minutes, seconds)) {
        return std::nullopt;
    }
    return Duration(date.year, date.month, date.day, static_cast<unsigned char>(hours),
                    static_cast<unsigned char>(minutes), static_cast<unsigned char>(seconds));
}

std::string toString(const Duration& value) {
    char text[24] = {'P'};
    char* out = bench::plain::put(text + 1, Date(value.years, value.months, value.days));
    *out++ = 'T';
    return {text, bench::plain::putClock(out, value.hours, value.minutes, value.seconds)};
}

std::optional<GeoPosition> parseGeoPosition(std::string_view text) {
    GeoPosition value;
    char const* at = text.data();
    char const* const end = at + text.size();
    for (double* number : {&value.first, &value.second, &value.third}) {
        const auto [next, error] = std::from_chars(at, end, *number, std::chars_format::fixed);
        if (error != std::errc() || (number != &value.third && (next == end || *next != ';'))) {
            return std::nullopt;
        }
        at = next + 1;
    }
    return at == end + 1 ? std::optional(value) : std::nullopt;
}

std::string toString(const GeoPosition& value) {
    char text[80];
    char* out = text;
    for (const double number : {value.first, value.second, value.third}) {
        out = std::to_chars(out, text + sizeof text, number, std::chars_format::fixed, 6).ptr;
        *out++ = ';';
    }
    return {text, out - 1};
}

std::optional<RGBA> parseRGBA(std::string_view text) {
    if (text.substr(0, 5) != "rgba(" || text.back() != ')') {
        return std::nullopt;
    }
    char const* at = text.data() + 5;
    char const* const end = text.data() + text.size();
    unsigned char channels[3];
    for (unsigned char& channel : channels) {
        const auto [next, error] = std::from_chars(at, end, channel);
        if (error != std::errc() || *next != ',') {
            return std::nullopt;
        }
        at = next + 1;
    }
    float alpha = 0;
    const auto [next, error] = std::from_chars(at, end, alpha, std::chars_format::fixed);
    return error == std::errc() && next + 1 == end
               ? std::optional(RGBA(channels[0], channels[1], channels[2], alpha))
               : std::nullopt;
}

std::string toString(const RGBA& value) {
    char text[48] = "rgba(";
    char* const end = text + sizeof text;
    char* out = text + 5;
    for (const unsigned char channel : {value.red, value.green, value.blue}) {
        out = std::to_chars(out, end, channel).ptr;
        *out++ = ',';
    }
    out = std::to_chars(out, end, value.alpha).ptr;
    if (value.alpha == 0.0F || value.alpha == 1.0F) {
        *out++ = '.';
        *out++ = '0';
    }
    *out++ = ')';
    return {text, out};
}

}  // namespace plain

/// Registers the cases of a type. `expression` is the regular expression of its text; std::regex
/// uses it to find the groups.
template <typename Value, typename Parse, typename PlainParse>
void enter(const std::string& type, std::vector<Value> (*values)(), Parse parse,
           PlainParse plainParse, char const* expression) {
    const auto texts = [=] {
        std::vector<std::string> made;
        for (const Value& value : values()) {
            made.push_back(value.toString());
        }
        return made;
    };
    contest(type + ", parse", "kova", [=] { return each(texts(), parse); });
    contest(type + ", parse", "plain", [=] { return each(texts(), plainParse); });
    contest(type + ", parse", "std::regex", [=] {
        return each(texts(), [regex = std::regex(expression)](const std::string& text) {
            std::smatch match;
            benchmark::DoNotOptimize(std::regex_match(text, match, regex));
            return match.size();
        });
    });
    contest(type + ", print", "kova",
            [=] { return each(values(), [](const Value& value) { return value.toString(); }); });
    contest(type + ", print", "plain", [=] {
        return each(values(), [](const Value& value) { return plain::toString(value); });
    });
}

const Entries ENTRIES([] {
    enter<Date>("date", dates, parseDate, plain::parseDate, "([0-9]{4})-([0-9]{2})-([0-9]{2})");
    enter<Time>("time", times, parseTime, plain::parseTime,
                "([0-9]{2}):([0-9]{2}):([0-9]{2})(\\.[0-9]{3})?(Z|[+-][0-9]{2}:[0-9]{2})");
    enter<Duration>("duration", durations, parseDuration, plain::parseDuration,
                    "P([0-9]{4})-([0-9]{2})-([0-9]{2})T([0-9]{2}):([0-9]{2}):([0-9]{2})");
    enter<GeoPosition>("position", positions, parseGeoPosition, plain::parseGeoPosition,
                       "([+-]?[0-9]+(?:\\.[0-9]+)?);([+-]?[0-9]+(?:\\.[0-9]+)?);"
                       "([+-]?[0-9]+(?:\\.[0-9]+)?)");
    enter<RGBA>("colour", colours, parseRGBA, plain::parseRGBA,
                "rgba\\(([0-9]{1,3}),[ \t]?([0-9]{1,3}),[ \t]?([0-9]{1,3}),[ \t]?"
                "([01]?\\.[0-9]+)\\)");
});

}  // namespace

}  // namespace kova::bench
