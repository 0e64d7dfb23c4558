#pragma once

#include "util/config/Array.h"
#include "util/config/Dictionary.h"

namespace util::config {

/// Returns whether the node is an array or a dictionary.
inline bool isContainer(const Value& node) noexcept {
    return node.isArray() || node.isDictionary();
}

/// A position among the children of one container. A function can traverse a whole tree without
/// recursion by keeping a stack of cursors. A cursor is valid while the container is unchanged.
class Cursor {
public:
    /// Creates a cursor without a container. The only allowed operation is assignment.
    Cursor() noexcept = default;
    /// Creates a cursor at the first child of an array or a dictionary.
    explicit Cursor(const Value& container) noexcept : isDictionary_(container.isDictionary()) {
        if (isDictionary_) {
            entry_ = static_cast<const Dictionary&>(container).entries().begin();
        } else {
            const auto& elements = static_cast<const Array&>(container).elements();
            element_ = elements.data();
            elementEnd_ = element_ + elements.size();
        }
    }

    /// Returns whether the container is a dictionary.
    bool isDictionary() const noexcept { return isDictionary_; }
    /// Returns whether the cursor is past the last child.
    bool atEnd() const noexcept {
        return isDictionary_ ? entry_ == ConstIterator() : element_ == elementEnd_;
    }
    /// Returns the child at the cursor. The cursor must not be at the end.
    const Value& child() const noexcept { return isDictionary_ ? *entry_->second : **element_; }
    /// Returns the key of the child in a dictionary. The cursor must not be at the end.
    const CompactString& key() const noexcept { return entry_->first; }
    /// Advances to the next child, or to the end.
    void next() noexcept {
        if (isDictionary_) {
            ++entry_;
        } else {
            ++element_;
        }
    }

private:
    bool isDictionary_ = false;
    Value* const* element_ = nullptr;
    Value* const* elementEnd_ = nullptr;
    ConstIterator entry_;  // at the end, it equals a default-constructed iterator
};

}  // namespace util::config
