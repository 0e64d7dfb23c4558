#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "zel/unicode/String.h"

namespace util::serializer {

template <class Word>
Word wordAt(char const* bytes) noexcept {
    Word word = 0;
    std::memcpy(&word, bytes, sizeof(word));
    return word;
}

/// Whether `bytes` are plain ASCII and no more than 32; the words that are looked at may overlap.
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
    return (all & 0x8080808080808080U) == 0;
}

/// Whether `bytes` are UTF-8. Names and most strings are short and plain; for them this is a third
/// of the call's instructions.
inline bool isUtf8(std::string_view bytes) noexcept {
    return isShortAscii(bytes) || zel::unicode::isUtf8(bytes);
}

}  // namespace util::serializer
