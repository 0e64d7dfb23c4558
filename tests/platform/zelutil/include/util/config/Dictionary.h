#pragma once

#include "util/config/Value.h"

namespace util::config {

/// A node that maps keys to child nodes, which it owns.
class Dictionary : public Value {
public:
    Dictionary() = default;
    ~Dictionary() override;

    bool isDictionary() const override { return true; }

    /// @{
    /// Takes ownership of `value`. Replaces the child of an existing key.
    void add(char const* key, Value* value) { set(key, value); }
    void set(char const* key, Value* value);
    /// @}
    /// Removes the entry, and destroys its child if `destroy` is true.
    void remove(char const* key, bool destroy);

private:
    friend class Value;
    Item item() const override;

    Entries entries_;
};

}  // namespace util::config
