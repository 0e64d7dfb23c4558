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

    /// Destroys the children in reverse order until the last one is a container. Returns the
    /// address of the pointer to that container, or null if no child is left.
    virtual Value** destroyLeaves(NodeReleases& releases) noexcept = 0;
    /// Removes the last child without destroying it and returns it.
    virtual Value* popChild() noexcept = 0;
    /// Destroys everything below this container, which is empty afterwards. The derived destructors
    /// call it.
    void destroyChildren() noexcept;
};

}  // namespace util::config
