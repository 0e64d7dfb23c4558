#pragma once

#include <string>
#include <vector>

/// The standard library's regular expressions, which define globs and the texts of typed values. In
/// a source of their own that is optimized and not instrumented: what is fuzzed is our code. The
/// engine recurses and backtracks, so it gets short texts only.
namespace fuzz::reference {

/// @{
/// As much of a glob, a path or another text as the engine bears.
std::string bearableGlob(const std::string& glob);
std::string bearablePath(const std::string& path);
std::string bearableText(const std::string& text);
/// @}

/// Why a glob is rejected, else "match" or "no match".
std::string matchGlob(const std::string& glob, const std::string& path);

/// What the groups of an ECMAScript expression hold, the whole match first; nothing for one that
/// took no part. Empty when the whole of `text` does not match. `expression` is compiled once, so
/// it must be a constant.
std::vector<std::string> matchExpression(char const* expression, const std::string& text);

}  // namespace fuzz::reference
