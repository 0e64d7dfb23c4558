#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

namespace util {

/// A growing list of plain items. The first `INLINE_CAPACITY` items are stored inline, so that
/// common cases need no allocation.
///
/// Items are copied byte by byte and never destroyed. They are not initialized before `push`, so
/// creating a large buffer costs nothing.
template <class Item, std::size_t INLINE_CAPACITY>
class SmallBuffer {
    static_assert(std::is_trivially_copyable_v<Item> && std::is_trivially_destructible_v<Item>);

public:
    SmallBuffer() noexcept = default;
    ~SmallBuffer() { freeHeap(); }
    SmallBuffer(const SmallBuffer&) = delete;
    SmallBuffer& operator=(const SmallBuffer&) = delete;

    /// Returns the number of items.
    std::size_t size() const noexcept { return static_cast<std::size_t>(end_ - begin_); }
    /// Returns whether there are no items.
    bool empty() const noexcept { return end_ == begin_; }
    /// Returns the number of items for which memory is reserved.
    std::size_t capacity() const noexcept { return static_cast<std::size_t>(limit_ - begin_); }
    /// Returns whether all reserved memory is in use.
    bool isFull() const noexcept { return end_ == limit_; }
    /// @{
    /// Returns the items or one item. Pointers and references are valid until memory is reserved.
    Item* data() noexcept { return begin_; }
    Item const* data() const noexcept { return begin_; }
    Item& operator[](std::size_t index) noexcept { return begin_[index]; }
    const Item& operator[](std::size_t index) const noexcept { return begin_[index]; }
    Item& back() noexcept { return end_[-1]; }
    const Item& back() const noexcept { return end_[-1]; }
    /// @}

    /// Removes all items and keeps the memory.
    void clear() noexcept { end_ = begin_; }
    /// Removes the last item. The buffer must not be empty.
    void pop() noexcept { --end_; }

    /// Reserves memory for exactly `capacity` items in total. Does nothing if the capacity is
    /// already larger. Returns false, without changing anything, if memory is exhausted.
    [[nodiscard]] bool reserve(std::size_t capacity) noexcept {
        return capacity <= this->capacity() || moveTo(capacity);
    }
    /// Reserves memory for `count` more items. At least doubles the capacity, so that the total
    /// cost of moving is proportional to the number of items. Returns false, without changing
    /// anything, if memory is exhausted.
    [[nodiscard]] bool reserveMore(std::size_t count) noexcept {
        return count <= static_cast<std::size_t>(limit_ - end_) ||
               reserve(std::max(2 * capacity(), size() + count));
    }

    /// Appends an item. Memory for it must be reserved.
    void push(const Item& item) noexcept { *end_++ = item; }
    /// Appends an item that is constructed from the arguments. Throws `std::bad_alloc`, without
    /// appending anything, if memory is exhausted.
    template <typename... Arguments>
    void emplace(Arguments&&... arguments) {
        if (!reserveMore(1)) {
            throw std::bad_alloc();
        }
        new (end_) Item{std::forward<Arguments>(arguments)...};
        ++end_;
    }
    /// Sets the end to `end`, after the caller has written the items before it. `end` must be in
    /// the reserved memory.
    void commit(Item* end) noexcept { end_ = end; }
    /// Returns the position after the last item. The caller may write there, up to the capacity.
    Item* end() noexcept { return end_; }

private:
    // Moves the items to a block on the heap. The function is not inlined, so that its callers need
    // not save registers.
    [[gnu::noinline]] bool moveTo(std::size_t capacity) noexcept {
        auto* const larger = new (std::nothrow) Item[capacity];
        if (larger == nullptr) {
            return false;
        }
        const std::size_t size = this->size();
        std::memcpy(static_cast<void*>(larger), begin_, size * sizeof(Item));
        freeHeap();
        begin_ = larger;
        end_ = begin_ + size;
        limit_ = begin_ + capacity;
        return true;
    }
    void freeHeap() noexcept {
        if (begin_ != inline_.data()) {
            delete[] begin_;
        }
    }

    std::array<Item, INLINE_CAPACITY> inline_;  // left uninitialized
    Item* begin_ = inline_.data();              // the inline items, or a block on the heap
    Item* end_ = begin_;
    Item* limit_ = begin_ + INLINE_CAPACITY;
};

}  // namespace util
