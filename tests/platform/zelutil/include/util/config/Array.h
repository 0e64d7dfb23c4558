#pragma once

#include <vector>

#include "util/config/Value.h"

namespace util::config {

/// A node that holds a list of child nodes, which it owns.
class Array : public Value {
public:
    Array() = default;
    ~Array() override;

    bool isArray() const override { return true; }

    /// Appends `value` and takes ownership of it.
    void add(Value* value) { elements_.push_back(value); }

private:
    friend class Value;
    Item item() const override;

    std::vector<Value*> elements_;
};

}  // namespace util::config
