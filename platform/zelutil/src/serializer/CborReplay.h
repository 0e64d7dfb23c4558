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
#include "TextCheck.h"
#include "TypedArrays.h"
#include "util/Limits.h"

namespace util::serializer {

/// Replays a CBOR payload to a target, item by item. What is open is kept on a stack of fixed size,
/// so neither the nesting nor a declared length asks for memory; only chunked strings and typed
/// arrays are collected, and they are no larger than the bytes that are there.
///
/// `Target` is a cheap handle with the functions called here; all of them are true on failure, as
/// are those of this class.
template <class Target>
class CborReplay {
public:
    /// Replays the `size` bytes at `bytes`, of which all are to be one value. No more than `limit`
    /// levels, which is at most `MAX_NESTING_DEPTH`, may be open.
    CborReplay(unsigned char const* bytes, std::size_t size, unsigned int limit,
               Target target) noexcept
        : bytes_(bytes), left_(size), target_(target) {
        levels_[0] = {Place::Outside, false, 0};
        top_ = levels_.data();
        deepest_ = top_ + limit;
    }

    bool run();

private:
    using Kind = CborItem::Kind;

    static constexpr std::uint64_t SELF_DESCRIBED = 55799;
    static constexpr std::uint64_t MAX_SIGNED = std::numeric_limits<std::int64_t>::max();
    static constexpr std::uint64_t UNTIL_BREAK = std::numeric_limits<std::uint64_t>::max();

    /// Where an item stands.
    enum class Place : std::uint8_t { Outside, Array, Map };
    struct Level {
        Place place;
        bool isOpen;         // ends with a break, not after `left` items
        std::uint64_t left;  // elements or pairs still to come
    };

    bool isOutside() const noexcept { return top_ == levels_.data(); }
    bool next(CborItem& item) noexcept;
    void step(std::size_t bytes) noexcept;
    bool stepOverShortText(std::string_view& text) noexcept;
    bool takeEntry();
    bool takeKey();
    bool takeValue();
    bool takeItem(const CborItem& item);
    bool takeSimple(const CborItem& item);
    bool takeString(std::string_view bytes);
    bool takeTypedArray(std::uint64_t tag);
    bool takeUndefined();
    bool takeNegative(std::uint64_t number);
    bool collect(Kind kind);
    bool beginItem();
    bool endItem();
    bool open(Place place, std::uint64_t count);
    bool close();
    template <class Write>
    bool scalar(Write write);

    unsigned char const* bytes_;
    std::size_t left_;
    Target target_;
    std::string chunks_;
    Level* top_ = nullptr;
    Level* deepest_ = nullptr;  // that may be opened
    std::array<Level, MAX_NESTING_DEPTH + 1> levels_;
};

template <class Target>
bool CborReplay<Target>::run() {
    CborItem item{};
    if (next(item)) {
        return true;
    }
    // The self-description says only that the bytes are what they are taken for anyway.
    if (item.kind == Kind::Tag && item.number == SELF_DESCRIBED && next(item)) {
        return true;
    }
    if (takeItem(item)) {
        return true;
    }
    while (!isOutside()) {
        if (takeEntry()) {
            return true;
        }
    }
    return left_ != 0;
}

template <class Target>
inline void CborReplay<Target>::step(std::size_t bytes) noexcept {
    bytes_ += bytes;
    left_ -= bytes;
}

template <class Target>
inline bool CborReplay<Target>::next(CborItem& item) noexcept {
    const std::size_t read = decodeCborItem(bytes_, left_, item);
    step(read);
    return read == 0;
}

// Takes a text whose length is within its first byte, not checked; false when none is next.
template <class Target>
inline bool CborReplay<Target>::stepOverShortText(std::string_view& text) noexcept {
    if (left_ == 0) {
        return false;
    }
    const auto length = static_cast<unsigned char>(*bytes_ - TEXT);
    if (length > MAX_SHORT || length >= left_) {
        return false;
    }
    text = {reinterpret_cast<char const*>(bytes_ + 1), length};
    step(std::size_t{1} + length);
    return true;
}

// The next element or field of what is open, or its end.
template <class Target>
inline bool CborReplay<Target>::takeEntry() {
    if (top_->left == 0) {
        return close();
    }
    if (left_ != 0 && *bytes_ == BREAK_BYTE) {
        step(1);
        return !top_->isOpen || close();
    }
    return (top_->place == Place::Map && takeKey()) || takeValue();
}

template <class Target>
inline bool CborReplay<Target>::takeKey() {
    std::string_view text;
    if (stepOverShortText(text)) {
        return !isUtf8(text) || target_.beginField(text);
    }
    CborItem item{};
    if (next(item)) {
        return true;
    }
    if (item.kind == Kind::Text || item.kind == Kind::Bytes) {
        const bool isGood = item.kind == Kind::Bytes || isUtf8(item.bytes);
        return !isGood || target_.beginField(item.bytes);
    }
    const bool isChunked = item.kind == Kind::BytesChunks || item.kind == Kind::TextChunks;
    return !isChunked || collect(item.kind) || target_.beginField(chunks_);
}

// Most values are short texts, small numbers, doubles and booleans. They are taken without making
// an item of them, which saves a good part of the time.
template <class Target>
inline bool CborReplay<Target>::takeValue() {
    std::string_view text;
    if (stepOverShortText(text)) {
        return !isUtf8(text) || takeString(text);
    }
    const unsigned char first = left_ == 0 ? BREAK_BYTE : *bytes_;
    if (first <= MAX_SHORT) {
        step(1);
        return scalar([&] { return target_.putSigned(first); });
    }
    if (first == DOUBLE_BYTE && left_ > sizeof(std::uint64_t)) {
        const std::uint64_t bits = loadEight(bytes_ + 1);
        double number = 0;
        std::memcpy(&number, &bits, sizeof(number));
        step(1 + sizeof(bits));
        return scalar([&] { return target_.putDouble(number); });
    }
    if (first == FALSE_BYTE || first == TRUE_BYTE) {
        step(1);
        return scalar([&] { return target_.putBoolean(first == TRUE_BYTE); });
    }
    if (first == ARRAY_BYTE || first == MAP_BYTE) {
        step(1);
        return open(first == MAP_BYTE ? Place::Map : Place::Array, UNTIL_BREAK);
    }
    CborItem item{};
    return next(item) || takeItem(item);
}

template <class Target>
bool CborReplay<Target>::takeItem(const CborItem& item) {
    const std::uint64_t number = item.number;
    switch (item.kind) {
        case Kind::Unsigned:
            return scalar([&] {
                return number <= MAX_SIGNED ? target_.putSigned(static_cast<std::int64_t>(number))
                                            : target_.putUnsigned(number);
            });
        case Kind::Negative:
            return takeNegative(number);
        case Kind::Bytes:
            return takeString(item.bytes);
        case Kind::Text:
            return !isUtf8(item.bytes) || takeString(item.bytes);
        case Kind::BytesChunks:
        case Kind::TextChunks:
            return collect(item.kind) || takeString(chunks_);
        case Kind::Array:
            return number > left_ || open(Place::Array, number);
        case Kind::Map:
            return number > left_ / 2 || open(Place::Map, number);
        case Kind::OpenArray:
            return open(Place::Array, UNTIL_BREAK);
        case Kind::OpenMap:
            return open(Place::Map, UNTIL_BREAK);
        case Kind::Tag:
            return takeTypedArray(number);
        case Kind::Float:
        case Kind::Double:
        case Kind::Boolean:
        case Kind::Null:
        case Kind::Undefined:
            return takeSimple(item);
        default:  // Kind::Break, which ends nothing here
            return true;
    }
}

template <class Target>
bool CborReplay<Target>::takeSimple(const CborItem& item) {
    if (item.kind == Kind::Float) {
        return scalar([&] { return target_.putFloat(static_cast<float>(item.real)); });
    }
    if (item.kind == Kind::Double) {
        return scalar([&] { return target_.putDouble(item.real); });
    }
    if (item.kind == Kind::Boolean) {
        return scalar([&] { return target_.putBoolean(item.number != 0); });
    }
    if (item.kind == Kind::Null) {
        return scalar([&] { return target_.putNull(); });
    }
    return takeUndefined();
}

template <class Target>
bool CborReplay<Target>::takeNegative(std::uint64_t number) {
    if (number > MAX_SIGNED) {
        return true;
    }
    return scalar([&] { return target_.putSigned(-1 - static_cast<std::int64_t>(number)); });
}

template <class Target>
inline bool CborReplay<Target>::takeString(std::string_view bytes) {
    return scalar([&] { return target_.putString(bytes); });
}

// Puts the chunks of a string together, up to their break.
template <class Target>
bool CborReplay<Target>::collect(Kind kind) {
    const Kind wanted = kind == Kind::BytesChunks ? Kind::Bytes : Kind::Text;
    chunks_.clear();
    CborItem chunk{};
    while (true) {
        if (next(chunk)) {
            return true;
        }
        if (chunk.kind != wanted) {
            return chunk.kind != Kind::Break;
        }
        // No character may be spread over chunks.
        if (wanted == Kind::Text && !isUtf8(chunk.bytes)) {
            return true;
        }
        chunks_.append(chunk.bytes);
    }
}

// The bytes behind the tag. Counts as a level, because it is one for whoever reads it element by
// element.
template <class Target>
bool CborReplay<Target>::takeTypedArray(std::uint64_t tag) {
    CborItem item{};
    if (!isTypedArrayTag(tag) || next(item)) {
        return true;
    }
    const bool isChunked = item.kind == Kind::BytesChunks;
    if (isChunked ? collect(item.kind) : item.kind != Kind::Bytes) {
        return true;
    }
    const std::string_view bytes = isChunked ? std::string_view(chunks_) : item.bytes;
    return top_ == deepest_ || scalar([&] { return target_.putTypedArray(tag, bytes); });
}

template <class Target>
bool CborReplay<Target>::takeUndefined() {
    if (top_->place != Place::Array) {
        return scalar([&] { return target_.putNull(); });
    }
    --top_->left;
    return target_.putEmptyElement();
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
bool CborReplay<Target>::open(Place place, std::uint64_t count) {
    if (top_ == deepest_ || beginItem()) {
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
