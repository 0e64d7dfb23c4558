#pragma once

#include <string>

#include "kova/core/Export.h"

namespace kova {

/// A number kept as its decimal text, so that it passes through the framework without loss,
/// whatever its size and precision. Whoever needs a machine number asks for one of the width it
/// needs.
///
/// It does not check the text that it is given and does no arithmetic. The text is read as the
/// standard library's conversions do it in base 10 (`std::stoi` and its family) under the "C"
/// locale, whatever the process's locale is: leading white space is skipped, a sign is accepted and
/// what follows the number is ignored, so that " 7apples" is 7.
///
///     kova::Number number(40000L);
///     number.intValue();   // 0: beyond 16 bits
///     number.hasError();   // true
///     number.longValue();  // 40000
///
/// A plain value: copies are independent, and objects are not locked. Every conversion notes its
/// outcome in the object, so that not even two threads that only read may share one.
class KOVA_API Number {
public:
    /// The empty text, which is no number.
    Number() = default;
    /// Stores the number in decimal: "-42". The constructors from numbers are implicit, as
    /// assignment is. There is none from a text: default-construct and assign.
    Number(long value);
    Number(int value) : Number(static_cast<long>(value)) {}
    /// Stores the number with six significant digits, in the shorter of the fixed and the
    /// scientific form: "1.5", "1e-07". Assignment writes a double differently.
    Number(double value);

    /// @{
    /// A copy is independent. Assigning a number to itself changes nothing.
    Number(const Number&) = default;
    Number(Number&&) noexcept = default;
    Number& operator=(const Number&) = default;
    Number& operator=(Number&& other) noexcept;
    ~Number() = default;
    /// @}

    /// Takes the text as it is. No assignment changes `hasError`.
    Number& operator=(const std::string& text);
    Number& operator=(long value);
    Number& operator=(int value) { return *this = static_cast<long>(value); }
    /// The text with six digits behind the point: "1.500000".
    Number& operator=(double value);

    /// The text, as it was given or made.
    const std::string& toString() const noexcept { return text_; }

    /// Returns whether the latest conversion below failed, which tells a zero that was read from a
    /// failure. After a conversion that threw an exception this is true.
    bool hasError() const noexcept { return error_; }

    /// The number, or 0 with the error noted when the text holds none or the number is outside
    /// -32768 to 32767: 16 bits, although the type has more.
    int intValue() const noexcept;
    /// The same for -128 to 127.
    signed char byteValue() const noexcept;
    /// The low 32 bits of the number: "4294967297" gives 1 and is no error. 0 with the error noted
    /// when the text holds none or the number does not fit 64 bits.
    int longValue() const noexcept;

    /// The number, or 0 with the error noted when the text holds none. Throws `std::out_of_range`
    /// when the number does not fit; the error is noted then, too.
    long long longlongValue() const;
    /// The same. The text may also be hexadecimal ("0x1p3"), infinite ("inf") or "nan"; a number
    /// too close to zero does not fit either.
    float floatValue() const;
    /// As `floatValue`, with the range of a double.
    double doubleValue() const;

private:
    std::string text_;
    mutable bool error_ = false;
};

}  // namespace kova
