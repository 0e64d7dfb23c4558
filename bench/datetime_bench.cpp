// Parsing and printing a date-time: kova, plain code, the C library, Abseil, and std::regex.
#include <benchmark/benchmark.h>

#include <ctime>
#include <regex>
#include <string>
#include <vector>

#include "kova/core/dovglobals/DateTime.h"
#include "support/Contest.h"
#include "support/Inputs.h"
#include "support/PlainCalendar.h"
#ifdef KOVA_BENCH_ABSL
#include <absl/time/time.h>
#endif

namespace kova::bench {

namespace {

using dovglobals::DateTime;
using dovglobals::parseDateTime;

/// Returns values like "2019-03-07T08:05:09Z"; if `full` is true, with milliseconds and an offset.
std::vector<DateTime> dateTimes(bool full) {
    Random random;
    return inputs([&] {
        const auto part = [&](int most) {
            return static_cast<unsigned char>(random.number(0, most));
        };
        DateTime value;
        value.date = {static_cast<unsigned short>(random.number(1900, 2099)),
                      static_cast<unsigned char>(1 + part(11)),
                      static_cast<unsigned char>(1 + part(27))};
        value.time = {part(23), part(59), part(59), std::nullopt, std::nullopt};
        if (full) {
            value.time.millisecond = static_cast<std::uint16_t>(random.number(0, 999));
            value.time.timeZone = {static_cast<std::int8_t>(random.number(-11, 14)), 30};
        }
        return value;
    });
}

std::vector<std::string> texts(bool full) {
    std::vector<std::string> made;
    for (const DateTime& value : dateTimes(full)) {
        made.push_back(value.toString());
    }
    return made;
}

int number(const std::ssub_match& digits) {
    return std::stoi(digits.str());
}

std::optional<DateTime> parseByRegex(const std::string& text) {
    static const std::regex expression(
        "([0-9]{4})-([0-9]{2})-([0-9]{2})T([0-9]{2}):([0-9]{2}):([0-9]{2})(\\.[0-9]{3})?"
        "(Z|[+-][0-9]{2}:[0-9]{2})");
    std::smatch match;
    if (!std::regex_match(text, match, expression)) {
        return std::nullopt;
    }
    const auto part = [&](std::size_t group) {
        return static_cast<unsigned char>(number(match[group]));
    };
    return DateTime{{static_cast<unsigned short>(number(match[1])), part(2), part(3)},
                    {part(4), part(5), part(6), std::nullopt, std::nullopt}};
}

std::tm brokenDown(const DateTime& value) {
    std::tm time{};
    time.tm_year = value.date.year - 1900;
    time.tm_mon = value.date.month - 1;
    time.tm_mday = value.date.day;
    time.tm_hour = value.time.hour;
    time.tm_min = value.time.minute;
    time.tm_sec = value.time.second;
    return time;
}

void enterParsing() {
    for (const bool full : {false, true}) {
        const std::string caseName = full ? "date-time with zone, parse" : "date-time, parse";
        contest(caseName, "kova", [=] { return each(texts(full), parseDateTime); });
        contest(caseName, "plain", [=] { return each(texts(full), plain::parseDateTime); });
        contest(caseName, "std::regex", [=] { return each(texts(full), parseByRegex); });
#ifdef KOVA_BENCH_ABSL
        contest(caseName, "absl", [=] {
            return each(texts(full), [](const std::string& text) {
                absl::Time time;
                std::string error;
                benchmark::DoNotOptimize(absl::ParseTime(absl::RFC3339_full, text, &time, &error));
                return time;
            });
        });
#endif
    }
    contest("date-time, parse", "strptime", [] {
        return each(texts(false), [](const std::string& text) {
            std::tm time{};
            benchmark::DoNotOptimize(strptime(text.c_str(), "%Y-%m-%dT%H:%M:%SZ", &time));
            return time;
        });
    });
}

void enterPrinting() {
    for (const bool full : {false, true}) {
        const std::string caseName = full ? "date-time with zone, print" : "date-time, print";
        contest(caseName, "kova", [=] {
            return each(dateTimes(full), [](const DateTime& value) { return value.toString(); });
        });
        contest(caseName, "plain", [=] {
            return each(dateTimes(full),
                        [](const DateTime& value) { return plain::toString(value); });
        });
    }
    contest("date-time, print", "strftime", [] {
        return each(dateTimes(false), [](const DateTime& value) {
            char text[40];
            const std::tm time = brokenDown(value);
            return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &time));
        });
    });
#ifdef KOVA_BENCH_ABSL
    contest("date-time, print", "absl", [] {
        std::vector<absl::Time> times;
        for (const DateTime& value : dateTimes(false)) {
            std::tm time = brokenDown(value);
            times.push_back(absl::FromTimeT(timegm(&time)));
        }
        return each(times, [](absl::Time time) {
            return absl::FormatTime("%Y-%m-%dT%H:%M:%SZ", time, absl::UTCTimeZone());
        });
    });
#endif
}

const Entries ENTRIES([] {
    enterParsing();
    enterPrinting();
});

}  // namespace

}  // namespace kova::bench
