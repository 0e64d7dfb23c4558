#include "kova/core/dovglobals/RGBA.h"

#include <fmt/compile.h>

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
        return fmt::format_to(out, FMT_COMPILE("rgba({},{},{},{:#})"), colour.red, colour.green,
                              colour.blue, colour.alpha);
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
      // Both comparisons are false for NaN, so it becomes 0.
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
