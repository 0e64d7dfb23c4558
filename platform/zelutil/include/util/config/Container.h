#pragma once

#include "util/Export.h"
#include "util/config/Value.h"

namespace util::config {

class NodeReleases;

/// What dictionary and array share: the means to destroy a tree of any depth on a small stack and
/// without memory. Not for use by callers.
class UTIL_API Container : public Value {
protected:
    using Value::Value;

    /// Destroys the children from the last one on, up to one that is a container. Gives the place
    /// where that one stands, null when no child is left.
    virtual Value** destroyLeaves(NodeReleases& releases) noexcept = 0;
    /// Takes out the last child without destroying it.
    virtual Value* popChild() noexcept = 0;
    /// Destroys everything below this container; none are left. The derived destructors call it.
    void destroyChildren() noexcept;
};

}  // namespace util::config
