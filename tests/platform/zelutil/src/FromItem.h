#pragma once

#include "util/config/Value.h"

namespace util::config {

/// Returns the item as a tree, which the caller owns.
Value* fromItem(const Item& item, bool unicodeStrings);

}  // namespace util::config
