#include "cbor/CborDecoder.h"

#include <cmath>

namespace util::serializer {

double cborHalf(std::uint16_t bits) noexcept {
    const int exponent = bits >> 10 & 0x1F;
    const int mantissa = bits & 0x3FF;
    double value = 0;
    if (exponent == 0x1F) {
        value = mantissa == 0 ? std::numeric_limits<double>::infinity()
                              : std::numeric_limits<double>::quiet_NaN();
    } else if (exponent == 0) {
        value = std::ldexp(mantissa, -24);
    } else {
        value = std::ldexp(mantissa + 0x400, exponent - 25);
    }
    return (bits & 0x8000) != 0 ? -value : value;
}

bool readCborChunks(CborInput& in, unsigned char kind, std::string& text, CborMistake& mistake) {
    constexpr char const* CHUNK = "a chunk of the string or its end";
    text.clear();
    while (!in.isAtBreak()) {
        unsigned char const* const begin = in.at;
        CborHead head{};
        std::string_view chunk;
        if (!in.readHead(head) || head.kind() != kind || head.isOpen() ||
            !in.readBytes(head.argument, chunk)) {
            mistake = {begin, CHUNK};
            return false;
        }
        // A chunk must not end in the middle of a character.
        if (kind == TEXT && !isUtf8(chunk)) {
            mistake = {begin, "UTF-8", "other bytes"};
            return false;
        }
        text.append(chunk);
    }
    ++in.at;
    return true;
}

}  // namespace util::serializer
