#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kova::test {

/// A function definition in C++ source text. A test of GoogleTest counts as a function whose name
/// is the name of the macro.
struct Function {
    std::string name;
    std::string arguments;        ///< the text between the parentheses
    int line;                     ///< the line of the opening brace of the body
    std::set<std::string> words;  ///< the identifiers in the body
};

/// Returns the function definitions in the text, without nested definitions. Comments and literals
/// are ignored.
std::vector<Function> functionsIn(std::string_view source);

/// Returns the tests in `source` without an assertion, as "LINE: ARGUMENTS OF THE MACRO". A test
/// has an assertion if it uses an assertion of GoogleTest, or calls a function of `source` or
/// `helpers` that has one.
std::vector<std::string> testsWithoutAssertion(std::string_view source,
                                               const std::vector<Function>& helpers);

}  // namespace kova::test
