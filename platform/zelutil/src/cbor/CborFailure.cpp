#include "cbor/CborFailure.h"

#include <algorithm>
#include <cstring>

#include "bytes/TextCheck.h"
#include "cbor/TypedArrays.h"

namespace util::serializer {

namespace {

constexpr std::uint64_t MAX_SIGNED = 0x7FFFFFFFFFFFFFFF;

// Returns the description of an item that is incomplete or whose head is reserved. Heads whose
// argument bits are 28 to 30 are reserved. The simple values that the decoder does not support
// count as reserved.
Phrase phraseOfBroken(unsigned char first) noexcept {
    const unsigned char length = first & LENGTH_BITS;
    if (length > LAST_LONG || (first >= SIMPLE && first <= SIMPLE + FIRST_LONG)) {
        return Phrase::ofByte("the byte ", first);
    }
    return Phrase::ofByte("too few bytes behind ", first);
}

Phrase phraseOfSimple(const CborHead& head) noexcept {
    switch (head.first) {
        case FALSE_BYTE:
            return "false";
        case TRUE_BYTE:
            return "true";
        case NULL_BYTE:
            return "null";
        case UNDEFINED_BYTE:
            return "an empty element";
        case HALF_BYTE:
            return Phrase::ofReal(cborHalf(static_cast<std::uint16_t>(head.argument)));
        case SINGLE_BYTE: {
            const auto bits = static_cast<std::uint32_t>(head.argument);
            float real = 0;
            std::memcpy(&real, &bits, sizeof real);
            return Phrase::ofReal(static_cast<double>(real));
        }
        case DOUBLE_BYTE: {
            double real = 0;
            std::memcpy(&real, &head.argument, sizeof real);
            return Phrase::ofReal(real);
        }
        case BREAK_BYTE:
            return "a break";
        default:
            return phraseOfBroken(head.first);
    }
}

// Returns the description of an item. `left` is the number of bytes after its head.
Phrase phraseOf(const CborHead& head, std::size_t left) noexcept {
    switch (head.kind()) {
        case UNSIGNED:
            return Phrase::ofUnsigned("", head.argument);
        case NEGATIVE:
            return head.argument > MAX_SIGNED
                       ? Phrase("an integer below -2^63")
                       : Phrase::ofSigned("", -1 - static_cast<std::int64_t>(head.argument));
        case BYTES:
        case TEXT:
            return head.isOpen() || head.argument <= left ? Phrase("a string")
                                                          : phraseOfBroken(head.first);
        case ARRAY:
            return "an array";
        case MAP:
            return "a map";
        case TAG:
            return Phrase::ofUnsigned("the tag ", head.argument);
        default:
            return phraseOfSimple(head);
    }
}

}  // namespace

CborFailure::CborFailure(const CborMistake& mistake, std::string_view payload, unsigned int limit,
                         Record const* record) noexcept
    : expected_(mistake.expected),
      found_(mistake.found),
      position_(static_cast<std::size_t>(mistake.at - CborInput(payload).at)),
      left_(payload.size() - position_),
      limit_(limit),
      isTooDeep_(mistake.number == NestingTooDeep) {
    copyShortText({reinterpret_cast<char const*>(mistake.at), std::min(left_, bytes_.size())},
                  bytes_.data());
    if (record != nullptr) {
        record->addPathOfNext(path_, true);
    }
}

void CborFailure::describe(std::string& out) const {
    const Phrase expected = isTooDeep_ ? Phrase::ofUnsigned(expected_, limit_) : Phrase(expected_);
    const std::string_view bytes(reinterpret_cast<char const*>(bytes_.data()),
                                 std::min(left_, bytes_.size()));
    Failure::describe(out, expected,
                      found_ != nullptr ? Phrase(found_) : phraseOfCborItem(bytes, left_), path_,
                      position_);
}

Phrase phraseOfCborItem(std::string_view bytes, std::size_t left) noexcept {
    if (bytes.empty()) {
        return "the end of the payload";
    }
    CborInput in(bytes);
    CborHead head{};
    return in.readHead(head) ? phraseOf(head, left - (bytes.size() - in.left()))
                             : phraseOfBroken(static_cast<unsigned char>(bytes[0]));
}

namespace {

// Skips the bytes of a string after its head, and returns their number.
std::uint64_t skipString(CborInput& in, CborHead head) noexcept {
    std::string_view skipped;
    if (!head.isOpen()) {
        static_cast<void>(in.readBytes(head.argument, skipped));
        return skipped.size();
    }
    std::uint64_t bytes = 0;
    while (in.readHead(head) && head.first != BREAK_BYTE && in.readBytes(head.argument, skipped)) {
        bytes += skipped.size();
    }
    return bytes;
}

// Skips the rest of an item after its head, and returns the number of its events.
std::uint64_t skipRest(CborInput& in, CborHead head) noexcept {
    if (head.first == BREAK_BYTE) {
        return 0;
    }
    if (head.kind() == BYTES || head.kind() == TEXT) {
        skipString(in, head);
    }
    if (head.kind() != TAG) {
        return 1;
    }
    const std::uint64_t tag = head.argument;
    if (!isTypedArrayTag(tag) || !in.readHead(head)) {
        return 0;  // a tag that marks the payload as CBOR is not an event
    }
    return 1 + skipString(in, head) / itemSizeOf(tag);
}

}  // namespace

std::size_t positionOfCborEvent(std::string_view payload, std::uint32_t event) noexcept {
    CborInput in(payload);
    CborHead head{};
    std::uint64_t before = 0;
    for (;;) {
        const std::size_t position = payload.size() - in.left();
        if (!in.readHead(head)) {
            return position;
        }
        before += skipRest(in, head);
        if (before > event) {
            return position;
        }
    }
}

}  // namespace util::serializer
