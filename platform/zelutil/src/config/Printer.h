#pragma once

#include "bytes/SmallBuffer.h"
#include "util/config/Value.h"

namespace util::config {

/// A growing text. Its inline storage suffices for most headers and small payloads.
using TextBuffer = SmallBuffer<char, 1024>;

/// Appends a tree as JSON text, as described at `Value::print`, without recursion. Returns false if
/// memory is exhausted.
[[nodiscard]] bool printTree(const Value& root, TextBuffer& text, bool compact) noexcept;

}  // namespace util::config
