#include "Times.h"

#include <charconv>
#include <cstdint>
#include <optional>
#include <utility>

namespace kova::tool {

namespace {

using std::chrono::milliseconds;

constexpr std::pair<std::string_view, std::int64_t> UNITS[] = {
    {"ms", 1}, {"s", 1000}, {"m", 60000}, {"h", 3600000}};
constexpr std::int64_t LONGEST = std::int64_t{24} * 24 * 3600 * 1000;
constexpr std::size_t MOST_DECIMALS = 3;

std::optional<std::int64_t> unitOf(std::string_view text) {
    for (const auto& [name, factor] : UNITS) {
        if (text == name) {
            return factor;
        }
    }
    return std::nullopt;
}

// Parses "1", "1.5" or "1.505" as thousandths.
std::optional<std::int64_t> thousandthsOf(std::string_view text) {
    const std::size_t point = text.find('.');
    std::string digits(text.substr(0, point));
    const std::string_view decimals =
        point == std::string_view::npos ? std::string_view() : text.substr(point + 1);
    if (digits.empty() || decimals.size() > MOST_DECIMALS ||
        (point != std::string_view::npos && decimals.empty())) {
        return std::nullopt;
    }
    digits.append(decimals).append(MOST_DECIMALS - decimals.size(), '0');
    std::int64_t number = 0;
    char const* const end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, number);
    const bool isWhole = read.ec == std::errc() && read.ptr == end && digits[0] != '-';
    return isWhole ? std::optional<std::int64_t>(number) : std::nullopt;
}

std::string pairText(std::int64_t high, char const* highUnit, std::int64_t low,
                     char const* lowUnit) {
    std::string text = std::to_string(high) + ' ' + highUnit;
    if (low != 0) {
        text += ' ' + std::to_string(low) + ' ' + lowUnit;
    }
    return text;
}

}  // namespace

kit::Result<milliseconds> parseTime(std::string_view text) {
    if (text == "0") {
        return milliseconds(0);
    }
    const std::size_t unitAt = text.find_first_not_of("0123456789.");
    const auto unit = unitAt == std::string_view::npos ? std::nullopt : unitOf(text.substr(unitAt));
    const auto thousandths = unit ? thousandthsOf(text.substr(0, unitAt)) : std::nullopt;
    if (!thousandths || *thousandths / 1000 > LONGEST / *unit) {
        return kit::Error{400, "'" + std::string(text) +
                                   "' is not a time; write a number with a unit, such as 250ms, "
                                   "1.5s, 2m or 1h, at most 576h"};
    }
    return milliseconds((*thousandths * *unit + 999) / 1000);  // rounded up: 0 means no limit
}

std::string toText(milliseconds time) {
    const std::int64_t count = time.count();
    const std::int64_t seconds = count / 1000;
    if (count < 1000) {
        return std::to_string(count) + " ms";
    }
    if (seconds < 60) {
        const std::int64_t tenths = count / 100 % 10;
        return std::to_string(seconds) + (tenths != 0 ? "." + std::to_string(tenths) : "") + " s";
    }
    if (seconds < 3600) {
        return pairText(seconds / 60, "m", seconds % 60, "s");
    }
    if (seconds < 86400) {
        return pairText(seconds / 3600, "h", seconds / 60 % 60, "m");
    }
    return pairText(seconds / 86400, "d", seconds / 3600 % 24, "h");
}

}  // namespace kova::tool
