#pragma once

#include <simdjson.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace util::config {

/// A view of the "tape": the words that the JSON library produces from a text, as its documentation
/// describes. A string, null, true or false has one word, a number has two words. An array or
/// object has one word at its beginning and one at its end. Positions are indices of words. The
/// view is valid until the library parses another text.
class Tape {
public:
    /// Creates a view of the tape of the document.
    explicit Tape(const simdjson::dom::document& document) noexcept
        : words_(document.tape.get()), strings_(document.string_buf.get()) {}

    /// The position of the root value. The word before it only contains the size of the tape.
    static constexpr std::size_t ROOT = 1;
    /// Returns the number of words.
    std::size_t size() const noexcept { return payload(0); }

    /// Returns the kind of the word: `[`, `{`, `"`, `l` for a signed integer, `u` for an unsigned
    /// one, `d` for a double, `t`, `f` or `n`. At the end of a container it is `]` or `}`.
    char kind(std::size_t at) const noexcept { return static_cast<char>(words_[at] >> 56U); }
    /// Returns the text of a string.
    std::string_view text(std::size_t at) const noexcept {
        std::uint32_t size = 0;  // stored before the bytes
        std::uint8_t const* const string = strings_ + payload(at);
        std::memcpy(&size, string, sizeof size);
        return {reinterpret_cast<char const*>(string + sizeof size), size};
    }
    /// @{
    /// Returns the number at `at`, which must have the kind `l`, `u` or `d`.
    std::int64_t signedAt(std::size_t at) const noexcept { return number<std::int64_t>(at); }
    std::uint64_t unsignedAt(std::size_t at) const noexcept { return number<std::uint64_t>(at); }
    double realAt(std::size_t at) const noexcept { return number<double>(at); }
    /// @}
    /// Returns the number of children of an array or object. The number saturates at 0xFFFFFF.
    std::size_t count(std::size_t at) const noexcept { return (words_[at] >> 32U) & 0xFFFFFFU; }
    /// Returns the position of the word that ends the array or object.
    std::size_t endOf(std::size_t at) const noexcept {
        return static_cast<std::uint32_t>(words_[at]) - 1U;
    }
    /// Returns the position of the next value, key or end of a container. If `at` is the beginning
    /// of a container, the next position is its first child, or its end if the container is empty.
    std::size_t next(std::size_t at) const noexcept { return at + (isNumber(kind(at)) ? 2 : 1); }
    /// Returns the position after the whole value or key at `at`. At this position is the next
    /// value or key, or the end of the container.
    std::size_t after(std::size_t at) const noexcept {
        const char first = kind(at);
        return first == '[' || first == '{' ? endOf(at) + 1 : next(at);
    }

    /// Returns the nesting depth of arrays and objects in the value.
    std::size_t depthOf(std::size_t at) const noexcept {
        std::size_t depth = 0;
        std::size_t greatest = 0;
        for (const std::size_t end = after(at); at != end; at = next(at)) {
            const char first = kind(at);
            depth += first == '[' || first == '{' ? 1 : 0;
            greatest = std::max(greatest, depth);
            depth -= first == ']' || first == '}' ? 1 : 0;
        }
        return greatest;
    }

private:
    static bool isNumber(char kind) noexcept { return kind == 'l' || kind == 'u' || kind == 'd'; }
    template <typename Number>
    Number number(std::size_t at) const noexcept {
        static_assert(sizeof(Number) == sizeof *words_);
        Number value{};
        std::memcpy(&value, words_ + at + 1, sizeof value);
        return value;
    }
    std::uint64_t payload(std::size_t at) const noexcept {
        return words_[at] & 0x00FFFFFFFFFFFFFFU;
    }

    std::uint64_t const* words_;
    std::uint8_t const* strings_;
};

}  // namespace util::config
