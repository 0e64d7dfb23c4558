#include "kova/core/Number.h"

// NOLINTNEXTLINE(modernize-deprecated-headers): newlocale is POSIX, not in <clocale>
#include <locale.h>

#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <utility>

#include "datatypes/Decimal.h"

namespace kova {

namespace {

constexpr int DIGITS = 6;

// Returns the text that printf prints under the "C" locale, with "%.6g" for `general` and with "%f"
// for `fixed`.
std::string print(double value, std::chars_format form) {
    // The buffer holds a sign, the digits of the largest double, the point and DIGITS digits.
    char buffer[1 + std::numeric_limits<double>::max_exponent10 + 1 + 1 + DIGITS];
    const auto end = std::to_chars(std::begin(buffer), std::end(buffer), value, form, DIGITS);
    return {buffer, end.ptr};
}

struct Integer {
    long value = 0;
    /// The same values as in `detail::Decimal`.
    std::errc error = std::errc();
};

Integer readInteger(const std::string& text) noexcept {
    const detail::Decimal decimal = detail::scanDecimal(text);
    if (decimal.error != std::errc()) {
        return {0, decimal.error};
    }
    constexpr auto MAX = static_cast<unsigned long>(std::numeric_limits<long>::max());
    if (decimal.magnitude > MAX + (decimal.negative ? 1 : 0)) {
        return {0, std::errc::result_out_of_range};
    }
    const unsigned long bits = decimal.negative ? 0 - decimal.magnitude : decimal.magnitude;
    return {static_cast<long>(bits), std::errc()};
}

// Returns the "C" locale, which is created once and never freed. Creating it allocates nothing and
// cannot fail.
locale_t plainLocale() noexcept {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
}

// Converts the text with strtof_l or strtod_l. Sets `error` to true on failure. Throws
// std::out_of_range with the text `name` if the number does not fit.
template <typename Real>
Real readReal(const std::string& text, bool& error, Real (*convert)(char const*, char**, locale_t),
              char const* name) {
    const int formerErrno = errno;
    errno = 0;
    char* end = nullptr;
    const Real value = convert(text.c_str(), &end, plainLocale());
    const bool outOfRange = errno == ERANGE;
    errno = formerErrno;
    const bool nothingRead = end == text.c_str();
    error = nothingRead || outOfRange;
    if (nothingRead) {
        return 0;
    }
    if (outOfRange) {
        throw std::out_of_range(name);
    }
    return value;
}

}  // namespace

Number::Number(long value) : text_(std::to_string(value)) {}

Number::Number(double value) : text_(print(value, std::chars_format::general)) {}

Number& Number::operator=(Number&& other) noexcept {
    if (this != &other) {
        text_ = std::move(other.text_);
        error_ = other.error_;
    }
    return *this;
}

Number& Number::operator=(const std::string& text) {
    text_ = text;
    return *this;
}

Number& Number::operator=(long value) {
    text_ = std::to_string(value);
    return *this;
}

Number& Number::operator=(double value) {
    text_ = print(value, std::chars_format::fixed);
    return *this;
}

int Number::intValue() const noexcept {
    const Integer read = readInteger(text_);
    using Range = std::numeric_limits<std::int16_t>;
    error_ = read.error != std::errc() || read.value < Range::min() || read.value > Range::max();
    return error_ ? 0 : static_cast<int>(read.value);
}

signed char Number::byteValue() const noexcept {
    const int value = intValue();
    using Range = std::numeric_limits<signed char>;
    error_ = error_ || value < Range::min() || value > Range::max();
    return static_cast<signed char>(error_ ? 0 : value);
}

int Number::longValue() const noexcept {
    const Integer read = readInteger(text_);
    error_ = read.error != std::errc();
    // The conversion is modular: it keeps the low 32 bits.
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(read.value));
}

long long Number::longlongValue() const {
    const Integer read = readInteger(text_);
    error_ = read.error != std::errc();
    if (read.error == std::errc::result_out_of_range) {
        throw std::out_of_range("stoll");
    }
    return read.value;
}

float Number::floatValue() const {
    return readReal(text_, error_, strtof_l, "stof");
}

double Number::doubleValue() const {
    return readReal(text_, error_, strtod_l, "stod");
}

}  // namespace kova
