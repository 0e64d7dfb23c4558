#pragma once

#include <string>
#include <vector>

#include "Context.h"

namespace kova::tool {

/// Parses the words of a command line, without the name of the program, and executes them. Returns
/// the exit status (`ExitStatus.h`). Sets the colours of the screens as the options and the
/// variables NO_COLOR and TERM say.
int runProgram(std::vector<std::string> arguments, Context& context);

}  // namespace kova::tool
