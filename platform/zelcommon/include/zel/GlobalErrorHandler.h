#pragma once

#include "zel/Export.h"

namespace zel {

/// The end of the process when going on would do harm.
class ZEL_API GlobalErrorHandler {
public:
    /// Told why the process ends; may log, flush, or leave by its own road (`_exit`, or in a test a
    /// thrown exception).
    using Handler = void (*)(char const* file, char const* function, char const* message);

    /// Calls the handler with the source file, the function and the reason, then `std::abort` if
    /// the handler came back. Never returns. Any thread may call it; a handler that calls it itself
    /// gets the default. Does not allocate.
    [[noreturn]] static void doAbort(char const* file, char const* function, char const* message);

    /// Replaces the handler and returns the former one; null restores the default, which writes
    /// "FILE: FUNCTION: MESSAGE" to standard error. Any thread may call it.
    static Handler setHandler(Handler handler) noexcept;
};

}  // namespace zel
