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
/// line breaks and tabulators if `keepsLines` is set. Each byte that is not UTF-8 is replaced, too.
std::string visible(std::string_view text, bool keepsLines = false);

/// Returns the number of columns that a text without control characters needs in a terminal.
unsigned columnsOf(std::string_view text);

/// Returns the text if it is at most `columns` wide. Otherwise returns the longest beginning of the
/// text that leaves a column for "…", followed by "…".
std::string cut(std::string_view text, unsigned columns);

/// Returns the text with blanks added at its end, so that it is at least `columns` wide.
std::string padded(std::string_view text, unsigned columns);

}  // namespace kova::tool
