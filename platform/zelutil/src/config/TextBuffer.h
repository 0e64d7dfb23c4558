#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

namespace util::config {

/// A growing text whose beginning needs no memory of its own: most headers and small payloads end
/// there.
class TextBuffer {
public:
    TextBuffer() noexcept = default;
    TextBuffer(const TextBuffer&) = delete;
    TextBuffer& operator=(const TextBuffer&) = delete;

    std::string_view text() const noexcept {
        return {begin_, static_cast<std::size_t>(end_ - begin_)};
    }

    /// Where the next `size` bytes may be written; null when memory is exhausted.
    [[nodiscard]] char* room(std::size_t size) noexcept {
        return static_cast<std::size_t>(limit_ - end_) >= size || !grow(size) ? end_ : nullptr;
    }
    /// Takes what was written up to `end`, which lies in the room that was given last.
    void take(char* end) noexcept { end_ = end; }

private:
    // Doubles the room at least, so that the cost of moving stays in proportion to the text.
    bool grow(std::size_t size) noexcept {
        const std::size_t used = text().size();
        const std::size_t room =
            std::max(2 * static_cast<std::size_t>(limit_ - begin_), used + size);
        std::unique_ptr<char[]> larger(new (std::nothrow) char[room]);
        if (larger == nullptr) {
            return true;
        }
        std::memcpy(larger.get(), begin_, used);
        heap_.swap(larger);
        begin_ = heap_.get();
        end_ = begin_ + used;
        limit_ = begin_ + room;
        return false;
    }

    std::array<char, 1024> first_;  // not filled before it is written
    std::unique_ptr<char[]> heap_;
    char* begin_ = first_.data();
    char* end_ = begin_;
    char* limit_ = begin_ + first_.size();
};

}  // namespace util::config
