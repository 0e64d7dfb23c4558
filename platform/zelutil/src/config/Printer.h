#pragma once

#include "TextBuffer.h"
#include "util/config/Value.h"

namespace util::config {

/// Appends a tree as JSON text, as described at `Value::print`, without recursion. Returns true if
/// memory is exhausted.
[[nodiscard]] bool printTree(const Value& root, TextBuffer& text, bool compact) noexcept;

}  // namespace util::config
