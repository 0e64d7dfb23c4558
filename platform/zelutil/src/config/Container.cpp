#include "util/config/Container.h"

#include "NodeBlocks.h"

namespace util::config {

// Goes down the last children and up again. On the way down the place of each child holds the
// container above its parent, so that the way up is known without a stack.
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
