#pragma once

#include <array>
#include <cstddef>
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
    /// `std::bad_alloc` when memory is exhausted, and then nothing was pushed.
    void push(const Level& level) {
        if (size_ < FIRST) {
            first_[size_] = level;
        } else {
            more_.push_back(level);
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
