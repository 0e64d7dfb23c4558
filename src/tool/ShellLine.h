#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kova/kit/Result.h"

namespace kova::tool {

/// Returns the words of a line of `kova shell`. Blanks separate words. In single quotes every
/// character is literal; in double quotes, and outside of quotes, a backslash makes the next
/// character literal. "#" at the beginning of a word begins a comment. Nothing is expanded, so a
/// '$' needs no quotes. Fails with 400 if a quote is not closed.
kit::Result<std::vector<std::string>> wordsOfLine(std::string_view line);

/// What the completion of a line does.
struct LineCompletion {
    /// The text to insert at the cursor.
    std::string insertion;
    /// The candidates to show, if the insertion does not decide between them.
    std::vector<std::string> choices;
};

/// Returns the words in front of the cursor for `completionsOf`. The last one is the word at the
/// cursor, which may be empty or have an open quote.
std::vector<std::string> wordsToComplete(std::string_view line);

/// Returns what to insert behind `line`, whose last word has these candidates: the text that they
/// have in common and, if there is only one and it is a complete word, the closing quote and a
/// blank.
LineCompletion completeLine(std::string_view line, const std::vector<std::string>& candidates);

}  // namespace kova::tool
