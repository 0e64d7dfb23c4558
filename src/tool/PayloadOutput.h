#pragma once

#include "Context.h"
#include "ExitStatus.h"
#include "kova/core/Response.h"

namespace kova::tool {

/// How a payload is printed.
struct PayloadForm {
    /// Prints the bytes verbatim, even to a terminal, and adds no line break.
    bool raw = false;
    /// Prints a payload in the binary format verbatim instead of as JSON.
    bool binary = false;
};

/// Prints a payload on standard output. JSON and text end with a line break; the binary format
/// becomes JSON. Bytes that are not a text are printed verbatim, but not to a terminal: there a
/// message says how to get them. On a terminal, the control characters of a text are replaced.
/// Returns `FAILED` if a payload in the binary format cannot be read, and else `DONE`.
ExitStatus printPayload(const Context& context, const Payload& payload, const PayloadForm& form);

/// Prints the code, the header and the type of the payload of a response on standard error.
void printHeader(const Context& context, const Response& response);

}  // namespace kova::tool
