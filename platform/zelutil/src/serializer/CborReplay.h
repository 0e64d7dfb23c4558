#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>

#include "BigEndian.h"
#include "CborBytes.h"
#include "CborItem.h"
#include "CborMistake.h"
#include "TextCheck.h"
#include "util/Limits.h"

namespace util::serializer {

/// A decoder that replays a CBOR payload to a target, item by item. The open levels are on a stack
/// of fixed size, so neither nesting nor a declared length allocates memory. Only chunked strings
/// and typed arrays are collected, which are not larger than the payload.
///
/// `Target` is a handle that is cheap to copy, with the functions that are called here. They return
/// true on failure, as the functions of this class do. Include CborReplayItems.h to instantiate.
template <class Target>
class CborReplay {
public:
    /// Creates a decoder of the `size` bytes at `bytes`, which must be exactly one value. At most
    /// `limit` levels may be open; `limit` is at most `MAX_NESTING_DEPTH`.
    CborReplay(unsigned char const* bytes, std::size_t size, unsigned int limit,
               Target target) noexcept
        : bytes_{bytes, size}, target_(target) {
        levels_[0] = {Place::Outside, false, 0};
        top_ = levels_.data();
        deepest_ = top_ + limit;
    }

    /// Replays the whole payload. Called once.
    bool run();

    /// Returns the mistake in the payload after `run` failed. If the target refused a call, it is
    /// empty.
    const CborMistake& mistake() const noexcept { return mistake_; }

private:
    using Kind = CborItem::Kind;

    static constexpr char const* VALUE = "a value";
    static constexpr char const* FIELD = "a field name";
    static constexpr char const* TYPED_ARRAY = "the bytes of a typed array";
    static constexpr char const* UTF8 = "UTF-8";
    static constexpr char const* OTHER_BYTES = "other bytes";
    static constexpr std::uint64_t SELF_DESCRIBED = 55799;
    static constexpr std::uint64_t MAX_SIGNED = std::numeric_limits<std::int64_t>::max();
    static constexpr std::uint64_t UNTIL_BREAK = std::numeric_limits<std::uint64_t>::max();

    /// The container of an item.
    enum class Place : std::uint8_t { Outside, Array, Map };
    struct Level {
        Place place;
        bool isOpen;         // ends with a break, not after `left` items
        std::uint64_t left;  // number of elements or pairs that are left
    };

    /// The bytes that are not consumed yet.
    struct Bytes {
        unsigned char const* at;
        std::size_t left;

        void step(std::size_t bytes) noexcept {
            at += bytes;
            left -= bytes;
        }
        bool isAtBreak() const noexcept { return left != 0 && *at == BREAK_BYTE; }
        bool stepOverShortText(std::string_view& text) noexcept;
        bool stepOverNumber(std::uint64_t& number) noexcept;
    };

    bool isOutside() const noexcept { return top_ == levels_.data(); }
    bool next(CborItem& item) noexcept;
    bool takeEntries();
    bool takeKey(std::string_view text);
    bool takeValue(Bytes& bytes);
    template <class Take>
    bool aside(Bytes& bytes, Take take);
    bool takeOtherKey();
    bool takeOtherValue();
    bool takeItem(const CborItem& item, unsigned char const* begin);
    bool takeContainer(const CborItem& item, unsigned char const* begin);
    bool takeSimple(const CborItem& item);
    bool takeString(std::string_view bytes);
    bool takeText(std::string_view text);
    bool takeTypedArray(std::uint64_t tag, unsigned char const* begin);
    bool takeUndefined();
    bool takeUnsigned(std::uint64_t number);
    bool takeNegative(std::uint64_t number, unsigned char const* begin);
    bool collect(Kind kind);
    bool beginItem();
    bool endItem();
    bool open(Place place, std::uint64_t count, unsigned char const* begin);
    bool close();
    template <class Write>
    bool scalar(Write write);
    /// Stores the mistake that something else than `expected` was found at `at`. Returns true.
    [[gnu::cold]] bool fail(unsigned char const* at, char const* expected,
                            char const* found = nullptr,
                            PayloadErrorNumber number = MalformedPayload) noexcept {
        mistake_ = {at, expected, found, number};
        return true;
    }
    bool failItem(char const* expected) noexcept { return fail(bytes_.at, expected); }
    bool isTooDeep(unsigned char const* at) noexcept {
        if (top_ != deepest_) {
            return false;
        }
        return fail(at, "no more levels than ", nullptr, NestingTooDeep);
    }

    Bytes bytes_;
    Target target_;
    std::string chunks_;
    CborMistake mistake_;
    Level* top_ = nullptr;
    Level* deepest_ = nullptr;  // the last level that may be opened
    std::array<Level, MAX_NESTING_DEPTH + 1> levels_;
};

template <class Target>
bool CborReplay<Target>::run() {
    CborItem item{};
    unsigned char const* begin = bytes_.at;
    if (next(item)) {
        return failItem(VALUE);
    }
    // The tag of self-described CBOR has no further meaning, so it is skipped.
    if (item.kind == Kind::Tag && item.number == SELF_DESCRIBED) {
        begin = bytes_.at;
        if (next(item)) {
            return failItem(VALUE);
        }
    }
    if (takeItem(item, begin)) {
        return true;
    }
    while (!isOutside()) {
        if (takeEntries()) {
            return true;
        }
    }
    if (bytes_.left != 0) {
        return failItem("the end of the payload");
    }
    return false;
}

template <class Target>
inline bool CborReplay<Target>::next(CborItem& item) noexcept {
    const std::size_t read = decodeCborItem(bytes_.at, bytes_.left, item);
    bytes_.step(read);
    return read == 0;
}

// Consumes a text whose length is in its first byte. The text is not validated. Returns false if
// the next item is not such a text.
template <class Target>
inline bool CborReplay<Target>::Bytes::stepOverShortText(std::string_view& text) noexcept {
    if (left == 0) {
        return false;
    }
    const auto length = static_cast<unsigned char>(*at - TEXT);
    if (length > MAX_SHORT || length >= left) {
        return false;
    }
    text = {reinterpret_cast<char const*>(at + 1), length};
    step(std::size_t{1} + length);
    return true;
}

// Consumes a head with a number after the first byte. Returns false if it is incomplete.
template <class Target>
inline bool CborReplay<Target>::Bytes::stepOverNumber(std::uint64_t& number) noexcept {
    const std::size_t size = std::size_t{1} << ((*at & LENGTH_BITS) - FIRST_LONG);
    if (left <= size) {
        return false;
    }
    number = loadNumber(at + 1, size);
    step(1 + size);
    return true;
}

// Replays elements or fields of the top level, up to its end or to one that opens another level.
// The cursor is kept in a local so it can live in registers while the items are of common kinds.
template <class Target>
bool CborReplay<Target>::takeEntries() {
    Bytes bytes = bytes_;
    Level* const level = top_;
    const bool isMap = level->place == Place::Map;
    while (level->left != 0 && top_ == level) {
        std::string_view key;
        const bool hasShortKey = isMap && bytes.stepOverShortText(key);
        if (!hasShortKey && bytes.isAtBreak()) {
            if (!level->isOpen) {
                return fail(bytes.at, isMap ? FIELD : VALUE);
            }
            bytes.step(1);
            bytes_ = bytes;
            return close();
        }
        if (hasShortKey ? takeKey(key) : isMap && aside(bytes, [this] { return takeOtherKey(); })) {
            return true;
        }
        if (takeValue(bytes)) {
            return true;
        }
    }
    bytes_ = bytes;
    return top_ == level && close();
}

// Runs `take`, which uses the cursor in the object, and updates the local cursor.
template <class Target>
template <class Take>
inline bool CborReplay<Target>::aside(Bytes& bytes, Take take) {
    bytes_ = bytes;
    const bool failed = take();
    bytes = bytes_;
    return failed;
}

template <class Target>
inline bool CborReplay<Target>::takeKey(std::string_view text) {
    if (!isUtf8(text)) {
        return fail(reinterpret_cast<unsigned char const*>(text.data()), UTF8, OTHER_BYTES);
    }
    return target_.beginField(text);
}

// Replays a value. Most values are short texts, integers, doubles, booleans and containers that end
// with a break. They are replayed without a `CborItem`, which saves much time.
template <class Target>
inline bool CborReplay<Target>::takeValue(Bytes& bytes) {
    std::string_view text;
    if (bytes.stepOverShortText(text)) {
        return takeText(text);
    }
    const unsigned char first = bytes.left == 0 ? BREAK_BYTE : *bytes.at;
    std::uint64_t number = 0;
    if (first <= MAX_SHORT) {
        bytes.step(1);
        return scalar([&] { return target_.putSigned(first); });
    }
    if (first <= LAST_LONG && bytes.stepOverNumber(number)) {
        return takeUnsigned(number);
    }
    if (first == DOUBLE_BYTE && bytes.stepOverNumber(number)) {
        double real = 0;
        std::memcpy(&real, &number, sizeof(real));
        return scalar([&] { return target_.putDouble(real); });
    }
    if (first == FALSE_BYTE || first == TRUE_BYTE) {
        bytes.step(1);
        return scalar([&] { return target_.putBoolean(first == TRUE_BYTE); });
    }
    if (first == ARRAY_BYTE || first == MAP_BYTE) {
        bytes.step(1);
        return open(first == MAP_BYTE ? Place::Map : Place::Array, UNTIL_BREAK, bytes.at - 1);
    }
    return aside(bytes, [this] { return takeOtherValue(); });
}

template <class Target>
inline bool CborReplay<Target>::takeUnsigned(std::uint64_t number) {
    return scalar([&] {
        return number <= MAX_SIGNED ? target_.putSigned(static_cast<std::int64_t>(number))
                                    : target_.putUnsigned(number);
    });
}

template <class Target>
inline bool CborReplay<Target>::takeText(std::string_view text) {
    if (!isUtf8(text)) {
        return fail(reinterpret_cast<unsigned char const*>(text.data()), UTF8, OTHER_BYTES);
    }
    return takeString(text);
}

template <class Target>
inline bool CborReplay<Target>::takeString(std::string_view bytes) {
    return scalar([&] { return target_.putString(bytes); });
}

template <class Target>
template <class Write>
inline bool CborReplay<Target>::scalar(Write write) {
    return beginItem() || write() || endItem();
}

template <class Target>
inline bool CborReplay<Target>::beginItem() {
    return top_->place == Place::Array && target_.beginElement();
}

template <class Target>
inline bool CborReplay<Target>::endItem() {
    --top_->left;
    if (top_->place == Place::Map) {
        return target_.endField();
    }
    return top_->place == Place::Array && target_.endElement();
}

template <class Target>
bool CborReplay<Target>::open(Place place, std::uint64_t count, unsigned char const* begin) {
    if (isTooDeep(begin) || beginItem()) {
        return true;
    }
    *++top_ = {place, count == UNTIL_BREAK, count};
    return place == Place::Map ? target_.beginStruct() : target_.beginArray();
}

template <class Target>
bool CborReplay<Target>::close() {
    const bool isMap = top_->place == Place::Map;
    --top_;
    return (isMap ? target_.endStruct() : target_.endArray()) || endItem();
}

}  // namespace util::serializer
