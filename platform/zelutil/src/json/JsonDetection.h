#pragma once

#include <simdjson.h>

namespace util::json {

/// An initializer that makes the JSON library select its implementation for this processor. The
/// library allocates memory for the selection, and cannot handle a failed allocation. Each source
/// file that parses JSON has an object of this class at namespace scope, so the selection happens
/// when this library is loaded. The object is in the same file as the code that needs it, so the
/// linker keeps it.
class ProcessorDetection {
public:
    /// Selects the implementation.
    ProcessorDetection() { static_cast<void>(simdjson::get_active_implementation()->name()); }
};

}  // namespace util::json
