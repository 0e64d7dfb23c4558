#include "CborMistake.h"

#include <algorithm>
#include <cstring>

#include "CborBytes.h"
#include "CborItem.h"
#include "TypedArrays.h"

namespace util::serializer {

namespace {

using Kind = CborItem::Kind;

constexpr std::uint64_t MAX_SIGNED = 0x7FFFFFFFFFFFFFFF;

// Returns the description of an item that could not be decoded. Heads with the numbers 28 to 30 are
// reserved, as are simple values that are not decoded. All other items are incomplete.
Phrase phraseOfBroken(unsigned char first) noexcept {
    constexpr unsigned char SIMPLE = 0xE0;
    const unsigned char length = first & LENGTH_BITS;
    if (length > LAST_LONG || (first >= SIMPLE && first <= SIMPLE + FIRST_LONG)) {
        return Phrase::ofByte("the byte ", first);
    }
    return Phrase::ofByte("too few bytes behind ", first);
}

unsigned char const* bytesOf(std::string_view payload) noexcept {
    return reinterpret_cast<unsigned char const*>(payload.data());
}

}  // namespace

CborFailure::CborFailure(const CborMistake& mistake, std::string_view payload, unsigned int limit,
                         Record const* record) noexcept
    : expected_(mistake.expected),
      found_(mistake.found),
      position_(static_cast<std::size_t>(mistake.at - bytesOf(payload))),
      left_(payload.size() - position_),
      limit_(limit),
      isTooDeep_(mistake.number == NestingTooDeep) {
    if (left_ != 0) {
        std::memcpy(bytes_.data(), mistake.at, std::min(left_, bytes_.size()));
    }
    if (record != nullptr) {
        record->addPathOfNext(path_, true);
    }
}

void CborFailure::describe(std::string& out) const {
    const Phrase expected = isTooDeep_ ? Phrase::ofUnsigned(expected_, limit_) : Phrase(expected_);
    Failure::describe(out, expected,
                      found_ != nullptr ? Phrase(found_) : phraseOfCborItem(bytes_.data(), left_),
                      path_, position_);
}

Phrase phraseOfCborItem(unsigned char const* bytes, std::size_t size) noexcept {
    CborItem item{};
    if (size == 0) {
        return "the end of the payload";
    }
    if (decodeCborItem(bytes, size, item) == 0) {
        return phraseOfBroken(bytes[0]);
    }
    switch (item.kind) {
        case Kind::Unsigned:
            return Phrase::ofUnsigned("", item.number);
        case Kind::Negative:
            return item.number > MAX_SIGNED
                       ? Phrase("an integer below -2^63")
                       : Phrase::ofSigned("", -1 - static_cast<std::int64_t>(item.number));
        case Kind::Text:
        case Kind::Bytes:
        case Kind::BytesChunks:
        case Kind::TextChunks:
            return "a string";
        case Kind::Array:
        case Kind::OpenArray:
            return "an array";
        case Kind::Map:
        case Kind::OpenMap:
            return "a map";
        case Kind::Tag:
            return Phrase::ofUnsigned("the tag ", item.number);
        case Kind::Float:
        case Kind::Double:
            return Phrase::ofReal(item.real);
        case Kind::Boolean:
            return item.number != 0 ? "true" : "false";
        case Kind::Null:
            return "null";
        case Kind::Undefined:
            return "an empty element";
        case Kind::Break:
            break;
    }
    return "a break";
}

namespace {

// An iterator over the items of a payload that was read before.
class CborItems {
public:
    explicit CborItems(std::string_view payload) noexcept
        : begin_(reinterpret_cast<unsigned char const*>(payload.data())), size_(payload.size()) {}

    std::size_t position() const noexcept { return at_; }
    bool next() noexcept {
        const std::size_t read = decodeCborItem(begin_ + at_, size_ - at_, item_);
        at_ += read;
        return read != 0;
    }
    const CborItem& item() const noexcept { return item_; }
    /// Skips the chunks of a string and returns the number of their bytes.
    std::size_t skipChunks() noexcept {
        std::size_t bytes = 0;
        while (next() && item_.kind != Kind::Break) {
            bytes += item_.bytes.size();
        }
        return bytes;
    }

private:
    unsigned char const* begin_;
    std::size_t size_;
    std::size_t at_ = 0;
    CborItem item_{};
};

// Skips the rest of an item whose head was read, and returns the number of its events.
std::uint64_t skipRest(CborItems& items) noexcept {
    const Kind kind = items.item().kind;
    if (kind == Kind::BytesChunks || kind == Kind::TextChunks) {
        items.skipChunks();
    }
    if (kind != Kind::Tag) {
        return kind == Kind::Break ? 0 : 1;
    }
    const std::uint64_t tag = items.item().number;
    if (!isTypedArrayTag(tag) || !items.next()) {
        return 0;  // the tag before the whole payload
    }
    const std::size_t bytes =
        items.item().kind == Kind::BytesChunks ? items.skipChunks() : items.item().bytes.size();
    return 1 + bytes / itemSizeOf(tag);
}

}  // namespace

std::size_t positionOfCborEvent(std::string_view payload, std::uint32_t event) noexcept {
    CborItems items(payload);
    std::uint64_t before = 0;
    for (;;) {
        const std::size_t begin = items.position();
        if (!items.next()) {
            return begin;
        }
        before += skipRest(items);
        if (before > event) {
            return begin;
        }
    }
}

}  // namespace util::serializer
