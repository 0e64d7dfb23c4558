#pragma once

#include <cstddef>

namespace util {

/// How deep arrays and structs may be nested in a text or payload that is read or written: a
/// document of this depth passes, one level more is refused. It bounds the memory and the stack
/// that a stranger's bytes can ask for. Trees built by hand may be deeper; they are destroyed,
/// cloned, compared and printed without recursion.
constexpr std::size_t MAX_NESTING_DEPTH = 256;

}  // namespace util
