#pragma once

#include "util/config/Value.h"

// What is done with whole trees, without recursion.
namespace util::config {

/// What `Value::operator==` says.
bool equalTrees(const Value& a, const Value& b);

/// What `Value::clone` says.
Value* cloneTree(const Value& root) noexcept;

}  // namespace util::config
