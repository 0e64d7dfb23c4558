#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace util {

template <class Word>
Word wordAt(char const* bytes) noexcept {
    Word word = 0;
    std::memcpy(&word, bytes, sizeof(word));
    return word;
}

constexpr std::uint64_t NOT_ASCII = 0x8080808080808080U;

/// Returns whether `bytes` has at most 32 bytes and all of them are ASCII. Loads the bytes in
/// machine words, which may overlap.
inline bool isShortAscii(std::string_view bytes) noexcept {
    constexpr std::size_t WORD = sizeof(std::uint64_t);
    char const* const begin = bytes.data();
    char const* const end = begin + bytes.size();
    std::uint64_t all = 0;
    if (bytes.size() >= WORD) {
        all = wordAt<std::uint64_t>(begin) | wordAt<std::uint64_t>(end - WORD);
        if (bytes.size() > 2 * WORD) {
            if (bytes.size() > 4 * WORD) {
                return false;
            }
            all |= wordAt<std::uint64_t>(begin + WORD) | wordAt<std::uint64_t>(end - 2 * WORD);
        }
    } else if (bytes.size() >= WORD / 2) {
        all = wordAt<std::uint32_t>(begin) | wordAt<std::uint32_t>(end - WORD / 2);
    } else if (!bytes.empty()) {
        all = static_cast<unsigned char>(begin[0] | begin[bytes.size() / 2] | end[-1]);
    }
    return (all & NOT_ASCII) == 0;
}

/// Copies fewer than eight bytes to `target`. Returns whether they are ASCII.
inline bool copyTinyText(std::string_view bytes, unsigned char* target) noexcept {
    constexpr std::size_t HALF = sizeof(std::uint32_t);
    const std::size_t size = bytes.size();
    std::uint32_t all = 0;
    if (size >= HALF) {
        const auto first = wordAt<std::uint32_t>(bytes.data());
        const auto last = wordAt<std::uint32_t>(bytes.data() + size - HALF);
        std::memcpy(target, &first, HALF);
        std::memcpy(target + size - HALF, &last, HALF);
        all = first | last;
    } else if (size != 0) {
        const auto first = static_cast<unsigned char>(bytes[0]);
        const auto middle = static_cast<unsigned char>(bytes[size / 2]);
        const auto last = static_cast<unsigned char>(bytes[size - 1]);
        target[0] = first;
        target[size / 2] = middle;
        target[size - 1] = last;
        all = first | middle | last;
    }
    return (all & NOT_ASCII) == 0;
}

/// The greatest number of bytes that `copyShortText` copies.
constexpr std::size_t MAX_WORDS_COPY = 32;

/// Copies at most `MAX_WORDS_COPY` bytes to `target`. Returns whether all of them are ASCII. Copies
/// machine words, which may overlap.
inline bool copyShortText(std::string_view bytes, unsigned char* target) noexcept {
    constexpr std::size_t WORD = sizeof(std::uint64_t);
    char const* const begin = bytes.data();
    const std::size_t size = bytes.size();
    if (size < WORD) {
        return copyTinyText(bytes, target);
    }
    const auto first = wordAt<std::uint64_t>(begin);
    const auto last = wordAt<std::uint64_t>(begin + size - WORD);
    std::uint64_t all = first | last;
    if (size > 2 * WORD) {
        const auto second = wordAt<std::uint64_t>(begin + WORD);
        const auto third = wordAt<std::uint64_t>(begin + size - 2 * WORD);
        std::memcpy(target + WORD, &second, WORD);
        std::memcpy(target + size - 2 * WORD, &third, WORD);
        all |= second | third;
    }
    std::memcpy(target, &first, WORD);
    std::memcpy(target + size - WORD, &last, WORD);
    return (all & NOT_ASCII) == 0;
}

/// Returns whether `bytes` are UTF-8. Checks a short text whose characters have at most two bytes
/// word by word. Checks every other text in blocks of 64 bytes with vector instructions.
bool isLongUtf8(std::string_view bytes) noexcept;

/// Returns whether `bytes` are UTF-8. Names and most strings are short and ASCII; these are checked
/// inline, without a function call.
inline bool isUtf8(std::string_view bytes) noexcept {
    return isShortAscii(bytes) || isLongUtf8(bytes);
}

/// Assigns a text that is longer than the capacity of `out`. Throws `std::bad_alloc` if memory is
/// exhausted; `out` is then unchanged.
[[gnu::noinline]] inline void assignLonger(std::string& out, std::string_view text) {
    out = std::string(text);
}

/// Assigns `text` to `out` in fewer instructions than the general assignment of the standard
/// library needs. `out` keeps its memory. Throws `std::bad_alloc` if memory is exhausted; `out` is
/// then unchanged.
inline void assignText(std::string& out, std::string_view text) {
    if (text.size() <= out.size() && text.size() <= MAX_WORDS_COPY) {
        out.erase(text.size());
        copyShortText(text, reinterpret_cast<unsigned char*>(out.data()));
    } else if (text.size() <= out.capacity()) {
        out.clear();
        out.append(text);
    } else {
        assignLonger(out, text);
    }
}

}  // namespace util
