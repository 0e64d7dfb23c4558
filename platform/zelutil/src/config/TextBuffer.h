#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

namespace util::config {

/// A growing text with inline storage for its first 1024 bytes, enough for most headers and small
/// payloads.
class TextBuffer {
public:
    TextBuffer() noexcept = default;
    TextBuffer(const TextBuffer&) = delete;
    TextBuffer& operator=(const TextBuffer&) = delete;

    /// Returns the text. The view is valid until the next call of `reserve`.
    std::string_view text() const noexcept {
        return {begin_, static_cast<std::size_t>(end_ - begin_)};
    }

    /// Reserves `size` bytes and returns their address, where the caller writes them. Returns null
    /// if memory is exhausted.
    [[nodiscard]] char* reserve(std::size_t size) noexcept {
        return static_cast<std::size_t>(limit_ - end_) >= size || !grow(size) ? end_ : nullptr;
    }
    /// Marks everything up to `end` as written. `end` is in the bytes that were reserved last.
    void commit(char* end) noexcept { end_ = end; }

private:
    // At least doubles the capacity, so that the cost of moving is proportional to the text.
    bool grow(std::size_t size) noexcept {
        const std::size_t used = text().size();
        const std::size_t capacity =
            std::max(2 * static_cast<std::size_t>(limit_ - begin_), used + size);
        std::unique_ptr<char[]> larger(new (std::nothrow) char[capacity]);
        if (larger == nullptr) {
            return true;
        }
        std::memcpy(larger.get(), begin_, used);
        heap_.swap(larger);
        begin_ = heap_.get();
        end_ = begin_ + used;
        limit_ = begin_ + capacity;
        return false;
    }

    std::array<char, 1024> inline_;  // left uninitialized
    std::unique_ptr<char[]> heap_;
    char* begin_ = inline_.data();
    char* end_ = begin_;
    char* limit_ = begin_ + inline_.size();
};

}  // namespace util::config
