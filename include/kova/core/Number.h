#pragma once

#include <string>

#include "kova/core/Export.h"

namespace kova {

/// A number that is stored as its decimal text. It passes through the framework without loss of
/// digits, whatever its size and precision. The receiver converts it to the machine type that it
/// needs.
///
/// The class neither validates the text nor does arithmetic. The conversions read the text as
/// `std::stoi` and the related functions do in base 10 under the "C" locale; the process locale is
/// ignored. They skip leading white space, accept a sign and ignore the text after the number:
/// " 7apples" is 7.
///
///     kova::Number number(40000L);
///     number.intValue();   // 0: beyond 16 bits
///     number.hasError();   // true
///     number.longValue();  // 40000
///
/// Plain value type. Not thread-safe even for concurrent reads: conversions store an error flag.
class KOVA_API Number {
public:
    /// Creates a number with the empty text. The empty text is not a number.
    Number() = default;
    /// Stores the number in decimal: "-42". Constructors and assignments from numbers are implicit.
    /// No constructor accepts a text: create an empty `Number` and assign the text.
    Number(long value);
    Number(int value) : Number(static_cast<long>(value)) {}
    /// Stores the number with six significant digits, in the shorter of the fixed and the
    /// scientific form: "1.5", "1e-07". Assignment of a double uses another form.
    Number(double value);

    /// @{
    /// A copy is independent. Assigning a number to itself changes nothing.
    Number(const Number&) = default;
    Number(Number&&) noexcept = default;
    Number& operator=(const Number&) = default;
    Number& operator=(Number&& other) noexcept;
    ~Number() = default;
    /// @}

    /// Stores the text verbatim. Assignments do not change `hasError`.
    Number& operator=(const std::string& text);
    Number& operator=(long value);
    Number& operator=(int value) { return *this = static_cast<long>(value); }
    /// Stores the number with six digits after the point: "1.500000".
    Number& operator=(double value);

    /// Returns the text. The reference is valid until the object is assigned to or destroyed.
    const std::string& toString() const noexcept { return text_; }

    /// Returns whether the latest conversion failed, to distinguish a failure from the number zero.
    /// Each conversion clears the flag first, and sets it when it fails. The flag is true after a
    /// conversion that threw an exception.
    bool hasError() const noexcept { return error_; }

    /// Returns the number. Fails and returns 0 if the text contains no number, or a number outside
    /// -32768 to 32767. This is the range of a 16-bit integer, although `int` has more bits.
    int intValue() const noexcept;
    /// Returns the number. Fails and returns 0 if the text contains no number, or a number outside
    /// -128 to 127.
    signed char byteValue() const noexcept;
    /// Returns the low 32 bits of the number: "4294967297" yields 1 without an error. Fails and
    /// returns 0 if the text contains no number, or a number that does not fit 64 bits.
    int longValue() const noexcept;

    /// Returns the number. Fails and returns 0 if the text contains no number. Fails and throws
    /// `std::out_of_range` if the number does not fit the type.
    long long longlongValue() const;
    /// Returns the number as a float; fails as `longlongValue` does. The text may also be
    /// hexadecimal ("0x1p3"), "inf" or "nan". A number too close to zero for the type is also out
    /// of range.
    float floatValue() const;
    /// Returns the number as a double. Accepts the same texts as `floatValue` and fails in the same
    /// cases.
    double doubleValue() const;

private:
    std::string text_;
    mutable bool error_ = false;
};

}  // namespace kova
