#pragma once

#include <cstddef>

namespace util {

/// The maximum nesting depth of arrays and structs in a text or payload that is read or written. A
/// deeper document is rejected. The limit bounds the memory and the stack that untrusted input can
/// use. Trees that are built in code may be deeper: they are destroyed, cloned, compared and
/// printed without recursion.
constexpr std::size_t MAX_NESTING_DEPTH = 256;

}  // namespace util
