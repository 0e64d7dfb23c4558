#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

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
        // The payload itself is an array that nothing ends.
        levels_[0] = {false, true, false, 0};
        top_ = levels_.data();
        deepest_ = top_ + limit;
    }

    bool run();

private:
    using Kind = CborItem::Kind;

    static constexpr std::uint64_t SELF_DESCRIBED = 55799;
    static constexpr std::uint64_t MAX_SIGNED = std::numeric_limits<std::int64_t>::max();

    struct Level {
        bool isMap;
        bool isOpen;         // ends with a break, not after `left` items
        bool wantsKey;       // a map's field is not begun
        std::uint64_t left;  // elements or pairs still to come
    };

    bool isOutside() const noexcept { return top_ == levels_.data(); }
    bool next(CborItem& item) noexcept;
    bool takeKey(const CborItem& item);
    bool take(const CborItem& item);
    bool takeSimple(const CborItem& item);
    bool takeText(std::string_view utf8);
    bool takeTypedArray(std::uint64_t tag);
    bool takeUndefined();
    bool takeNegative(std::uint64_t number);
    bool collect(Kind kind);
    bool beginItem();
    bool endItem();
    void countItem() noexcept;
    bool open(bool isMap, bool isOpen, std::uint64_t count);
    bool close();
    bool closeFinished();
    bool takeBreak();
    template <class Write>
    bool scalar(Write write);

    unsigned char const* bytes_;
    std::size_t left_;
    Target target_;
    bool complete_ = false;
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
    while (true) {
        if (top_->wantsKey ? takeKey(item) : take(item)) {
            return true;
        }
        if (closeFinished()) {
            return true;
        }
        if (complete_) {
            return left_ != 0;
        }
        if (next(item)) {
            return true;
        }
    }
}

template <class Target>
inline bool CborReplay<Target>::next(CborItem& item) noexcept {
    const std::size_t read = decodeCborItem(bytes_, left_, item);
    bytes_ += read;
    left_ -= read;
    return read == 0;
}

// A map's next key, or its end.
template <class Target>
bool CborReplay<Target>::takeKey(const CborItem& item) {
    std::string_view name = item.bytes;
    switch (item.kind) {
        case Kind::Text:
            if (!isUtf8(name)) {
                return true;
            }
            break;
        case Kind::Bytes:
            break;
        case Kind::BytesChunks:
        case Kind::TextChunks:
            if (collect(item.kind)) {
                return true;
            }
            name = chunks_;
            break;
        case Kind::Break:
            return takeBreak();
        default:
            return true;
    }
    top_->wantsKey = false;
    return target_.beginField(name);
}

template <class Target>
bool CborReplay<Target>::take(const CborItem& item) {
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
            return takeText(item.bytes);
        case Kind::Text:
            return !isUtf8(item.bytes) || takeText(item.bytes);
        case Kind::BytesChunks:
        case Kind::TextChunks:
            return collect(item.kind) || takeText(chunks_);
        case Kind::Array:
            return number > left_ || open(false, false, number);
        case Kind::Map:
            return number > left_ / 2 || open(true, false, number);
        case Kind::OpenArray:
            return open(false, true, 0);
        case Kind::OpenMap:
            return open(true, true, 0);
        case Kind::Tag:
            return takeTypedArray(number);
        case Kind::Float:
        case Kind::Double:
        case Kind::Boolean:
        case Kind::Null:
        case Kind::Undefined:
            return takeSimple(item);
        case Kind::Break:
            break;
    }
    return takeBreak();
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
bool CborReplay<Target>::takeText(std::string_view utf8) {
    return scalar([&] { return target_.putString(utf8); });
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
    if (isOutside() || top_->isMap) {
        return scalar([&] { return target_.putNull(); });
    }
    countItem();
    return target_.putEmptyElement();
}

template <class Target>
template <class Write>
inline bool CborReplay<Target>::scalar(Write write) {
    return beginItem() || write() || endItem();
}

template <class Target>
inline bool CborReplay<Target>::beginItem() {
    return !isOutside() && !top_->isMap && target_.beginElement();
}

template <class Target>
inline bool CborReplay<Target>::endItem() {
    if (isOutside()) {
        complete_ = true;
        return false;
    }
    countItem();
    return top_->isMap ? target_.endField() : target_.endElement();
}

template <class Target>
inline void CborReplay<Target>::countItem() noexcept {
    top_->wantsKey = top_->isMap;
    if (!top_->isOpen) {
        --top_->left;
    }
}

template <class Target>
bool CborReplay<Target>::open(bool isMap, bool isOpen, std::uint64_t count) {
    if (top_ == deepest_ || beginItem()) {
        return true;
    }
    *++top_ = {isMap, isOpen, isMap, count};
    return isMap ? target_.beginStruct() : target_.beginArray();
}

template <class Target>
bool CborReplay<Target>::close() {
    const bool isMap = top_->isMap;
    --top_;
    return (isMap ? target_.endStruct() : target_.endArray()) || endItem();
}

// Ends what has got all its items; the end of one may be the last item of the next.
template <class Target>
inline bool CborReplay<Target>::closeFinished() {
    while (!top_->isOpen && top_->left == 0) {
        if (close()) {
            return true;
        }
    }
    return false;
}

template <class Target>
bool CborReplay<Target>::takeBreak() {
    const bool hasKey = top_->isMap && !top_->wantsKey;
    return isOutside() || !top_->isOpen || hasKey || close();
}

}  // namespace util::serializer
