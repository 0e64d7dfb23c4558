#include "kova/kit/values/Chrono.h"

#include <ctime>

#include "kova/core/dovglobals/DateTime.h"
#include "kova/core/dovglobals/Duration.h"

namespace kova::kit::detail {

namespace {

constexpr std::int64_t MINUTE = 60;
constexpr std::int64_t HOUR = 60 * MINUTE;
constexpr std::int64_t DAY = 24 * HOUR;

}  // namespace

std::string formatSeconds(std::int64_t seconds) {
    dovglobals::Duration duration;
    duration.days = static_cast<std::uint8_t>(seconds / DAY);
    duration.hours = static_cast<std::uint8_t>(seconds % DAY / HOUR);
    duration.minutes = static_cast<std::uint8_t>(seconds % HOUR / MINUTE);
    duration.seconds = static_cast<std::uint8_t>(seconds % MINUTE);
    return duration.toString();
}

bool parseSeconds(const std::string& text, std::int64_t& seconds) {
    const auto duration = dovglobals::parseDuration(text);
    if (!duration || duration->years != 0 || duration->months != 0) {
        return false;
    }
    seconds = duration->days * DAY + duration->hours * HOUR + duration->minutes * MINUTE +
              duration->seconds;
    return true;
}

std::string formatTime(std::int64_t milliseconds) {
    const std::int64_t rest = (milliseconds % 1000 + 1000) % 1000;
    const auto seconds = static_cast<std::time_t>((milliseconds - rest) / 1000);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    dovglobals::DateTime time;
    time.date.year = static_cast<std::uint16_t>(parts.tm_year + 1900);
    time.date.month = static_cast<std::uint8_t>(parts.tm_mon + 1);
    time.date.day = static_cast<std::uint8_t>(parts.tm_mday);
    time.time.hour = static_cast<std::uint8_t>(parts.tm_hour);
    time.time.minute = static_cast<std::uint8_t>(parts.tm_min);
    time.time.second = static_cast<std::uint8_t>(parts.tm_sec);
    time.time.millisecond = static_cast<std::uint16_t>(rest);
    return time.toString();
}

bool parseTime(const std::string& text, std::int64_t& milliseconds) {
    const auto time = dovglobals::parseDateTime(text);
    if (!time) {
        return false;
    }
    std::tm parts{};
    parts.tm_year = time->date.year - 1900;
    parts.tm_mon = time->date.month - 1;
    parts.tm_mday = time->date.day;
    parts.tm_hour = time->time.hour;
    parts.tm_min = time->time.minute;
    parts.tm_sec = time->time.second;
    std::int64_t seconds = timegm(&parts);
    if (parts.tm_mday != time->date.day) {
        return false;  // the month has no such day
    }
    if (const auto zone = time->time.timeZone) {
        const std::int64_t minutes = zone->hours < 0 ? -zone->minutes : zone->minutes;
        seconds -= zone->hours * HOUR + minutes * MINUTE;
    }
    milliseconds = seconds * 1000 + time->time.millisecond.value_or(0);
    return true;
}

}  // namespace kova::kit::detail
