#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kova::test {

/// A function definition in C++ source text. A test of GoogleTest is one, named by its macro.
struct Function {
    std::string name;
    std::string arguments;        ///< the text between the parentheses
    int line;                     ///< of the opening brace of the body
    std::set<std::string> words;  ///< the identifiers in the body
};

/// Returns the function definitions in the text, without those inside another one. Comments and
/// literals are ignored.
std::vector<Function> functionsIn(std::string_view source);

/// Returns the tests in `source` that assert nothing, as "LINE: ARGUMENTS OF THE MACRO". A test
/// asserts if it uses an assertion of GoogleTest or the name of a function that asserts, which may
/// be in `source` or among `helpers`.
std::vector<std::string> testsWithoutAssertion(std::string_view source,
                                               const std::vector<Function>& helpers);

}  // namespace kova::test
