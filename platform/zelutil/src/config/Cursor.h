#pragma once

#include "util/config/Array.h"
#include "util/config/Dictionary.h"

namespace util::config {

inline bool isContainer(const Value& node) noexcept {
    return node.isArray() || node.isDictionary();
}

/// Where a walk stands among the children of one container. A stack of cursors walks a whole tree
/// without recursion. Valid while the container is unchanged.
class Cursor {
public:
    /// Stands nowhere, to be assigned to.
    Cursor() noexcept = default;
    /// Stands at the first child of an array or a dictionary.
    explicit Cursor(const Value& container) noexcept : isDictionary_(container.isDictionary()) {
        if (isDictionary_) {
            entry_ = static_cast<const Dictionary&>(container).entries().begin();
        } else {
            const auto& elements = static_cast<const Array&>(container).elements();
            element_ = elements.data();
            elementEnd_ = element_ + elements.size();
        }
    }

    bool isDictionary() const noexcept { return isDictionary_; }
    bool atEnd() const noexcept {
        return isDictionary_ ? entry_ == ConstIterator() : element_ == elementEnd_;
    }
    /// The child it stands at; not at the end.
    const Value& child() const noexcept { return isDictionary_ ? *entry_->second : **element_; }
    /// The child's key in a dictionary; not at the end.
    const CompactString& key() const noexcept { return entry_->first; }
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
    ConstIterator entry_;  // equal to a new one at the end
};

}  // namespace util::config
