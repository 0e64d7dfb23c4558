#pragma once

#include <string>
#include <vector>

/// The reference for globs and for the texts of typed values: the regular expressions of the
/// standard library, which define both. They are compiled in a separate source that is optimized
/// and not instrumented, because only our own code is fuzzed. The engine recurses and backtracks,
/// so its inputs must be short.
namespace fuzz::reference {

/// @{
/// Truncates a glob, a path or another text to a length that the engine can process.
std::string truncatedGlob(const std::string& glob);
std::string truncatedPath(const std::string& path);
std::string truncatedText(const std::string& text);
/// @}

/// Returns "match" or "no match", or the reason why the glob is rejected.
std::string matchGlob(const std::string& glob, const std::string& path);

/// Returns the groups of an ECMAScript expression, beginning with the whole match. A group that did
/// not participate is an empty text. Returns an empty vector if the expression does not match the
/// whole `text`. The result of compiling `expression` is cached by its address, so it must be a
/// constant.
std::vector<std::string> matchExpression(char const* expression, const std::string& text);

}  // namespace fuzz::reference
