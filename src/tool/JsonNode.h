#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "util/config/Value.h"

namespace kova::tool {

/// A type of JSON Schema.
struct JsonType {
    /// The name in schemas, such as "integer".
    std::string_view name;
    /// The name in messages, such as "an integer".
    char const* words;
    /// Returns whether a value has the type. A value can have two types, such as integer and
    /// number.
    bool (*matches)(const util::config::Value&);
};

/// Returns the type with the name, or null.
JsonType const* jsonTypeNamed(std::string_view name);

/// @{
/// Return whether a value has the type. A number without a fraction, such as 3.0, is an integer.
bool isNumber(const util::config::Value& value);
bool isInteger(const util::config::Value& value);
bool isText(const util::config::Value& value);
/// @}

/// Returns the text of a node, or "" if the node is not a text.
std::string textOf(const util::config::Value& value);
/// Returns the number of a node, rounded to a double, or nothing if the node is not a number.
std::optional<double> numberOf(const util::config::Value& value);
/// Returns whether the number `left` is less than the number `right`. Two integers are compared
/// exactly, other numbers as doubles. Returns false if a node is not a number.
bool isLess(const util::config::Value& left, const util::config::Value& right);
/// Returns a short text of a value for messages: a scalar as JSON, at most 60 columns wide, or the
/// type of a container.
std::string shown(const util::config::Value& value);
/// Returns the index that a text of decimal digits names, or nothing.
std::optional<std::size_t> indexOf(std::string_view text);

/// Returns the place of a member: "place.name", or "name" if the place is "".
std::string placeOf(const std::string& place, std::string_view name);
/// Returns the place of an element: "place[index]".
std::string placeOf(const std::string& place, std::size_t index);

}  // namespace kova::tool
