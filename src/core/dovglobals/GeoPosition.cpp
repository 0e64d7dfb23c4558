#include "kova/core/dovglobals/GeoPosition.h"

#include <charconv>
#include <limits>
#include <tuple>

#include "TextForm.h"

namespace kova::dovglobals {

namespace {

constexpr int FRACTION_DIGITS = 6;

/// The longest coordinate: a sign, the digits of the largest double, the point and the fraction.
constexpr std::size_t COORDINATE_SIZE =
    1 + (std::numeric_limits<double>::max_exponent10 + 1) + 1 + FRACTION_DIGITS;

bool scanCoordinate(Scanner& scanner, double& coordinate) {
    char const* const first = scanner.position();
    scanner.skipOneOf("+-");
    return scanner.skipDigits() && (!scanner.skip('.') || scanner.skipDigits()) &&
           scanner.realSince(first, coordinate);
}

/// As "%f" prints it in the "C" locale.
char* printCoordinate(char* out, double coordinate) {
    return std::to_chars(out, out + COORDINATE_SIZE, coordinate, std::chars_format::fixed,
                         FRACTION_DIGITS)
        .ptr;
}

struct GeoPositionForm {
    using Value = GeoPosition;
    using Fields = GeoPosition;
    // Readers of reports know the type under this name, with a small "p".
    static constexpr Failure MISMATCH{
        {"src/core/dovglobals/GeoPosition", "struct Geoposition"}, __LINE__, MISMATCH_REASON};
    static constexpr std::size_t SIZE = 3 * COORDINATE_SIZE + 2;

    static bool scan(Scanner& scanner, GeoPosition& position) {
        return scanCoordinate(scanner, position.first) && scanner.skip(';') &&
               scanCoordinate(scanner, position.second) && scanner.skip(';') &&
               scanCoordinate(scanner, position.third);
    }

    static std::optional<Failure> check(const GeoPosition&) { return std::nullopt; }

    static char* print(char* out, const GeoPosition& position) {
        out = printCoordinate(out, position.first);
        *out++ = ';';
        out = printCoordinate(out, position.second);
        *out++ = ';';
        return printCoordinate(out, position.third);
    }
};

auto key(const GeoPosition& position) {
    return std::tie(position.first, position.second, position.third);
}

}  // namespace

GeoPosition::GeoPosition(double first, double second, double third) noexcept
    : first(first), second(second), third(third) {}

std::string GeoPosition::toString() const {
    return Printed<GeoPositionForm>(*this).toString();
}

bool GeoPosition::operator==(const GeoPosition& other) const noexcept {
    return key(*this) == key(other);
}

bool GeoPosition::operator<(const GeoPosition& other) const noexcept {
    return key(*this) < key(other);
}

std::optional<GeoPosition> parseGeoPosition(const std::string& text) {
    return parse<GeoPositionForm>(text);
}

}  // namespace kova::dovglobals

namespace kova::serializer {

bool serialize(util::serializer::IStructuredSerializer& serializer,
               const dovglobals::GeoPosition& value) {
    return dovglobals::serialize<dovglobals::GeoPositionForm>(serializer, value);
}

bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                 dovglobals::GeoPosition& value) {
    return dovglobals::deserialize<dovglobals::GeoPositionForm>(deserializer, value);
}

}  // namespace kova::serializer
