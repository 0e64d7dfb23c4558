#pragma once

#include <string_view>

#include "util/Export.h"
#include "util/config/Container.h"
#include "util/config/Scalars.h"

namespace util::config {

template <class Source>
class TreeAssembler;

/// A node that maps string keys to child nodes, in ascending byte-wise order of the keys. It owns
/// its children.
///
/// The functions that change the dictionary return false on success and true on failure. On failure
/// the dictionary is unchanged.
///
///     util::config::Dictionary size;
///     size.add("width", new util::config::ValueInt(640));
///     int width = 0;
///     const bool failed = size["width"].get(width);
class UTIL_API Dictionary : public Container {
public:
    Dictionary() noexcept : Container(Kind::Dictionary) {}
    ~Dictionary() override;

    /// @{
    /// Adds `value` under the key. If the key exists, replaces its value and destroys the former
    /// one. Takes ownership of `value`, even on failure: `value` is then destroyed. Fails if `key`
    /// or `value` is null or memory is exhausted. `add` and `set` do the same; by convention `add`
    /// is used for a new key and `set` for an existing key.
    bool add(char const* key, Value* value) noexcept;
    bool add(std::string_view key, Value* value) noexcept;
    bool set(char const* key, Value* value) noexcept;
    bool set(std::string_view key, Value* value) noexcept;
    /// @}

    /// Removes the entry with the key. If `destroy` is true, the child is destroyed. If it is
    /// false, the caller takes ownership of the child. The caller must get its address before the
    /// call, because `remove` does not return it. Fails if the key does not exist.
    bool remove(char const* key, bool destroy) noexcept;
    bool remove(std::string_view key, bool destroy) noexcept;
    /// Destroys all children.
    void clear() noexcept;
    /// Swaps the entries of two dictionaries.
    void swap(Dictionary& other) noexcept { entries_.swap(other.entries_); }
    /// Reserves capacity for `count` entries in total. This is only a hint: if memory is exhausted,
    /// the function does nothing.
    void reserve(unsigned long count) noexcept { entries_.reserve(count); }

    /// Returns the number of entries.
    unsigned long size() const noexcept { return entries_.size(); }
    /// Returns the entries in the order of their keys. The reference is valid as long as the
    /// dictionary exists.
    const Entries& entries() const noexcept { return entries_; }

private:
    template <class Source>
    friend class TreeAssembler;
    friend class Container;
    /// Adds an entry at the end, as `add` does. The key must be greater than all existing keys.
    UTIL_LOCAL bool append(std::string_view key, Value* value) noexcept;
    UTIL_LOCAL static bool put(Value** place, Value* value) noexcept;
    // Destroys the children in reverse order until the last one is a container. Returns the address
    // of the pointer to that container, or null if no child is left.
    UTIL_LOCAL Value** destroyLeaves(NodeReleases& releases) noexcept;
    // Removes the last child without destroying it and returns it.
    UTIL_LOCAL Value* popChild() noexcept;

    Entries entries_;
};

}  // namespace util::config
