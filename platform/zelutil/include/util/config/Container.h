#pragma once

#include "util/Export.h"
#include "util/config/Value.h"

namespace util::config {

/// What dictionary and array share: the means to destroy a tree of any depth on a small stack and
/// without memory. Not for use by callers.
class UTIL_API Container : public Value {
protected:
    using Value::Value;

    /// Containers whose turn to be destroyed has not come, linked through `next_`.
    class Doomed;
    /// Gives up the children, one by one through `doom`; none are left.
    virtual void surrender(Doomed& doomed) noexcept = 0;
    /// Destroys everything below this container; none are left. The derived destructors call it.
    void destroyChildren() noexcept;
    /// Destroys `child`, or puts it on the list when it lies too deep; shared nodes are left.
    static void doom(Doomed& doomed, Value* child) noexcept;

private:
    Container* next_ = nullptr;
};

}  // namespace util::config
