#pragma once

#include <string_view>

#include "util/Export.h"
#include "util/config/Container.h"
#include "util/config/Scalars.h"

namespace util::config {

/// A node that maps string keys to child nodes, in ascending byte-wise order of the keys. It owns
/// its children.
///
/// Changing operations return false on success and true on failure.
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
    /// Puts `value` under the key and takes it over, whatever the result: when memory is exhausted
    /// it is destroyed and true returned. A key that is present gets the new value, the former one
    /// is destroyed. A null `value` is not added (true). `add` and `set` do the same; by custom
    /// `add` is written for a new key and `set` for a present one.
    /// A null `key` is no key: the same failure.
    bool add(char const* key, Value* value) noexcept;
    bool add(std::string_view key, Value* value) noexcept;
    bool set(char const* key, Value* value) noexcept;
    bool set(std::string_view key, Value* value) noexcept;
    /// @}

    /// Removes the entry; true when there is none. With `destroy` false the child is not destroyed
    /// and belongs to the caller, who looked it up before.
    bool remove(char const* key, bool destroy) noexcept;
    bool remove(std::string_view key, bool destroy) noexcept;
    /// Destroys all children.
    void clear() noexcept;
    /// Exchanges the entries of two dictionaries.
    void swap(Dictionary& other) noexcept { entries_.swap(other.entries_); }
    /// Makes room for `count` entries in all; a hint that may be ignored.
    void reserve(unsigned long count) noexcept { entries_.reserve(count); }

    /// Number of entries.
    unsigned long size() const noexcept { return entries_.size(); }
    /// The entries in the order of their keys, for reading.
    const Entries& entries() const noexcept { return entries_; }

private:
    friend class TreeBuilder;
    /// As `add`, for a key that is greater than all present ones.
    bool append(std::string_view key, Value* value) noexcept;
    static bool put(Value** place, Value* value) noexcept;
    Value** destroyLeaves(NodeReleases& releases) noexcept override;
    Value* popChild() noexcept override;

    Entries entries_;
};

}  // namespace util::config
