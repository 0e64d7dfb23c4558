#include "util/config/Container.h"

namespace util::config {

namespace {

// Down to this many levels children are destroyed on the spot, while they are in the processor's
// cache; what lies deeper waits on the list.
constexpr int MAX_DESCENT = 32;

}  // namespace

class Container::Doomed {
public:
    bool empty() const noexcept { return first_ == nullptr; }
    Container* pop() noexcept {
        Container* container = first_;
        first_ = container->next_;
        return container;
    }

    void destroy(Container* container) noexcept {
        if (depth_ == MAX_DESCENT) {
            push(container);
            return;
        }
        ++depth_;
        container->surrender(*this);
        delete container;
        --depth_;
    }

private:
    void push(Container* container) noexcept {
        container->next_ = first_;
        first_ = container;
    }

    Container* first_ = nullptr;
    int depth_ = 0;
};

void Container::destroyChildren() noexcept {
    Doomed doomed;
    surrender(doomed);
    while (!doomed.empty()) {
        doomed.destroy(doomed.pop());
    }
}

void Container::doom(Doomed& doomed, Value* child) noexcept {
    if (child->isDictionary() || child->isArray()) {
        doomed.destroy(static_cast<Container*>(child));
    } else if (child->kind() > Kind::Boolean) {
        delete child;
    } else {
        destroy(child);  // most likely a shared one
    }
}

}  // namespace util::config
