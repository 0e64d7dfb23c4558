#pragma once

#include <string>
#include <vector>

#include "Context.h"

namespace kova::tool {

/// Parses the words of a command line, without the name of the program, and executes them. Returns
/// the exit status (`ExitStatus.h`). Sets the colours of the screens as the options and the
/// variables NO_COLOR and TERM say.
///
/// With "complete", "--" and words it prints the candidates for the last word, one a line.
int runProgram(std::vector<std::string> arguments, Context& context);

/// Returns what the last argument of a command line of the program can become (`Completion.h`).
std::vector<std::string> completionsOf(const std::vector<std::string>& arguments,
                                       const Context& context);

}  // namespace kova::tool
