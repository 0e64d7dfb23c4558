#include "bytes/TextCheck.h"

#include <simdjson.h>

#include "bytes/BigEndian.h"
#include "json/JsonDetection.h"

namespace util {

namespace {

const json::ProcessorDetection DETECTION;

constexpr std::size_t WORD = sizeof(std::uint64_t);
constexpr std::size_t HALF = sizeof(std::uint32_t);

// Returns the eight bytes that begin at the index `at`, as a big-endian number. The text has at
// least four bytes. Bytes after the end of the text count as zeros.
std::uint64_t eightFrom(std::string_view bytes, std::size_t at) noexcept {
    auto const* const begin = reinterpret_cast<unsigned char const*>(bytes.data());
    const std::size_t left = bytes.size() - at;
    if (left >= WORD) {
        return loadEight(begin + at);
    }
    if (bytes.size() >= WORD) {
        return loadEight(begin + bytes.size() - WORD) << 8 * (WORD - left);
    }
    // These four bytes may overlap the first four.
    const std::uint64_t tail = loadFour(begin + bytes.size() - HALF);
    return std::uint64_t{loadFour(begin)} << 8 * HALF |
           (tail << 8 * (WORD - bytes.size()) & 0xFFFFFFFFU);
}

// Returns whether the text is UTF-8 and no character has more than two bytes. This is true for
// texts in most alphabetic languages. The text must have at least four bytes. In a mask, the
// highest bit of a byte is set if the mask selects this byte.
bool isUtf8OfTwoBytes(std::string_view bytes) noexcept {
    std::uint64_t expected = 0;  // not 0 if the previous word ends with a lead byte
    for (std::size_t at = 0; at < bytes.size(); at += WORD) {
        const std::uint64_t word = eightFrom(bytes, at);
        const std::uint64_t first = word & word << 1U & NOT_ASCII;      // 11xxxxxx
        const std::uint64_t second = word & ~(word << 1U) & NOT_ASCII;  // 10xxxxxx
        const std::uint64_t ofMoreBytes = first & word << 2U;           // 111xxxxx
        const std::uint64_t notOverlong = (word & 0x1E1E1E1E1E1E1E1EU) + 0x7E7E7E7E7E7E7E7EU;
        const std::uint64_t mistakes =
            ofMoreBytes | (first & ~notOverlong) | (second ^ (first >> 8U | expected));
        if (mistakes != 0) {
            return false;
        }
        expected = first << 8 * (WORD - 1);
    }
    return expected == 0;
}

}  // namespace

bool isLongUtf8(std::string_view bytes) noexcept {
    // A check with vector instructions takes as long for a short text as for 64 bytes.
    const bool isShort = bytes.size() >= HALF && bytes.size() <= MAX_WORDS_COPY;
    return (isShort && isUtf8OfTwoBytes(bytes)) ||
           simdjson::validate_utf8(bytes.data(), bytes.size());
}

}  // namespace util
