#pragma once

#include <vector>

#include "util/Export.h"
#include "util/config/Container.h"
#include "util/config/Scalars.h"

namespace util::config {

/// A node that holds an ordered list of child nodes. It owns its children.
///
/// The functions that change the array return false on success and true on failure. On failure the
/// array is unchanged.
///
///     util::config::Array sizes;
///     sizes.add(new util::config::ValueInt(640));
///     int size = 0;
///     const bool failed = sizes[0].get(size);
class UTIL_API Array : public Container {
public:
    Array() noexcept : Container(Kind::Array) {}
    ~Array() override;

    /// Appends `value`. Takes ownership of `value`, even on failure: `value` is then destroyed.
    /// Fails if `value` is null or memory is exhausted.
    bool add(Value* value) noexcept;
    /// Inserts `value` before the element at `index`, or appends it if `index` is the size. Takes
    /// ownership of `value` and fails as `add` does. Also fails if `index` is greater than the
    /// size.
    bool insert(unsigned long index, Value* value) noexcept;
    /// Replaces the element at `index` by `value` and destroys the former element. Takes ownership
    /// of `value` as `add` does. Fails if `value` is null or `index` is past the end.
    bool set(unsigned long index, Value* value) noexcept;
    /// Removes the element at `index`. If `destroy` is true, the element is destroyed. If it is
    /// false, the caller takes ownership of the element. The caller must get its address before the
    /// call, because `remove` does not return it. Fails if `index` is past the end.
    bool remove(unsigned long index, bool destroy) noexcept;
    /// Destroys all elements.
    void clear() noexcept { destroyChildren(); }
    /// Swaps the elements of two arrays.
    void swap(Array& other) noexcept { elements_.swap(other.elements_); }
    /// Reserves capacity for `count` elements in total. This is only a hint: if memory is
    /// exhausted, the function does nothing.
    void reserve(unsigned long count) noexcept;

    /// Returns the elements in their order. The reference is valid as long as the array exists.
    const std::vector<Value*>& elements() const noexcept { return elements_; }

private:
    friend class Container;
    // Destroys the children in reverse order until the last one is a container. Returns the address
    // of the pointer to that container, or null if no child is left.
    UTIL_LOCAL Value** destroyLeaves(NodeReleases& releases) noexcept;
    // Removes the last child without destroying it and returns it.
    UTIL_LOCAL Value* popChild() noexcept;

    std::vector<Value*> elements_;
};

}  // namespace util::config
