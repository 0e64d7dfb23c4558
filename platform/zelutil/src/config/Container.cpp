#include "util/config/Container.h"

#include "config/NodeBlocks.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"

namespace util::config {

Value** Container::destroyLeaves(NodeReleases& releases) noexcept {
    return kind() == Kind::Array ? static_cast<Array*>(this)->destroyLeaves(releases)
                                 : static_cast<Dictionary*>(this)->destroyLeaves(releases);
}

Value* Container::popChild() noexcept {
    return kind() == Kind::Array ? static_cast<Array*>(this)->popChild()
                                 : static_cast<Dictionary*>(this)->popChild();
}

// Descends into the last child that is a container, and ascends when a container has no children
// left. While a child is being destroyed, its pointer in the parent stores the address of the
// parent's own parent, so the function can ascend without a stack.
void Container::destroyChildren() noexcept {
    NodeReleases releases;
    Container* container = this;
    Container* parent = nullptr;
    for (;;) {
        Value** child = container->destroyLeaves(releases);
        if (child != nullptr) {
            auto* const next = static_cast<Container*>(*child);
            *child = parent;
            parent = container;
            container = next;
        } else if (container == this) {
            return;
        } else {
            auto* const above = static_cast<Container*>(parent->popChild());
            releases.destroy(container);
            container = parent;
            parent = above;
        }
    }
}

}  // namespace util::config
