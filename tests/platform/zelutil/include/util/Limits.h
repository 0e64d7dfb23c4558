#pragma once

#include <cstddef>

namespace util {

/// How deep arrays and structs may be nested in a text or payload.
constexpr std::size_t MAX_NESTING_DEPTH = 256;

}  // namespace util
