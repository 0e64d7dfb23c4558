#pragma once

#include <charconv>
#include <limits>
#include <type_traits>

namespace kova::detail {

/// Whether a field of type `Number` can hold every number of WIDTH digits.
template <int WIDTH, typename Number>
constexpr bool HOLDS_DIGITS = std::numeric_limits<Number>::digits10 >= WIDTH;

/// A number that is read and written with exactly WIDTH digits:
///
///     scanner.read(digits<2>(hour), ':', digits<2>(minute))
///     write(out, digits<2>(hour), ':', digits<2>(minute))
template <int WIDTH, typename Number>
struct Digits {
    Number& number;
};

/// Returns `number` as a number of WIDTH digits. Does not compile if its type cannot hold WIDTH
/// digits: reading "256" into 8 bits would store 0.
template <int WIDTH, typename Number, std::enable_if_t<HOLDS_DIGITS<WIDTH, Number>, bool> = true>
constexpr Digits<WIDTH, Number> digits(Number& number) noexcept {
    return {number};
}

/// Writes the number, which must not be negative, with leading zeros up to its width. A number with
/// more digits is written completely. Returns the end of the written text.
///
/// Printing a date spends most of its time here; fmt takes four times as long.
template <int WIDTH, typename Number>
char* writePart(char* out, Digits<WIDTH, Number> part) noexcept {
    static_assert(WIDTH >= 2 && WIDTH <= 4);
    constexpr unsigned LIMIT = WIDTH == 2 ? 100 : WIDTH == 3 ? 1000 : 10'000;
    auto value = static_cast<unsigned>(part.number);
    if (value >= LIMIT) {
        return std::to_chars(out, out + std::numeric_limits<unsigned>::digits10 + 1, value).ptr;
    }
    for (int i = WIDTH; i-- > 0; value /= 10) {
        out[i] = static_cast<char>('0' + value % 10);
    }
    return out + WIDTH;
}

inline char* writePart(char* out, char c) noexcept {
    *out = c;
    return out + 1;
}

/// Writes the parts, characters and digits, in their order. Returns the end of the written text.
template <typename... Parts>
char* write(char* out, const Parts&... parts) noexcept {
    ((out = writePart(out, parts)), ...);
    return out;
}

}  // namespace kova::detail
