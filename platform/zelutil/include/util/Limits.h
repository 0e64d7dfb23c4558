#pragma once

#include <cstddef>

namespace util {

/// The greatest depth of nested arrays and structs in a text or payload that is read or written. A
/// document of this depth is accepted, one that is a level deeper is refused. The limit bounds the
/// memory and the stack that untrusted input can use. Trees built in code may be deeper: they are
/// destroyed, cloned, compared and printed without recursion.
constexpr std::size_t MAX_NESTING_DEPTH = 256;

}  // namespace util
