#pragma once

#include "util/config/Value.h"

// Operations on whole trees, without recursion.
namespace util::config {

/// Compares two trees as described at `Value::operator==`.
bool equalTrees(const Value& a, const Value& b);

/// Copies a tree as described at `Value::clone`.
Value* cloneTree(const Value& root) noexcept;

}  // namespace util::config
