#pragma once

#include <memory>

#include "kova/kit/Export.h"
#include "util/config/Value.h"

namespace kova::kit {

/// Deletes a node of a value tree unless it is one of the shared nodes.
struct TreeDeleter {
    /// Deletes the node.
    void operator()(util::config::Value* value) const noexcept {
        util::config::Value::destroy(value);
    }
};

/// An owned value tree, or null.
///
///     const kova::kit::Tree tree(util::config::Value::getBool(true));
///     tree->isBool();  // true
using Tree = std::unique_ptr<util::config::Value, TreeDeleter>;

}  // namespace kova::kit
