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

/// A string of bytes, embedded zeros allowed, that is not changed but replaced as a whole: half the
/// size of a `std::string`, and up to 15 bytes of text lie in it. The keys and texts of trees are
/// such strings.
///
/// It turns into a `std::string` or a `std::string_view` by itself, and compares with both. A view
/// is valid while the string is neither changed nor moved nor destroyed. One thread at a time, or
/// many that only read.
class UTIL_API CompactString {
public:
    /// An empty string.
    CompactString() noexcept = default;
    /// A copy of the text; `std::bad_alloc` when memory is exhausted.
    explicit CompactString(std::string_view text) {
        if (text.size() <= NEAR) {
            keepNear(text);
        } else {
            keepFar(text);
        }
    }
    /// @{
    /// A copy; `std::bad_alloc` when memory is exhausted, and then nothing was changed.
    CompactString(const CompactString& other) : CompactString(std::string_view(other)) {}
    CompactString& operator=(const CompactString& other) { return *this = CompactString(other); }
    /// @}
    /// @{
    /// Take the text over; `other` is left empty.
    CompactString(CompactString&& other) noexcept : bytes_(other.bytes_) { other.bytes_ = EMPTY; }
    CompactString& operator=(CompactString&& other) noexcept {
        if (this != &other) {
            freeFar();
            bytes_ = other.bytes_;
            other.bytes_ = EMPTY;
        }
        return *this;
    }
    /// @}
    ~CompactString() { freeFar(); }

    /// Becomes a copy of a text that is no part of its own; `std::bad_alloc` when memory is
    /// exhausted, and then nothing was changed.
    void assign(std::string_view text) {
        if (text.size() > NEAR) {
            *this = CompactString(text);
            return;
        }
        freeFar();
        bytes_ = EMPTY;
        keepNear(text);
    }

    /// The bytes, and a zero behind them.
    char const* data() const noexcept { return isFar() ? far() + sizeof(std::size_t) : near(); }
    /// The same.
    char const* c_str() const noexcept { return data(); }
    /// Number of bytes.
    std::size_t size() const noexcept {
        return isFar() ? farSize() : NEAR - static_cast<std::size_t>(bytes_[NEAR]);
    }
    /// Whether there are none.
    bool empty() const noexcept { return size() == 0; }
    /// @{
    /// The text; as a `std::string` a copy, `std::bad_alloc` when there is no memory for it.
    operator std::string_view() const noexcept { return {data(), size()}; }
    operator std::string() const { return std::string(std::string_view(*this)); }
    std::string str() const { return *this; }
    /// @}

    /// @{
    /// Whether the bytes are the same, or come first in byte-wise order.
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
    /// Both texts as one; `std::bad_alloc` when memory is exhausted.
    friend std::string operator+(const CompactString& a, std::string_view b) {
        return a.str().append(b);
    }
    friend std::string operator+(std::string_view a, const CompactString& b) {
        return std::string(a).append(b);
    }
    /// @}

private:
    // Up to `NEAR` bytes lie here. The last byte says how many more would find room, so that it
    // ends a text that fills all of it. A longer text lies behind its size in a block of memory,
    // whose address is here.
    static constexpr std::size_t NEAR = 15;
    static constexpr char FAR = NEAR + 1;  // in the last byte
    using Bytes = std::array<char, NEAR + 1>;
    static constexpr Bytes EMPTY = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, NEAR};

    bool isFar() const noexcept { return bytes_[NEAR] == FAR; }
    char const* near() const noexcept { return bytes_.data(); }
    char const* far() const noexcept {
        char const* block = nullptr;
        std::memcpy(&block, bytes_.data(), sizeof block);
        return block;
    }
    std::size_t farSize() const noexcept {
        std::size_t size = 0;
        std::memcpy(&size, far(), sizeof size);
        return size;
    }
    // Without a call: pieces of the greatest size that fits, which may have bytes in common.
    void keepNear(std::string_view text) noexcept {
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
        bytes_[NEAR] = static_cast<char>(NEAR - size);
    }
    template <std::size_t PIECE>
    void copyEnds(std::string_view text) noexcept {
        const std::size_t last = text.size() - PIECE;
        std::memcpy(bytes_.data(), text.data(), PIECE);
        std::memcpy(bytes_.data() + last, text.data() + last, PIECE);
    }
    void keepFar(std::string_view text);
    void freeFar() noexcept {
        if (isFar()) {
            ::operator delete(const_cast<char*>(far()));
        }
    }

    alignas(char*) Bytes bytes_ = EMPTY;
};

/// Writes the bytes, like a `std::string_view`.
UTIL_API std::ostream& operator<<(std::ostream& out, const CompactString& text);

}  // namespace util::config
