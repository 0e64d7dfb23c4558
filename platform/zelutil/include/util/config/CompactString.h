#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <iosfwd>
#include <new>
#include <string>
#include <string_view>

#include "util/Export.h"

namespace util::config {

namespace detail {
/// Returns a new block that contains the size of the text, the text and a zero. Release it with
/// `operator delete`. Throws `std::bad_alloc` if memory is exhausted.
UTIL_API char* newTextBlock(std::string_view text);
}  // namespace detail

/// A string of bytes, which may contain zeros. The keys and texts of value trees have this type.
///
/// It has half the size of a `std::string` and stores up to 15 bytes inline. It can only be
/// replaced as a whole, not modified. It converts implicitly to `std::string` and
/// `std::string_view`, and compares with both. A view is valid until the string is assigned to,
/// moved from or destroyed. Concurrent reads are safe; concurrent changes are not.
class UTIL_API CompactString {
public:
    /// Creates an empty string.
    CompactString() noexcept = default;
    /// Copies the text. Throws `std::bad_alloc` if memory is exhausted.
    explicit CompactString(std::string_view text) {
        if (text.size() <= INLINE_CAPACITY) {
            storeInline(text);
        } else {
            storeOnHeap(text);
        }
    }
    /// @{
    /// Copies the string. Throws `std::bad_alloc` if memory is exhausted.
    CompactString(const CompactString& other) : CompactString(std::string_view(other)) {}
    CompactString& operator=(const CompactString& other) { return *this = CompactString(other); }
    /// @}
    /// @{
    /// Moves the text of `other` into this string; `other` is then empty.
    CompactString(CompactString&& other) noexcept : bytes_(other.bytes_) { other.bytes_ = EMPTY; }
    CompactString& operator=(CompactString&& other) noexcept {
        if (this != &other) {
            freeHeap();
            bytes_ = other.bytes_;
            other.bytes_ = EMPTY;
        }
        return *this;
    }
    /// @}
    ~CompactString() { freeHeap(); }

    /// Replaces the text by a copy of `text`, which must not be a part of this string. Throws
    /// `std::bad_alloc` if memory is exhausted; the string is then unchanged.
    void assign(std::string_view text) {
        if (text.size() > INLINE_CAPACITY) {
            *this = CompactString(text);
            return;
        }
        freeHeap();
        bytes_ = EMPTY;
        storeInline(text);
    }

    /// Returns the bytes, followed by a zero.
    char const* data() const noexcept {
        return isOnHeap() ? heapBlock() + sizeof(std::size_t) : inlineBytes();
    }
    /// Returns `data()`.
    char const* c_str() const noexcept { return data(); }
    /// Returns the number of bytes.
    std::size_t size() const noexcept {
        return isOnHeap() ? heapSize()
                          : INLINE_CAPACITY - static_cast<std::size_t>(bytes_[INLINE_CAPACITY]);
    }
    /// Returns whether the string has no bytes.
    bool empty() const noexcept { return size() == 0; }
    /// @{
    /// Returns the text. The functions that return a `std::string` copy it and throw
    /// `std::bad_alloc` if memory is exhausted.
    operator std::string_view() const noexcept { return {data(), size()}; }
    operator std::string() const { return std::string(std::string_view(*this)); }
    std::string str() const { return *this; }
    /// @}

    /// @{
    /// Compares the bytes, as unsigned numbers.
    friend bool operator==(const CompactString& a, const CompactString& b) noexcept {
        return std::string_view(a) == std::string_view(b);
    }
    friend bool operator==(const CompactString& a, std::string_view b) noexcept {
        return std::string_view(a) == b;
    }
    friend bool operator==(std::string_view a, const CompactString& b) noexcept { return b == a; }
    friend bool operator!=(const CompactString& a, const CompactString& b) noexcept {
        return !(a == b);
    }
    friend bool operator!=(const CompactString& a, std::string_view b) noexcept {
        return !(a == b);
    }
    friend bool operator!=(std::string_view a, const CompactString& b) noexcept {
        return !(a == b);
    }
    friend bool operator<(const CompactString& a, const CompactString& b) noexcept {
        return std::string_view(a) < std::string_view(b);
    }
    friend bool operator<(const CompactString& a, std::string_view b) noexcept {
        return std::string_view(a) < b;
    }
    friend bool operator<(std::string_view a, const CompactString& b) noexcept {
        return a < std::string_view(b);
    }
    /// @}
    /// @{
    /// Returns the concatenation. Throws `std::bad_alloc` if memory is exhausted.
    friend std::string operator+(const CompactString& a, std::string_view b) {
        return a.str().append(b);
    }
    friend std::string operator+(std::string_view a, const CompactString& b) {
        return std::string(a).append(b);
    }
    /// @}

private:
    // A text of up to `INLINE_CAPACITY` bytes is stored in `bytes_`. The last byte is then the
    // number of unused bytes. If no byte is unused, the last byte is 0 and terminates the text. For
    // a longer text, the last byte is `HEAP`, and `bytes_` begins with the address of a block that
    // contains the size, the text and a zero.
    static constexpr std::size_t INLINE_CAPACITY = 15;
    static constexpr char HEAP = INLINE_CAPACITY + 1;  // value of the last byte
    using Bytes = std::array<char, INLINE_CAPACITY + 1>;
    static constexpr Bytes EMPTY = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, INLINE_CAPACITY};

    bool isOnHeap() const noexcept { return bytes_[INLINE_CAPACITY] == HEAP; }
    char const* inlineBytes() const noexcept { return bytes_.data(); }
    char const* heapBlock() const noexcept {
        char const* block = nullptr;
        std::memcpy(&block, bytes_.data(), sizeof block);
        return block;
    }
    std::size_t heapSize() const noexcept {
        std::size_t size = 0;
        std::memcpy(&size, heapBlock(), sizeof size);
        return size;
    }
    // Copies the text without a call of memcpy: as two chunks of the largest size that fits. The
    // chunks may overlap.
    void storeInline(std::string_view text) noexcept {
        const std::size_t size = text.size();
        if (size >= sizeof(long long)) {
            copyEnds<sizeof(long long)>(text);
        } else if (size >= sizeof(int)) {
            copyEnds<sizeof(int)>(text);
        } else if (size != 0) {
            bytes_[0] = text[0];
            bytes_[size / 2] = text[size / 2];
            bytes_[size - 1] = text[size - 1];
        }
        bytes_[INLINE_CAPACITY] = static_cast<char>(INLINE_CAPACITY - size);
    }
    template <std::size_t PIECE>
    void copyEnds(std::string_view text) noexcept {
        const std::size_t last = text.size() - PIECE;
        std::memcpy(bytes_.data(), text.data(), PIECE);
        std::memcpy(bytes_.data() + last, text.data() + last, PIECE);
    }
    void storeOnHeap(std::string_view text) {
        char const* const block = detail::newTextBlock(text);
        std::memcpy(bytes_.data(), &block, sizeof block);
        bytes_[INLINE_CAPACITY] = HEAP;
    }
    void freeHeap() noexcept {
        if (isOnHeap()) {
            ::operator delete(const_cast<char*>(heapBlock()));
        }
    }

    alignas(char*) Bytes bytes_ = EMPTY;
};

/// Writes the bytes, like a `std::string_view`.
UTIL_API std::ostream& operator<<(std::ostream& out, const CompactString& text);

}  // namespace util::config
