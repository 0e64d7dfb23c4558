#include "json/NumberText.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

namespace util::json {

namespace {

constexpr std::array<std::uint64_t, 20> powersOfTen() {
    std::array<std::uint64_t, 20> powers{};
    std::uint64_t power = 1;
    for (std::uint64_t& each : powers) {
        each = power;
        power *= 10;
    }
    return powers;
}
constexpr std::array<std::uint64_t, 20> POWERS = powersOfTen();

// The greatest number of digits in the shortest text of a double.
constexpr int MOST_DIGITS = 17;
// The greatest number of digits after the first one.
constexpr int MOST_FOLLOWING = MOST_DIGITS - 1;

// If the decimal exponent of the first digit is in this range, the text has no exponent.
constexpr int LEAST_FIXED = -4;
constexpr int END_OF_FIXED = 16;

template <typename Number>
char* writeDigits(char* out, Number value) noexcept {
    return std::to_chars(out, out + MAX_NUMBER_SIZE, value).ptr;
}

// The two digits of each number below 100. Computing all digits in one word with multiplications
// takes a fifth longer.
constexpr std::array<char, 200> digitPairs() {
    std::array<char, 200> pairs{};
    for (std::size_t i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}
constexpr std::array<char, 200> PAIRS = digitPairs();

void writePair(char* out, std::uint32_t number) noexcept {
    std::memcpy(out, &PAIRS[2 * std::size_t{number}], 2);
}

void writeFour(char* out, std::uint32_t number) noexcept {
    writePair(out, number / 100);
    writePair(out + 2, number % 100);
}

// Writes eight digits, with zeros before a smaller number.
void writeEight(char* out, std::uint32_t number) noexcept {
    writeFour(out, number / 10'000);
    writeFour(out + 4, number % 10'000);
}

// Writes 16 digits, with zeros before a smaller number.
void writeSixteen(char* out, std::uint64_t number) noexcept {
    constexpr std::uint64_t HALF = 100'000'000;
    writeEight(out, static_cast<std::uint32_t>(number / HALF));
    writeEight(out + 8, static_cast<std::uint32_t>(number % HALF));
}

// Writes a number of at most 16 digits. `digits` is the number of its digits. To avoid a branch
// that depends on `digits`, the function writes a block; the bytes after the digits are
// unspecified.
char* writeAligned(char* out, std::uint64_t number, int digits) noexcept {
    constexpr int HALF = 8;
    if (digits <= HALF) {
        writeEight(out, static_cast<std::uint32_t>(
                            number * POWERS[static_cast<std::size_t>(HALF - digits)]));
    } else {
        writeSixteen(out, number * POWERS[static_cast<std::size_t>(MOST_FOLLOWING - digits)]);
    }
    return out + digits;
}

// Returns how many digits the number has. It must have at most 17 digits.
int countDigits(std::uint64_t number) noexcept {
    const int bits = 64 - __builtin_clzll(number | 1);
    const int digits = bits * 1233 >> 12;  // bits * log10(2), rounded down; at most 1 too small
    return digits + (number >= POWERS[static_cast<std::size_t>(digits)] ? 1 : 0);
}

/// A number as decimal digits: significand * 10^exponent.
struct Decimal {
    std::uint64_t significand;
    int exponent;
    int digits;  // the number of digits of the significand

    /// Returns the exponent of the first digit.
    int first() const noexcept { return exponent + digits - 1; }
};

// Writes the digits of the significand. Returns the position after the first digit.
char* writeSignificand(char* out, Decimal number) noexcept {
    const std::uint64_t aligned =
        number.significand * POWERS[static_cast<std::size_t>(MOST_DIGITS - number.digits)];
    constexpr std::uint64_t FIRST = POWERS[MOST_FOLLOWING];
    *out = static_cast<char>('0' + aligned / FIRST);
    writeSixteen(out + 1, aligned % FIRST);
    return out + 1;
}

// Writes a number from 1e-4 to less than 1.
char* writeFraction(char* out, Decimal number) noexcept {
    std::memcpy(out, "0.000", 5);  // NOLINT(bugprone-not-null-terminated-result): not a C string
    out += 1 - number.first();     // the zeros before the first digit
    return writeSignificand(out, number) - 1 + number.digits;
}

// Writes a number with digits on both sides of the point. `whole` is the integer part of the
// floating-point number. The decimal number has the same integer part: an integer between the two
// numbers would itself be a floating-point number, and a closer one. Therefore no division is
// needed.
char* writeMixed(char* out, Decimal number, std::uint64_t whole) noexcept {
    const int decimals = -number.exponent;
    const std::uint64_t scale = POWERS[static_cast<std::size_t>(decimals)];
    out = writeAligned(out, whole, number.digits - decimals);
    *out++ = '.';
    return writeAligned(out, number.significand - whole * scale, decimals);
}

// Writes an integer that is less than 1e16.
char* writeWhole(char* out, Decimal number) noexcept {
    out = writeDigits(out, number.significand * POWERS[static_cast<std::size_t>(number.exponent)]);
    std::memcpy(out, ".0", 2);  // NOLINT(bugprone-not-null-terminated-result): not a C string
    return out + 2;
}

// Writes a number with one digit before the point and an exponent of at least two digits.
char* writeScientific(char* out, Decimal number) noexcept {
    char* const point = writeSignificand(out + 1, number);
    out[0] = out[1];
    *(point - 1) = '.';
    out = number.digits > 1 ? point - 1 + number.digits : point - 1;
    const int exponent = number.first();
    *out++ = 'e';
    *out++ = exponent < 0 ? '-' : '+';
    const auto magnitude = static_cast<std::uint32_t>(std::abs(exponent));
    return writeAligned(out, magnitude, magnitude < 100 ? 2 : 3);
}

// Writes the number in the layout of fmt's "{}", with ".0" after an integer.
template <typename Real>
char* writeDecimal(char* out, Decimal number, Real magnitude) noexcept {
    const int first = number.first();
    if (first < LEAST_FIXED || first >= END_OF_FIXED) {
        return writeScientific(out, number);
    }
    if (number.exponent >= 0) {
        return writeWhole(out, number);
    }
    return first < 0 ? writeFraction(out, number)
                     : writeMixed(out, number, static_cast<std::uint64_t>(magnitude));
}

// Calls fmt's function for the shortest digits. Formatting with "{}" and searching for the point
// would take twice as long.
template <typename Real>
char* writeShortest(char* out, Real magnitude) noexcept {
    const auto decimal = fmt::detail::dragonbox::to_decimal(magnitude);
    return writeDecimal(
        out, {decimal.significand, decimal.exponent, countDigits(decimal.significand)}, magnitude);
}

// Fast path for doubles with few decimals, which are common in settings and measurements. Such a
// double is written as an integer number of millionths. Finding the shortest digits of any double
// takes twice as long.
constexpr int DECIMALS = 6;
constexpr std::uint64_t MILLION = 1'000'000;

// Returns magnitude * 10^6 if the magnitude has at most 6 decimals and is in the range from 1e-3 to
// less than 1e9. The magnitude then has at most 15 significant digits, so no other text with so few
// digits reads back as the same double. Returns 0 otherwise.
std::uint64_t millionthsOf(double magnitude) noexcept {
    constexpr double LEAST = 1e-3;
    constexpr double MOST = 1e9;
    if (!(magnitude >= LEAST && magnitude < MOST)) {
        return 0;
    }
    constexpr auto PARTS = static_cast<double>(MILLION);
    constexpr double MOST_ERROR = 1.0 / (std::uint64_t{1} << 50U);  // relative error of the product
    const double product = magnitude * PARTS;
    // NOLINTNEXTLINE(bugprone-incorrect-roundings): the division below verifies the result
    const auto millionths = static_cast<std::int64_t>(product + 0.5);
    const auto rounded = static_cast<double>(millionths);
    // Most numbers with more decimals fail the first condition, which needs no division. The
    // division rounds as reading the text does.
    return std::fabs(product - rounded) <= product * MOST_ERROR && rounded / PARTS == magnitude
               ? static_cast<std::uint64_t>(millionths)
               : 0;
}

char* writeMillionths(char* out, std::uint64_t millionths) noexcept {
    out = writeDigits(out, millionths / MILLION);
    *out++ = '.';
    char* end = writeAligned(out, millionths % MILLION, DECIMALS);
    while (end != out + 1 && *(end - 1) == '0') {
        --end;
    }
    return end;
}

}  // namespace

char* writeInteger(char* out, std::int64_t value) noexcept {
    return writeDigits(out, value);
}

char* writeInteger(char* out, std::uint64_t value) noexcept {
    return writeDigits(out, value);
}

char* writeDouble(char* out, double value) noexcept {
    const double magnitude = std::fabs(value);
    *out = '-';
    out += std::signbit(value) ? 1 : 0;
    const std::uint64_t millionths = millionthsOf(magnitude);
    return millionths != 0 ? writeMillionths(out, millionths) : writeShortest(out, magnitude);
}

char* writeFloat(char* out, float value) noexcept {
    *out = '-';
    return writeShortest(std::signbit(value) ? out + 1 : out, std::fabs(value));
}

}  // namespace util::json
