#pragma once

#include <string>

/// Reference validation of the texts of typed values. Each function returns whether the expression
/// of a type matches the whole text and all numbers are in range. The regular-expression engine
/// recurses for every digit, so pass texts from `reference::truncatedText` only.
namespace fuzz::forms {

bool isDate(const std::string& text);
bool isTime(const std::string& text);
bool isDateTime(const std::string& text);
bool isDuration(const std::string& text);
bool isPosition(const std::string& text);
bool isColour(const std::string& text);

}  // namespace fuzz::forms
