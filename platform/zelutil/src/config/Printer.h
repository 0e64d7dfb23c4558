#pragma once

#include "TextBuffer.h"
#include "util/config/Value.h"

namespace util::config {

/// Appends a tree as JSON text, as `Value::print` describes it, without recursion. True when memory
/// is exhausted.
[[nodiscard]] bool printTree(const Value& root, TextBuffer& text, bool compact) noexcept;

}  // namespace util::config
