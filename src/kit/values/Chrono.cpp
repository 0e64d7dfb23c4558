#include "kova/kit/values/Chrono.h"

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

}  // namespace kova::kit::detail
