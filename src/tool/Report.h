#pragma once

#include <string>

#include "Context.h"
#include "ExitStatus.h"
#include "Target.h"
#include "kova/kit/End.h"
#include "kova/kit/Result.h"

namespace kova::tool {

/// Prints an error on standard error: "kova: TEXT", and on the next line what the user can do about
/// it, if there is advice.
void printError(const Context& context, const std::string& text, const std::string& advice = {});

/// Prints the reason of a usage error, and returns `MISUSED`.
ExitStatus misused(const Context& context, const kit::Error& error);

/// Prints why a session cannot be opened and what the user can do about it. Returns `MISUSED` for
/// the code 400, and else `NO_SERVICE`.
ExitStatus reportOpen(const Context& context, const kit::Error& error);

/// Prints how a request has failed and what the user can do about it. Prints nothing if it was
/// completed. Returns the exit status.
ExitStatus reportEnd(const Context& context, const Target& target, const kit::End& end);

}  // namespace kova::tool
