#pragma once

#include <array>
#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace util::config {

/// A stack of the containers that a traversal of a tree has entered, with the innermost on top. The
/// first 8 levels are stored inline, so a tree of common depth needs no allocation.
template <typename Level>
class Stack {
public:
    /// Returns whether there are no levels.
    bool empty() const noexcept { return size_ == 0; }
    /// Returns the number of levels.
    std::size_t size() const noexcept { return size_; }
    /// Returns the innermost level. The reference is valid until the next push. The stack must not
    /// be empty.
    Level& top() noexcept { return size_ <= INLINE_CAPACITY ? inline_[size_ - 1] : heap_.back(); }
    /// Pushes a level that is constructed in place from the arguments. Throws `std::bad_alloc` if
    /// memory is exhausted; nothing is pushed then.
    template <typename... Arguments>
    void push(Arguments&&... arguments) {
        static_assert(std::is_trivially_destructible_v<Level>);
        if (size_ < INLINE_CAPACITY) {
            new (&inline_[size_]) Level(std::forward<Arguments>(arguments)...);
        } else {
            heap_.emplace_back(std::forward<Arguments>(arguments)...);
        }
        ++size_;
    }
    /// Removes the innermost level. The stack must not be empty.
    void pop() noexcept {
        if (size_ > INLINE_CAPACITY) {
            heap_.pop_back();
        }
        --size_;
    }

private:
    static constexpr std::size_t INLINE_CAPACITY = 8;

    std::array<Level, INLINE_CAPACITY> inline_;
    std::vector<Level> heap_;
    std::size_t size_ = 0;
};

}  // namespace util::config
