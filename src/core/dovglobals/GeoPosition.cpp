#include "kova/core/dovglobals/GeoPosition.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <tuple>

#include "TextForm.h"

namespace kova::detail {

namespace {

using dovglobals::GeoPosition;

constexpr int FRACTION_DIGITS = 6;

/// The size of the longest coordinate: a sign, the digits of the largest double, the point and the
/// fraction.
constexpr std::size_t COORDINATE_SIZE =
    1 + (std::numeric_limits<double>::max_exponent10 + 1) + 1 + FRACTION_DIGITS;

constexpr Source SOURCE{"src/core/dovglobals/GeoPosition",
                        // Log-processing tools match this name; do not fix the small "p".
                        "struct Geoposition"};

// No text stands for infinity. Therefore an infinite coordinate means that the number in the text
// is too large.
constexpr std::tuple CHECKS{
    Check{__LINE__, "the first coordinate being out of the range of a double",
          [](const GeoPosition& position) { return std::isfinite(position.first); }},
    Check{__LINE__, "the second coordinate being out of the range of a double",
          [](const GeoPosition& position) { return std::isfinite(position.second); }},
    Check{__LINE__, "the third coordinate being out of the range of a double",
          [](const GeoPosition& position) { return std::isfinite(position.third); }}};

bool scanCoordinate(Scanner& scanner, double& coordinate) {
    char const* const first = scanner.position();
    scanner.skipOneOf("+-");
    if (!scanner.skipDigits() || (scanner.skip('.') && !scanner.skipDigits())) {
        return false;
    }
    coordinate = scanner.realSince<double>(first);
    return true;
}

/// Prints the same text as printf with "%f" under the "C" locale.
char* printCoordinate(char* out, double coordinate) {
    return std::to_chars(out, out + COORDINATE_SIZE, coordinate, std::chars_format::fixed,
                         FRACTION_DIGITS)
        .ptr;
}

struct GeoPositionForm {
    using Value = GeoPosition;
    using Fields = GeoPosition;
    static constexpr Failure MISMATCH{SOURCE, __LINE__, MISMATCH_REASON};
    static constexpr std::size_t SIZE = 3 * COORDINATE_SIZE + 2;

    static bool scan(Scanner& scanner, GeoPosition& position) {
        return scanCoordinate(scanner, position.first) && scanner.skip(';') &&
               scanCoordinate(scanner, position.second) && scanner.skip(';') &&
               scanCoordinate(scanner, position.third);
    }

    static std::optional<Failure> check(const GeoPosition& position) {
        return firstFailure(SOURCE, CHECKS, position);
    }

    static char* print(char* out, const GeoPosition& position) {
        out = printCoordinate(out, position.first);
        *out++ = ';';
        out = printCoordinate(out, position.second);
        *out++ = ';';
        return printCoordinate(out, position.third);
    }
};

}  // namespace

}  // namespace kova::detail

namespace kova::dovglobals {

namespace {

auto key(const GeoPosition& position) {
    return std::tie(position.first, position.second, position.third);
}

}  // namespace

GeoPosition::GeoPosition(double first, double second, double third) noexcept
    : first(first), second(second), third(third) {}

std::string GeoPosition::toString() const {
    return detail::Printed<detail::GeoPositionForm>(*this).toString();
}

bool GeoPosition::operator==(const GeoPosition& other) const noexcept {
    return key(*this) == key(other);
}

bool GeoPosition::operator<(const GeoPosition& other) const noexcept {
    return key(*this) < key(other);
}

std::optional<GeoPosition> parseGeoPosition(const std::string& text) {
    return detail::parse<detail::GeoPositionForm>(text);
}

}  // namespace kova::dovglobals

namespace kova::serializer {

bool serialize(util::serializer::IStructuredSerializer& serializer,
               const dovglobals::GeoPosition& value) {
    return !detail::writeString<detail::GeoPositionForm>(serializer, value);
}

bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                 dovglobals::GeoPosition& value) {
    return !detail::readString<detail::GeoPositionForm>(deserializer, value);
}

}  // namespace kova::serializer
