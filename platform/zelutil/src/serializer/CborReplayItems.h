#pragma once

#include "CborItem.h"
#include "CborReplay.h"
#include "TypedArrays.h"

// The functions of `CborReplay` for less common items, for the file that instantiates it: negative
// numbers, long and chunked strings, containers with a definite length, tags, and the others.
namespace util::serializer {

template <class Target>
bool CborReplay<Target>::takeOtherKey() {
    CborItem item{};
    unsigned char const* const begin = bytes_.at;
    if (next(item)) {
        return failItem(FIELD);
    }
    if (item.kind == Kind::Text) {
        return takeKey(item.bytes);
    }
    if (item.kind == Kind::Bytes) {
        return target_.beginField(item.bytes);
    }
    const bool isChunked = item.kind == Kind::BytesChunks || item.kind == Kind::TextChunks;
    if (!isChunked) {
        return fail(begin, FIELD);
    }
    return collect(item.kind) || target_.beginField(chunks_);
}

template <class Target>
bool CborReplay<Target>::takeOtherValue() {
    CborItem item{};
    unsigned char const* const begin = bytes_.at;
    return next(item) ? failItem(VALUE) : takeItem(item, begin);
}

template <class Target>
bool CborReplay<Target>::takeItem(const CborItem& item, unsigned char const* begin) {
    switch (item.kind) {
        case Kind::Unsigned:
            return takeUnsigned(item.number);
        case Kind::Negative:
            return takeNegative(item.number, begin);
        case Kind::Bytes:
            return takeString(item.bytes);
        case Kind::Text:
            return takeText(item.bytes);
        case Kind::BytesChunks:
        case Kind::TextChunks:
            return collect(item.kind) || takeString(chunks_);
        case Kind::Array:
        case Kind::Map:
        case Kind::OpenArray:
        case Kind::OpenMap:
            return takeContainer(item, begin);
        case Kind::Tag:
            return takeTypedArray(item.number, begin);
        case Kind::Float:
        case Kind::Double:
        case Kind::Boolean:
        case Kind::Null:
        case Kind::Undefined:
            return takeSimple(item);
        default:  // Kind::Break, where no container can end
            return fail(begin, VALUE);
    }
}

template <class Target>
bool CborReplay<Target>::takeContainer(const CborItem& item, unsigned char const* begin) {
    if (item.kind == Kind::OpenArray) {
        return open(Place::Array, UNTIL_BREAK, begin);
    }
    if (item.kind == Kind::OpenMap) {
        return open(Place::Map, UNTIL_BREAK, begin);
    }
    const bool isMap = item.kind == Kind::Map;
    if (item.number > (isMap ? bytes_.left / 2 : bytes_.left)) {
        return fail(begin, "a length within the payload",
                    isMap ? "a longer map" : "a longer array");
    }
    return open(isMap ? Place::Map : Place::Array, item.number, begin);
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
bool CborReplay<Target>::takeNegative(std::uint64_t number, unsigned char const* begin) {
    if (number > MAX_SIGNED) {
        return fail(begin, "an integer of 64 bits", "one below -2^63");
    }
    return scalar([&] { return target_.putSigned(-1 - static_cast<std::int64_t>(number)); });
}

// Concatenates the chunks of a string, up to its break.
template <class Target>
bool CborReplay<Target>::collect(Kind kind) {
    constexpr char const* CHUNK = "a chunk of the string or its end";
    const Kind wanted = kind == Kind::BytesChunks ? Kind::Bytes : Kind::Text;
    chunks_.clear();
    CborItem chunk{};
    while (true) {
        unsigned char const* const begin = bytes_.at;
        if (next(chunk)) {
            return failItem(CHUNK);
        }
        if (chunk.kind == Kind::Break) {
            return false;
        }
        if (chunk.kind != wanted) {
            return fail(begin, CHUNK);
        }
        // A character must not be split between chunks.
        if (wanted == Kind::Text && !isUtf8(chunk.bytes)) {
            return fail(begin, UTF8, OTHER_BYTES);
        }
        chunks_.append(chunk.bytes);
    }
}

// Replays the typed array after the tag. It counts as a level, because it is one for a reader that
// reads its elements one by one.
template <class Target>
bool CborReplay<Target>::takeTypedArray(std::uint64_t tag, unsigned char const* begin) {
    if (!isTypedArrayTag(tag)) {
        return fail(begin, "the tag of a typed array");
    }
    CborItem item{};
    unsigned char const* const content = bytes_.at;
    if (next(item)) {
        return failItem(TYPED_ARRAY);
    }
    const bool isChunked = item.kind == Kind::BytesChunks;
    if (!isChunked && item.kind != Kind::Bytes) {
        return fail(content, TYPED_ARRAY);
    }
    if (isChunked && collect(item.kind)) {
        return true;
    }
    const std::string_view bytes = isChunked ? std::string_view(chunks_) : item.bytes;
    if (bytes.size() % itemSizeOf(tag) != 0) {
        return fail(content, "a whole number of items", "a part of one");
    }
    return isTooDeep(begin) || scalar([&] { return target_.putTypedArray(tag, bytes); });
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
