#include "JsonNode.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <system_error>

#include "Text.h"
#include "kova/kit/Values.h"
#include "util/config/Scalars.h"

namespace kova::tool {

namespace {

using util::config::Value;

constexpr unsigned WIDEST = 60;

constexpr std::array<JsonType, 7> TYPES = {
    {{"null", "null", [](const Value& value) { return value.isNull(); }},
     {"boolean", "a boolean", [](const Value& value) { return value.isBool(); }},
     {"integer", "an integer", isInteger},
     {"number", "a number", isNumber},
     {"string", "a string", isText},
     {"array", "an array", [](const Value& value) { return value.isArray(); }},
     {"object", "an object", [](const Value& value) { return value.isDictionary(); }}}};

}  // namespace

JsonType const* jsonTypeNamed(std::string_view name) {
    const auto* const row = std::find_if(
        TYPES.begin(), TYPES.end(), [name](const JsonType& each) { return each.name == name; });
    return row == TYPES.end() ? nullptr : row;
}

bool isNumber(const Value& value) {
    return value.isInt() || value.isFloat();
}

bool isInteger(const Value& value) {
    const auto number = numberOf(value);
    return number && std::trunc(*number) == *number;
}

bool isText(const Value& value) {
    return value.isString() || value.isUnicodeString();
}

std::string textOf(const Value& value) {
    if (!isText(value)) {
        return {};
    }
    return kit::fromTree<std::string>(value).valueOr({});
}

std::optional<double> numberOf(const Value& value) {
    double number = 0;
    return value.get(number) ? std::nullopt : std::optional<double>(number);
}

bool isLess(const Value& left, const Value& right) {
    if (!left.isInt() || !right.isInt()) {
        const auto first = numberOf(left);
        const auto second = numberOf(right);
        return first && second && *first < *second;
    }
    const auto& first = static_cast<const util::config::ValueInt&>(left);
    const auto& second = static_cast<const util::config::ValueInt&>(right);
    return first.isNegative() == second.isNegative() ? first.bits() < second.bits()
                                                     : first.isNegative();
}

std::string shown(const Value& value) {
    const bool isContainer = value.isArray() || value.isDictionary();
    if (isContainer) {
        return value.isArray() ? "an array" : "an object";
    }
    if (value.isUndefined()) {
        return "nothing";
    }
    return cut(visible(value.toJson(true)), WIDEST);
}

std::optional<std::size_t> indexOf(std::string_view text) {
    std::size_t index = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), index);
    const bool isWhole = read.ec == std::errc() && read.ptr == text.data() + text.size();
    return isWhole ? std::optional<std::size_t>(index) : std::nullopt;
}

std::string placeOf(const std::string& place, std::string_view name) {
    std::string result = place;
    if (!place.empty()) {
        result += '.';
    }
    result += name;
    return result;
}

std::string placeOf(const std::string& place, std::size_t index) {
    return place + "[" + std::to_string(index) + "]";
}

}  // namespace kova::tool
