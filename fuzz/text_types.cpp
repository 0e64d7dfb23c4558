// The six types with a text form: each takes exactly the texts that its expression matches and
// whose numbers are in range, reports once when it refuses, and prints what reads back.
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "kova/core/dovglobals/Date.h"
#include "kova/core/dovglobals/DateTime.h"
#include "kova/core/dovglobals/Duration.h"
#include "kova/core/dovglobals/GeoPosition.h"
#include "kova/core/dovglobals/RGBA.h"
#include "kova/core/dovglobals/Time.h"
#include "support/Fuzz.h"
#include "support/Reference.h"

using namespace fuzz;
using namespace kova::dovglobals;
using Groups = std::vector<std::string>;

namespace {

constexpr std::size_t LENGTH = 400;  // the engine recurses for every digit

bool within(const std::string& digits, int low, int high) {
    const int number = digits.empty() ? low : std::stoi(digits);
    return low <= number && number <= high;
}

bool isDate(const Groups& g) {
    return within(g[2], 1, 12) && within(g[3], 1, 31);
}

// Of the six groups of a time from `first` on; a zone is a "Z" or has two groups of its own.
bool isTime(const Groups& g, std::size_t first) {
    return within(g[first], 0, 23) && within(g[first + 1], 0, 59) && within(g[first + 2], 0, 59) &&
           within(g[first + 5], -23, 23) && within(g[first + 6], 0, 59);
}

bool isDuration(const Groups& g) {
    return within(g[2], 0, 12) && within(g[3], 0, 31) && within(g[4], 0, 23) &&
           within(g[5], 0, 59) && within(g[6], 0, 59);
}

bool isPosition(const Groups& g) {
    return std::all_of(g.begin() + 1, g.end(), [](const std::string& coordinate) {
        return std::isfinite(std::strtod(coordinate.c_str(), nullptr));
    });
}

bool isColour(const Groups& g) {
    const std::size_t green = g[1].find(',') + 1;
    const std::size_t blue = g[1].find(',', green) + 1;
    const bool full = g[2][0] == '1' && g[2].find_first_not_of("0.", 1) != std::string::npos;
    // A fraction that is lost in a float does not count.
    return within(g[1], 0, 255) && within(g[1].substr(green), 0, 255) &&
           within(g[1].substr(blue), 0, 255) && (!full || std::stof(g[2]) <= 1.0F);
}

template <typename Parse, typename InRange>
void check(const std::string& text, char const* expression, Parse parse, InRange inRange) {
    const Groups groups = reference::matchExpression(expression, text);
    const auto value = parse(text);
    require(value.has_value() == (!groups.empty() && inRange(groups)), expression);
    require(takeReports() == (value ? 0 : 1), "a text that is refused is reported once");
    if (value) {
        const std::string printed = value->toString();
        const auto again = parse(printed);
        takeReports();
        // Very small alphas show with an exponent.
        require(again || printed.find("e-") != std::string::npos, "what was printed is read");
        requireEqual(again ? again->toString() : printed, printed, "and prints the same");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    const std::string text(reinterpret_cast<char const*>(data), std::min(size, LENGTH));
    check(text, R"(^(\d{4})-(\d{2})-(\d{2})$)", parseDate, isDate);
    check(text, R"(^(\d{2}):(\d{2}):(\d{2})(\.\d{3})?(Z|((?:\+|\-)\d{2}):(\d{2}))$)", parseTime,
          [](const Groups& g) { return isTime(g, 1); });
    check(text,
          R"(^(\d{4})-(\d{2})-(\d{2})T(\d{2}):(\d{2}):(\d{2})(\.\d{3})?)"
          R"((Z|((?:\+|\-)\d{2}):(\d{2}))$)",
          parseDateTime, [](const Groups& g) { return isDate(g) && isTime(g, 4); });
    check(text, R"(^P(\d{4})-(\d{2})-(\d{2})T(\d{2}):(\d{2}):(\d{2})$)", parseDuration, isDuration);
    check(text, R"(^([+-]?\d+(?:\.\d+)?);([+-]?\d+(?:\.\d+)?);([+-]?\d+(?:\.\d+)?)$)",
          parseGeoPosition, isPosition);
    check(text, R"(^rgba\(((?:\d{1,3},(?: |\t)?){3})((?:1|0)?\.\d+)\)$)", parseRGBA, isColour);
    return 0;
}
