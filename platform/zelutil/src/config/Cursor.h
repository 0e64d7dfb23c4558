#pragma once

#include <string>

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
    /// Stands at the first child of an array or a dictionary.
    explicit Cursor(const Value& container) noexcept : container_(&container) {
        if (isDictionary()) {
            entry_ = container.begin();
        } else {
            element_ = array().elements().data();
        }
    }

    bool isDictionary() const noexcept { return container_->isDictionary(); }
    bool atEnd() const noexcept {
        if (isDictionary()) {
            return entry_ == container_->end();
        }
        return element_ == array().elements().data() + array().elements().size();
    }
    /// The child it stands at; not at the end.
    const Value& child() const noexcept { return isDictionary() ? *entry_->second : **element_; }
    /// The child's key in a dictionary; not at the end.
    const std::string& key() const noexcept { return entry_->first; }
    void next() noexcept {
        if (isDictionary()) {
            ++entry_;
        } else {
            ++element_;
        }
    }

private:
    const Array& array() const noexcept { return static_cast<const Array&>(*container_); }

    const Value* container_;
    Value* const* element_ = nullptr;
    ConstIterator entry_;
};

}  // namespace util::config
