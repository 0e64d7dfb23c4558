#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

#include "util/Export.h"
#include "util/UnicodeString.h"
#include "util/config/CompactString.h"
#include "util/config/Value.h"

namespace util::config {

/// An integer of 64 bits, signed or unsigned: every value from -2^63 to 2^64 - 1.
class UTIL_API ValueInt : public Value {
public:
    /// Holds the number.
    explicit ValueInt(int value) noexcept : ValueInt(static_cast<long>(value)) {}
    explicit ValueInt(unsigned int value) noexcept : ValueInt(static_cast<long>(value)) {}
    explicit ValueInt(long value) noexcept
        : Value(Kind::Integer), negative_(value < 0), bits_(static_cast<std::uint64_t>(value)) {}
    explicit ValueInt(unsigned long value) noexcept
        : Value(Kind::Integer), negative_(false), bits_(value) {}

    /// The 64 bits in two's complement.
    std::uint64_t bits() const noexcept { return bits_; }
    /// Whether the number is below 0.
    bool isNegative() const noexcept { return negative_; }
    /// Whether the value lies above the signed range (2^63 and more).
    bool isBeyondSigned() const noexcept { return !negative_ && (bits_ >> 63) != 0; }

private:
    bool negative_;  // first, so that it fits into the padding of the base
    std::uint64_t bits_;
};

/// A floating-point number of double precision.
class UTIL_API ValueFloat : public Value {
public:
    /// Holds the number, NaN and infinities included.
    explicit ValueFloat(double value) noexcept : Value(Kind::Float), value_(value) {}
    /// The number.
    double value() const noexcept { return value_; }

private:
    double value_;
};

/// A narrow string: bytes, by custom UTF-8, embedded zeros allowed.
class UTIL_API ValueString : public Value {
public:
    /// Holds a copy of the text; `std::bad_alloc` when memory is exhausted.
    explicit ValueString(std::string_view text) : Value(Kind::String), text_(text) {}
    /// A null `text` is the empty string.
    explicit ValueString(char const* text)
        : ValueString(std::string_view(text == nullptr ? "" : text)) {}
    /// The text.
    const CompactString& text() const noexcept { return text_; }

private:
    CompactString text_;
};

/// A string of Unicode text, kept apart from the narrow strings.
class UTIL_API ValueUnicodeString : public Value {
public:
    /// Holds the text.
    explicit ValueUnicodeString(UnicodeString8 text) noexcept
        : Value(Kind::UnicodeString), text_(std::move(text)) {}
    /// The text.
    const UnicodeString8& text() const noexcept { return text_; }

private:
    UnicodeString8 text_;
};

}  // namespace util::config
