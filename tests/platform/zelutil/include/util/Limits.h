#pragma once

#include <cstddef>

namespace util {

/// The maximum nesting depth of arrays and structs in a text or payload.
constexpr std::size_t MAX_NESTING_DEPTH = 256;

}  // namespace util
