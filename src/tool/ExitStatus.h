#pragma once

#include "kova/kit/End.h"

namespace kova::tool {

/// The exit statuses of the program.
enum ExitStatus : int {
    DONE = 0,           ///< Every request was answered.
    OUTPUT_FAILED = 1,  ///< Standard output or a file cannot be written.
    DIFFERENT = 1,      ///< Two recordings differ.
    MISUSED = 2,        ///< The command line or a payload in it is not valid.
    NO_SERVICE = 3,     ///< There is no service at the address, or the connection was lost.
    REFUSED = 4,        ///< The service answered with a code from 400 to 499.
    FAILED = 5,         ///< The service answered with another error, or violated the protocol.
    TIMED_OUT = 124,    ///< The deadline passed.
    INTERRUPTED = 130   ///< Ctrl-C or SIGTERM ended the program.
};

/// Returns the exit status for the end of a request.
ExitStatus exitStatusOf(const kit::End& end);

}  // namespace kova::tool
