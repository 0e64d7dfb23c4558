#pragma once

#include <string>

#include "util/config/Value.h"

namespace kova::detail {

/// Returns the compact JSON text of the value: `print` with `util::config::Value::g_print_compact`
/// set for its duration and restored afterwards. Prints of several threads take turns, because the
/// flag is one for the process. `std::bad_alloc` when memory is exhausted.
std::string printCompact(const util::config::Value& value);

}  // namespace kova::detail
