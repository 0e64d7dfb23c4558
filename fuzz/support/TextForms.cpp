#include "support/TextForms.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "support/Reference.h"

namespace fuzz::forms {

using reference::matchExpression;
using Groups = std::vector<std::string>;

namespace {

bool within(const std::string& digits, int low, int high) {
    const int number = digits.empty() ? low : std::stoi(digits);
    return low <= number && number <= high;
}

bool hasMonthAndDay(const Groups& g) {
    return within(g[2], 1, 12) && within(g[3], 1, 31);
}

// Validates the groups of a time, which begin at index `first`. A time zone other than "Z" has two
// more groups.
bool hasTime(const Groups& g, std::size_t first) {
    return within(g[first], 0, 23) && within(g[first + 1], 0, 59) && within(g[first + 2], 0, 59) &&
           within(g[first + 5], -23, 23) && within(g[first + 6], 0, 59);
}

}  // namespace

bool isDate(const std::string& text) {
    const Groups g = matchExpression(R"(^(\d{4})-(\d{2})-(\d{2})$)", text);
    return !g.empty() && hasMonthAndDay(g);
}

bool isTime(const std::string& text) {
    const Groups g =
        matchExpression(R"(^(\d{2}):(\d{2}):(\d{2})(\.\d{3})?(Z|((?:\+|\-)\d{2}):(\d{2}))$)", text);
    return !g.empty() && hasTime(g, 1);
}

bool isDateTime(const std::string& text) {
    const Groups g = matchExpression(R"(^(\d{4})-(\d{2})-(\d{2})T(\d{2}):(\d{2}):(\d{2})(\.\d{3})?)"
                                     R"((Z|((?:\+|\-)\d{2}):(\d{2}))$)",
                                     text);
    return !g.empty() && hasMonthAndDay(g) && hasTime(g, 4);
}

bool isDuration(const std::string& text) {
    const Groups g = matchExpression(R"(^P(\d{4})-(\d{2})-(\d{2})T(\d{2}):(\d{2}):(\d{2})$)", text);
    return !g.empty() && within(g[2], 0, 12) && within(g[3], 0, 31) && within(g[4], 0, 23) &&
           within(g[5], 0, 59) && within(g[6], 0, 59);
}

bool isPosition(const std::string& text) {
    const Groups g = matchExpression(
        R"(^([+-]?\d+(?:\.\d+)?);([+-]?\d+(?:\.\d+)?);([+-]?\d+(?:\.\d+)?)$)", text);
    return !g.empty() && std::all_of(g.begin() + 1, g.end(), [](const std::string& coordinate) {
        return std::isfinite(std::strtod(coordinate.c_str(), nullptr));
    });
}

bool isColour(const std::string& text) {
    const Groups g =
        matchExpression(R"(^rgba\(((?:\d{1,3},(?: |\t)?){3})((?:1|0)?\.\d+)\)$)", text);
    if (g.empty()) {
        return false;
    }
    const std::size_t green = g[1].find(',') + 1;
    const std::size_t blue = g[1].find(',', green) + 1;
    const bool full = g[2][0] == '1' && g[2].find_first_not_of("0.", 1) != std::string::npos;
    // A text above 1 is valid if it rounds to 1 as a float.
    return within(g[1], 0, 255) && within(g[1].substr(green), 0, 255) &&
           within(g[1].substr(blue), 0, 255) && (!full || std::stof(g[2]) <= 1.0F);
}

}  // namespace fuzz::forms
