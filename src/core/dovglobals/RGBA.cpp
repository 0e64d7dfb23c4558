#include "kova/core/dovglobals/RGBA.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <string>
#include <tuple>

#include "TextForm.h"

namespace kova::detail {

namespace {

using dovglobals::RGBA;

constexpr Source SOURCE{"src/core/dovglobals/RGBA", "struct RGBA"};

/// The numbers in the text of a colour. A channel of three digits may exceed 255.
struct Channels {
    int red = 0;
    int green = 0;
    int blue = 0;
    float alpha = 0.0F;

    operator RGBA() const noexcept {
        return {static_cast<unsigned char>(red), static_cast<unsigned char>(green),
                static_cast<unsigned char>(blue), alpha};
    }
};

constexpr std::tuple CHECKS{
    Check{__LINE__, "the Red value not being between 0 and 255",
          [](const Channels& channels) { return channels.red < 256; }},
    Check{__LINE__, "the Green value not being between 0 and 255",
          [](const Channels& channels) { return channels.green < 256; }},
    Check{__LINE__, "the Blue value not being between 0 and 255",
          [](const Channels& channels) { return channels.blue < 256; }},
    // NaN passes this check, because the constructor changes it to 0.
    Check{__LINE__, "the Alpha value not being between 0.0 and 1.0", [](const Channels& channels) {
              return !(channels.alpha < 0.0F || channels.alpha > 1.0F);
          }}};

bool scanChannel(Scanner& scanner, int& channel) {
    if (!scanner.number<1, 3>(channel) || !scanner.skip(',')) {
        return false;
    }
    scanner.skipOneOf(" \t");
    return true;
}

bool scanAlpha(Scanner& scanner, float& alpha) {
    char const* const first = scanner.position();
    scanner.skipOneOf("01");
    if (!scanner.skip('.') || !scanner.skipDigits()) {
        return false;
    }
    alpha = scanner.realSince<float>(first);
    return true;
}

char* printChannel(char* out, unsigned char channel) {
    char* const end = std::to_chars(out, out + 3, channel).ptr;
    *end = ',';
    return end + 1;
}

// Prints the alpha as `fmt::format("{:#}")` does: the shortest text that reads back, with a point.
// Prints common values without fmt. The templates of fmt that print into `out` would add 20 KB to
// the library.
char* printAlpha(char* out, float alpha) {
    if (alpha == 0.0F || (alpha >= 1e-4F && alpha < 1e7F)) {
        char* const end = std::to_chars(out, out + 16, alpha, std::chars_format::fixed).ptr;
        return std::find(out, end, '.') != end ? end : std::copy_n(".0", 2, end);
    }
    const std::string text = fmt::format("{:#}", alpha);
    return std::copy(text.begin(), text.end(), out);
}

struct RGBAForm {
    using Value = RGBA;
    using Fields = Channels;
    static constexpr Failure MISMATCH{SOURCE, __LINE__, MISMATCH_REASON};
    // The longest alpha is the largest one that is written without an exponent.
    static constexpr std::size_t SIZE = sizeof("rgba(255,255,255,-9007199000000000.0)");

    static bool scan(Scanner& scanner, Channels& channels) {
        return scanner.skip("rgba(") && scanChannel(scanner, channels.red) &&
               scanChannel(scanner, channels.green) && scanChannel(scanner, channels.blue) &&
               scanAlpha(scanner, channels.alpha) && scanner.skip(')');
    }

    static std::optional<Failure> check(const Channels& channels) {
        return firstFailure(SOURCE, CHECKS, channels);
    }

    static char* print(char* out, const RGBA& colour) {
        out = std::copy_n("rgba(", 5, out);
        for (const unsigned char channel : {colour.red, colour.green, colour.blue}) {
            out = printChannel(out, channel);
        }
        out = printAlpha(out, colour.alpha);
        *out = ')';
        return out + 1;
    }
};

}  // namespace

}  // namespace kova::detail

namespace kova::dovglobals {

namespace {

auto key(const RGBA& colour) {
    return std::tie(colour.red, colour.green, colour.blue, colour.alpha);
}

}  // namespace

RGBA::RGBA(unsigned char red, unsigned char green, unsigned char blue, float alpha) noexcept
    : red(red),
      green(green),
      blue(blue),
      // Both comparisons are false for NaN, so NaN becomes 0.
      alpha(alpha > 1.0F ? 1.0F : (alpha > 0.0F ? alpha : 0.0F)) {}

std::string RGBA::toString() const {
    return detail::Printed<detail::RGBAForm>(*this).toString();
}

bool RGBA::operator==(const RGBA& other) const noexcept {
    return key(*this) == key(other);
}

bool RGBA::operator<(const RGBA& other) const noexcept {
    return key(*this) < key(other);
}

std::optional<RGBA> createRGBA(unsigned char red, unsigned char green, unsigned char blue,
                               float alpha) {
    return detail::create<detail::RGBAForm>({red, green, blue, alpha},
                                            RGBA(red, green, blue, alpha));
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): signature fixed by the interface
std::optional<RGBA> parseRGBA(std::string text) {
    return detail::parse<detail::RGBAForm>(text);
}

}  // namespace kova::dovglobals

namespace kova::serializer {

bool serialize(util::serializer::IStructuredSerializer& serializer, const dovglobals::RGBA& value) {
    return !detail::writeString<detail::RGBAForm>(serializer, value);
}

bool deserialize(util::serializer::IStructuredPullDeserializer& deserializer,
                 dovglobals::RGBA& value) {
    return !detail::readString<detail::RGBAForm>(deserializer, value);
}

}  // namespace kova::serializer
