#pragma once

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string_view>
#include <system_error>

#include "Digits.h"

namespace kova::detail {

/// A cursor that reads a text from left to right. Allocates nothing and ignores the locale: only
/// '0' to '9' are digits.
///
/// Each read returns whether it matched. After a failed read the outputs and the position are
/// unspecified; there is no backtracking.
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
        for (const char c : set) {  // faster than a library search for a few characters
            found = found || (at_ != end_ && *at_ == c);
        }
        at_ += found ? 1 : 0;
        return found;
    }

    /// Skips one or more digits.
    bool skipDigits() noexcept {
        char const* const first = at_;
        char const* at = first;  // local copy, so it stays in a register
        while (at != end_ && isDigit(*at)) {
            ++at;
        }
        at_ = at;
        return at != first;
    }

    /// Reads a number of LEAST to MOST digits. Consumes as many digits as it can, up to MOST.
    template <int LEAST, int MOST, typename Number>
    bool number(Number& out) noexcept {
        static_assert(MOST <= 4 && HOLDS_DIGITS<MOST, Number>);
        char const* const first = at_;
        char const* at = first;
        int value = 0;
        for (int i = 0; i < MOST && at != end_ && isDigit(*at); ++i, ++at) {
            value = value * 10 + (*at - '0');
        }
        out = static_cast<Number>(value);
        at_ = at;
        return at - first >= LEAST;
    }

    /// Reads the parts in their order: characters, and `digits` of exactly their width.
    template <typename... Parts>
    bool read(const Parts&... parts) noexcept {
        constexpr std::ptrdiff_t SIZE = (widthOf(static_cast<Parts*>(nullptr)) + ...);
        char const* at = at_;
        const bool found = end_ - at >= SIZE && (readPart(at, parts) && ...);
        at_ += found ? SIZE : 0;
        return found;
    }

    /// Returns the real number that was read since `first`: an optional sign, then digits with or
    /// without a point. The number is rounded to the nearest value of the type, which may be a
    /// subnormal number or zero. A number that is too large for the type becomes infinite.
    template <typename Real>
    Real realSince(char const* first) const noexcept {
        const bool negative = *first == '-';
        char const* const digits = first + (negative || *first == '+' ? 1 : 0);
        Real value = 0;
        if (std::from_chars(digits, at_, value, std::chars_format::fixed).ec ==
            std::errc::result_out_of_range) {
            value = outOfRange<Real>(digits);
        }
        return std::copysign(value, negative ? Real(-1) : Real(1));
    }

private:
    /// Returns the value for a number that is outside the range of the type: 0 if it is too small,
    /// and infinity if it is too large. The number begins at `digits`. It is too large if a digit
    /// before the point is not 0.
    template <typename Real>
    [[gnu::cold]] Real outOfRange(char const* digits) const noexcept {
        char const* const leading = std::find_if(digits, at_, [](char c) { return c != '0'; });
        return *leading == '.' ? Real(0) : std::numeric_limits<Real>::infinity();
    }

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

}  // namespace kova::detail
