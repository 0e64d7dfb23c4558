#pragma once

#include "util/Export.h"
#include "util/config/Value.h"

namespace util::config {

class NodeReleases;

/// The common base of `Dictionary` and `Array`. It destroys a tree of any depth without recursion
/// and without allocating memory. Not part of the public interface.
class UTIL_API Container : public Value {
protected:
    using Value::Value;

    /// Destroys everything below this container; the container is then empty. The derived
    /// destructors call it.
    void destroyChildren() noexcept;

private:
    // Calls the function of the same name in `Array` or `Dictionary`.
    UTIL_LOCAL Value** destroyLeaves(NodeReleases& releases) noexcept;
    UTIL_LOCAL Value* popChild() noexcept;
};

}  // namespace util::config
