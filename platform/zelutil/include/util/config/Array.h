#pragma once

#include <vector>

#include "util/Export.h"
#include "util/config/Container.h"
#include "util/config/Scalars.h"

namespace util::config {

/// A node that holds an ordered list of child nodes. It owns its children.
///
/// Changing operations return false on success and true on failure.
///
///     util::config::Array sizes;
///     sizes.add(new util::config::ValueInt(640));
///     int size = 0;
///     const bool failed = sizes[0].get(size);
class UTIL_API Array : public Container {
public:
    Array() noexcept : Container(Kind::Array) {}
    ~Array() override;

    /// Appends `value` and takes it over, whatever the result: when memory is exhausted it is
    /// destroyed and true returned. A null `value` is not added (true).
    bool add(Value* value) noexcept;
    /// Inserts before the element at `index`; the size as index appends, a greater one fails. The
    /// value is taken over whatever the result.
    bool insert(unsigned long index, Value* value) noexcept;
    /// Replaces the element at `index`, destroying the former one; fails past the end. The value is
    /// taken over whatever the result.
    bool set(unsigned long index, Value* value) noexcept;
    /// Removes the element at `index`; true past the end. With `destroy` false the element belongs
    /// to the caller, who looked it up before.
    bool remove(unsigned long index, bool destroy) noexcept;
    /// Destroys all elements.
    void clear() noexcept { destroyChildren(); }
    /// Exchanges the elements of two arrays.
    void swap(Array& other) noexcept { elements_.swap(other.elements_); }
    /// Makes room for `count` elements in all; a hint that may be ignored.
    void reserve(unsigned long count) noexcept;

    /// The elements in their order, for reading.
    const std::vector<Value*>& elements() const noexcept { return elements_; }

private:
    Value** destroyLeaves(NodeReleases& releases) noexcept override;
    Value* popChild() noexcept override;

    std::vector<Value*> elements_;
};

}  // namespace util::config
