#pragma once

#include <string>
#include <string_view>

#include "Context.h"

namespace kova::tool {

/// The colours of texts.
enum class Colour { red, green, blue, faint };

/// Returns the text in a colour, or unchanged if the screen has no colours.
std::string coloured(const Screen& screen, Colour colour, std::string_view text);

/// Returns the text without characters that control a terminal: each is replaced by U+FFFD, except
/// line breaks and tabulators if `keepsLines` is set. So is each byte that is not UTF-8.
std::string visible(std::string_view text, bool keepsLines = false);

/// Returns the number of columns that a text without control characters needs in a terminal.
unsigned columnsOf(std::string_view text);

/// Returns the longest beginning of a text that fits the columns. If it is not the whole text, it
/// ends with "…".
std::string cut(std::string_view text, unsigned columns);

/// Returns the text with blanks at its end, so that it needs at least the columns.
std::string padded(std::string_view text, unsigned columns);

}  // namespace kova::tool
