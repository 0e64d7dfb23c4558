#pragma once

#include <string>
#include <vector>

#include "Context.h"

namespace CLI {
class App;
}  // namespace CLI

namespace kova::tool {

/// Returns what the last of the words of a command line can become, in ascending order: words of
/// the program, options, services of this machine, and resources of the service that the line
/// names. `words` is the command line up to the cursor, without the name of the program.
///
/// A candidate that is not complete yet ends with "$", "/" or ":". Where a path has a parameter,
/// the candidate ends before it. A candidate has no characters that a shell would execute or
/// expand, whatever a service answers.
///
/// Prints nothing and waits for a service at most half a second, or the time in the variable
/// KOVA_COMPLETION_DEADLINE. A service that does not answer in time has no candidates.
std::vector<std::string> candidatesFor(const CLI::App& app, const std::vector<std::string>& words,
                                       const Context& context);

}  // namespace kova::tool
