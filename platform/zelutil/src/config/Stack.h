#pragma once

#include <array>
#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace util::config {

/// The containers that a walk over a tree has entered, the innermost on top. A tree of ordinary
/// depth takes no memory.
template <typename Level>
class Stack {
public:
    bool empty() const noexcept { return size_ == 0; }
    std::size_t size() const noexcept { return size_; }
    /// The innermost one, until the next one is pushed; not of an empty stack.
    Level& top() noexcept { return size_ <= FIRST ? first_[size_ - 1] : more_.back(); }
    /// Makes a level of the arguments where it is kept. `std::bad_alloc` when memory is exhausted,
    /// and then nothing was pushed.
    template <typename... Arguments>
    void push(Arguments&&... arguments) {
        static_assert(std::is_trivially_destructible_v<Level>);
        if (size_ < FIRST) {
            new (&first_[size_]) Level(std::forward<Arguments>(arguments)...);
        } else {
            more_.emplace_back(std::forward<Arguments>(arguments)...);
        }
        ++size_;
    }
    void pop() noexcept {
        if (size_ > FIRST) {
            more_.pop_back();
        }
        --size_;
    }

private:
    static constexpr std::size_t FIRST = 8;

    std::array<Level, FIRST> first_;
    std::vector<Level> more_;
    std::size_t size_ = 0;
};

}  // namespace util::config
