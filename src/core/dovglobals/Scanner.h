#pragma once

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string_view>
#include <system_error>

#include "Digits.h"

namespace kova::dovglobals {

/// Reads a text from left to right, without allocating and by no locale: only '0' to '9' are
/// digits.
///
/// A step tells whether it found what it names. One that does not leaves the caller nothing but to
/// give up: it may have set some of its numbers. No form has to try a second way of reading.
class Scanner {
public:
    explicit Scanner(std::string_view text) noexcept
        : at_(text.data()), end_(text.data() + text.size()) {}

    bool atEnd() const noexcept { return at_ == end_; }
    char const* position() const noexcept { return at_; }

    bool skip(char c) noexcept {
        const bool found = at_ != end_ && *at_ == c;
        at_ += found ? 1 : 0;
        return found;
    }

    bool skip(std::string_view text) noexcept {
        const bool found = static_cast<std::size_t>(end_ - at_) >= text.size() &&
                           std::string_view(at_, text.size()) == text;
        at_ += found ? text.size() : 0;
        return found;
    }

    bool skipOneOf(std::string_view set) noexcept {
        bool found = false;
        for (const char c : set) {  // a few: a search of the library would take longer
            found = found || (at_ != end_ && *at_ == c);
        }
        at_ += found ? 1 : 0;
        return found;
    }

    /// Steps over all digits that come, of which there must be one.
    bool skipDigits() noexcept {
        char const* const first = at_;
        char const* at = first;  // what is stepped in a register
        while (at != end_ && isDigit(*at)) {
            ++at;
        }
        at_ = at;
        return at != first;
    }

    /// Reads a number of as many digits as come, `least` to `most` of them; `most` is at most 4.
    template <typename Number>
    bool number(int least, int most, Number& out) noexcept {
        char const* const first = at_;
        char const* at = first;
        int value = 0;
        for (int i = 0; i < most && at != end_ && isDigit(*at); ++i, ++at) {
            value = value * 10 + (*at - '0');
        }
        out = static_cast<Number>(value);
        at_ = at;
        return at - first >= least;
    }

    /// Reads one part after the other: a character, or `digits` of exactly their width.
    template <typename... Parts>
    bool read(const Parts&... parts) noexcept {
        constexpr std::ptrdiff_t SIZE = (widthOf(static_cast<Parts*>(nullptr)) + ...);
        char const* at = at_;
        const bool found = end_ - at >= SIZE && (readPart(at, parts) && ...);
        at_ += found ? SIZE : 0;
        return found;
    }

    /// Returns the real number that was read since `first`: an optional sign, then digits with or
    /// without a point. The number is rounded to the nearest value of the type, down to the
    /// subnormals and zero; a number that is too large for the type becomes infinite.
    template <typename Real>
    Real realSince(char const* first) const noexcept {
        const bool negative = *first == '-';
        char const* const digits = first + (negative || *first == '+' ? 1 : 0);
        Real value = 0;
        if (std::from_chars(digits, at_, value, std::chars_format::fixed).ec ==
            std::errc::result_out_of_range) {
            // A digit other than 0 before the point makes the number too large, not too small.
            char const* const leading = std::find_if(digits, at_, [](char c) { return c != '0'; });
            value = *leading == '.' ? Real(0) : std::numeric_limits<Real>::infinity();
        }
        return std::copysign(value, negative ? Real(-1) : Real(1));
    }

private:
    static bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

    static constexpr int widthOf(char const*) noexcept { return 1; }
    template <int WIDTH, typename Number>
    static constexpr int widthOf(Digits<WIDTH, Number> const*) noexcept {
        return WIDTH;
    }

    static bool readPart(char const*& at, char c) noexcept { return *at++ == c; }
    template <int WIDTH, typename Number>
    static bool readPart(char const*& at, Digits<WIDTH, Number> part) noexcept {
        unsigned value = 0;
        bool allDigits = true;
#pragma GCC unroll 4
        for (int i = 0; i < WIDTH; ++i) {
            const unsigned digit = static_cast<unsigned char>(at[i]) - static_cast<unsigned>('0');
            allDigits &= digit <= 9;
            value = value * 10 + digit;
        }
        at += WIDTH;
        part.number = static_cast<Number>(value);
        return allDigits;
    }

    char const* at_;
    char const* end_;
};

}  // namespace kova::dovglobals
