#pragma once

#include "zel/Export.h"

namespace zel {

/// Aborts the process on unrecoverable errors.
class ZEL_API GlobalErrorHandler {
public:
    /// A function that is called before the process is aborted. It may log or flush. It may also
    /// leave without returning, by `_exit` or, in a test, by an exception.
    using Handler = void (*)(char const* file, char const* function, char const* message);

    /// Calls the handler with the source file, the function and the reason, and calls `std::abort`
    /// when the handler returns. Never returns. Any thread may call it. A call from inside the
    /// handler calls the default handler instead. Does not allocate memory.
    [[noreturn]] static void doAbort(char const* file, char const* function, char const* message);

    /// Replaces the handler and returns the former one, or null if that was the default. Null
    /// restores the default handler, which writes "FILE: FUNCTION: MESSAGE" to standard error. Any
    /// thread may call it.
    static Handler setHandler(Handler handler) noexcept;
};

}  // namespace zel
