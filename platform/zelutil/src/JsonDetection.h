#pragma once

#include <simdjson.h>

namespace util::json {

/// Makes the JSON library choose its code for this processor, for which it allocates memory that it
/// cannot do without. An object at namespace scope of each source file that parses JSON does that
/// when the library is loaded; no linker drops it, as it lies beside the code that needs it.
class ProcessorDetection {
public:
    ProcessorDetection() { static_cast<void>(simdjson::get_active_implementation()->name()); }
};

}  // namespace util::json
