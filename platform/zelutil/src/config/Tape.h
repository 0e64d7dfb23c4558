#pragma once

#include <simdjson.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace util::config {

/// The words that the JSON library makes of a text, as its document on the "tape" describes them:
/// one for a string or a plain value, two for a number, and for an array or an object one at
/// either end. Places are indices of words. Valid until the library parses another text.
class Tape {
public:
    explicit Tape(const simdjson::dom::document& document) noexcept
        : words_(document.tape.get()), strings_(document.string_buf.get()) {}

    /// Where the value of the text is; the word before it only says where the tape ends.
    static constexpr std::size_t ROOT = 1;
    /// Number of words.
    std::size_t size() const noexcept { return payload(0); }

    /// `[`, `{`, `"`, `l` for a signed integer, `u` for an unsigned one, `d` for a double, `t`, `f`
    /// or `n`.
    char kind(std::size_t at) const noexcept { return static_cast<char>(words_[at] >> 56U); }
    std::string_view text(std::size_t at) const noexcept {
        std::uint32_t size = 0;  // in front of the bytes
        std::uint8_t const* const string = strings_ + payload(at);
        std::memcpy(&size, string, sizeof size);
        return {reinterpret_cast<char const*>(string + sizeof size), size};
    }
    /// The bits of a number.
    template <typename Number>
    Number number(std::size_t at) const noexcept {
        static_assert(sizeof(Number) == sizeof *words_);
        Number value{};
        std::memcpy(&value, words_ + at + 1, sizeof value);
        return value;
    }
    /// Number of children of an array or object; a very large number is not exact.
    std::size_t count(std::size_t at) const noexcept { return (words_[at] >> 32U) & 0xFFFFFFU; }
    /// The word that ends the array or object.
    std::size_t endOf(std::size_t at) const noexcept {
        return static_cast<std::uint32_t>(words_[at]) - 1U;
    }
    /// Where what comes next begins or ends, which for a container is its first child or its end.
    std::size_t next(std::size_t at) const noexcept { return at + (isNumber(kind(at)) ? 2 : 1); }
    /// Where what comes behind the value or key begins, or its container ends.
    std::size_t after(std::size_t at) const noexcept {
        const char what = kind(at);
        return what == '[' || what == '{' ? endOf(at) + 1 : next(at);
    }

private:
    static bool isNumber(char kind) noexcept { return kind == 'l' || kind == 'u' || kind == 'd'; }
    std::uint64_t payload(std::size_t at) const noexcept {
        return words_[at] & 0x00FFFFFFFFFFFFFFU;
    }

    std::uint64_t const* words_;
    std::uint8_t const* strings_;
};

}  // namespace util::config
