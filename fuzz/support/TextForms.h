#pragma once

#include <string>

/// The texts of typed values: each function tells whether the expression of a type matches the
/// whole text and its numbers are in their ranges. The engine recurses for every digit, so the
/// texts are bearable ones (`reference::bearableText`).
namespace fuzz::forms {

bool isDate(const std::string& text);
bool isTime(const std::string& text);
bool isDateTime(const std::string& text);
bool isDuration(const std::string& text);
bool isPosition(const std::string& text);
bool isColour(const std::string& text);

}  // namespace fuzz::forms
