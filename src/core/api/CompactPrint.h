#pragma once

#include <string>

#include "util/config/Value.h"

namespace kova::detail {

/// Returns the compact JSON text of the value. Sets `util::config::Value::g_print_compact` during
/// the call of `print` and restores it afterwards. Only one thread prints at a time, because the
/// flag is shared by the process. Throws `std::bad_alloc` if memory is exhausted.
std::string printCompact(const util::config::Value& value);

}  // namespace kova::detail
