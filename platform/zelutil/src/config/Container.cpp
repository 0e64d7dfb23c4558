#include "util/config/Container.h"

namespace util::config {

class Container::Doomed {
public:
    bool empty() const noexcept { return first_ == nullptr; }
    void push(Container* container) noexcept {
        container->next_ = first_;
        first_ = container;
    }
    Container* pop() noexcept {
        Container* container = first_;
        first_ = container->next_;
        return container;
    }

private:
    Container* first_ = nullptr;
};

void Container::destroyChildren() noexcept {
    Doomed doomed;
    surrender(doomed);
    while (!doomed.empty()) {
        Container* container = doomed.pop();
        container->surrender(doomed);
        delete container;
    }
}

void Container::doom(Doomed& doomed, Value* child) noexcept {
    if (child->isDictionary() || child->isArray()) {
        doomed.push(static_cast<Container*>(child));
    } else {
        destroy(child);
    }
}

}  // namespace util::config
