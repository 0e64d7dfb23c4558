#pragma once

#include "CborItem.h"
#include "CborReplay.h"
#include "TypedArrays.h"

// The items of a payload that are not common, for the file that uses `CborReplay`: numbers that are
// negative, long strings and those in chunks, lengths that are told, tags, and the rest.
namespace util::serializer {

template <class Target>
bool CborReplay<Target>::takeOtherKey() {
    CborItem item{};
    if (next(item)) {
        return true;
    }
    if (item.kind == Kind::Text) {
        return takeKey(item.bytes);
    }
    if (item.kind == Kind::Bytes) {
        return target_.beginField(item.bytes);
    }
    const bool isChunked = item.kind == Kind::BytesChunks || item.kind == Kind::TextChunks;
    return !isChunked || collect(item.kind) || target_.beginField(chunks_);
}

template <class Target>
bool CborReplay<Target>::takeOtherValue() {
    CborItem item{};
    return next(item) || takeItem(item);
}

template <class Target>
bool CborReplay<Target>::takeItem(const CborItem& item) {
    const std::uint64_t number = item.number;
    switch (item.kind) {
        case Kind::Unsigned:
            return takeUnsigned(number);
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
            return number > bytes_.left || open(Place::Array, number);
        case Kind::Map:
            return number > bytes_.left / 2 || open(Place::Map, number);
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

}  // namespace util::serializer
