#pragma once

#include "util/Export.h"
#include "util/config/Value.h"

namespace util::config {

class NodeReleases;

/// The common base of `Dictionary` and `Array`. It destroys a tree of any depth without recursion
/// and without allocating memory. Not for use by callers.
class UTIL_API Container : public Value {
protected:
    using Value::Value;

    /// Destroys everything below this container, which is empty afterwards. The derived destructors
    /// call it.
    void destroyChildren() noexcept;

private:
    // Those of the `Array` or `Dictionary` that this container is.
    UTIL_LOCAL Value** destroyLeaves(NodeReleases& releases) noexcept;
    UTIL_LOCAL Value* popChild() noexcept;
};

}  // namespace util::config
