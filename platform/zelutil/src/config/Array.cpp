#include "util/config/Array.h"

#include <new>
#include <stdexcept>

#include "config/Cursor.h"
#include "config/NodeBlocks.h"

namespace util::config {

Array::~Array() {
    destroyChildren();
}

bool Array::add(Value* value) noexcept {
    if (value == nullptr) {
        return true;
    }
    try {
        elements_.push_back(value);
        return false;
    } catch (const std::bad_alloc&) {
    } catch (const std::length_error&) {
    }
    destroy(value);
    return true;
}

bool Array::insert(unsigned long index, Value* value) noexcept {
    if (value == nullptr) {
        return true;
    }
    if (index <= elements_.size()) {
        try {
            elements_.insert(elements_.begin() + static_cast<std::ptrdiff_t>(index), value);
            return false;
        } catch (const std::bad_alloc&) {
        } catch (const std::length_error&) {
        }
    }
    destroy(value);
    return true;
}

bool Array::set(unsigned long index, Value* value) noexcept {
    if (value == nullptr) {
        return true;
    }
    if (index >= elements_.size()) {
        destroy(value);
        return true;
    }
    if (elements_[index] != value) {
        destroy(elements_[index]);
        elements_[index] = value;
    }
    return false;
}

bool Array::remove(unsigned long index, bool destroy) noexcept {
    if (index >= elements_.size()) {
        return true;
    }
    Value* element = elements_[index];
    elements_.erase(elements_.begin() + static_cast<std::ptrdiff_t>(index));
    if (destroy) {
        Value::destroy(element);
    }
    return false;
}

void Array::reserve(unsigned long count) noexcept {
    try {
        elements_.reserve(count);
    } catch (const std::bad_alloc&) {
        return;  // the reservation is only a hint
    } catch (const std::length_error&) {
        return;
    }
}

Value* Array::popChild() noexcept {
    Value* const child = elements_.back();
    elements_.pop_back();
    return child;
}

Value** Array::destroyLeaves(NodeReleases& releases) noexcept {
    while (!elements_.empty()) {
        if (isContainer(*elements_.back())) {
            return &elements_.back();
        }
        releases.destroyLeaf(elements_.back());
        elements_.pop_back();
    }
    return nullptr;
}

}  // namespace util::config
