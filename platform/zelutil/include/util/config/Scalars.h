#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

#include "util/Export.h"
#include "util/UnicodeString.h"
#include "util/config/CompactString.h"
#include "util/config/Value.h"

namespace util::config {

/// A node that holds an integer in the range -2^63 to 2^64 - 1.
class UTIL_API ValueInt : public Value {
public:
    /// Creates a node with the number.
    explicit ValueInt(int value) noexcept : ValueInt(static_cast<long>(value)) {}
    explicit ValueInt(unsigned int value) noexcept : ValueInt(static_cast<long>(value)) {}
    explicit ValueInt(long value) noexcept
        : Value(Kind::Integer), negative_(value < 0), bits_(static_cast<std::uint64_t>(value)) {}
    explicit ValueInt(unsigned long value) noexcept
        : Value(Kind::Integer), negative_(false), bits_(value) {}

    /// Returns the 64 bits of the number, in two's complement.
    std::uint64_t bits() const noexcept { return bits_; }
    /// Returns whether the number is less than 0.
    bool isNegative() const noexcept { return negative_; }
    /// Returns whether the number is 2^63 or greater, so that it does not fit into a signed
    /// integer.
    bool isBeyondSigned() const noexcept { return !negative_ && (bits_ >> 63) != 0; }

private:
    bool negative_;  // first member, so that it uses padding of the base class
    std::uint64_t bits_;
};

/// A node that holds a floating-point number of double precision.
class UTIL_API ValueFloat : public Value {
public:
    /// Creates a node with the number, which may be NaN or infinite.
    explicit ValueFloat(double value) noexcept : Value(Kind::Float), value_(value) {}
    /// Returns the number.
    double value() const noexcept { return value_; }

private:
    double value_;
};

/// A node that holds a narrow string: bytes, by convention UTF-8, which may include zeros.
class UTIL_API ValueString : public Value {
public:
    /// Creates a node with a copy of the text. Throws `std::bad_alloc` if memory is exhausted.
    explicit ValueString(std::string_view text) : Value(Kind::String), text_(text) {}
    /// Creates a node with a copy of a zero-terminated text. If `text` is null, the string is
    /// empty.
    explicit ValueString(char const* text)
        : ValueString(std::string_view(text == nullptr ? "" : text)) {}
    /// Returns the text.
    const CompactString& text() const noexcept { return text_; }

private:
    CompactString text_;
};

/// A node that holds Unicode text. Its kind differs from that of narrow strings.
class UTIL_API ValueUnicodeString : public Value {
public:
    /// Creates a node with the text.
    explicit ValueUnicodeString(UnicodeString8 text) noexcept
        : Value(Kind::UnicodeString), text_(std::move(text)) {}
    /// Returns the text.
    const UnicodeString8& text() const noexcept { return text_; }

private:
    UnicodeString8 text_;
};

}  // namespace util::config
