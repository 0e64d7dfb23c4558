#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>

#include "bytes/BigEndian.h"
#include "bytes/TextCheck.h"
#include "cbor/CborBytes.h"
#include "cbor/TypedArrays.h"
#include "util/Limits.h"
#include "util/serializer/PayloadError.h"

// The decoder of the binary format (RFC 8949). It makes one call of a target for each item.

// Without inlining, the decoder's loop would keep its input in memory instead of registers, and
// reading would take twice as long. Builds without optimization do not force the inlining: in the
// build that measures coverage, each function must be counted once, not once for each caller.
#ifdef __OPTIMIZE__
#define KOVA_INLINE_DECODING [[gnu::always_inline]]
#else
#define KOVA_INLINE_DECODING
#endif

namespace util::serializer {

/// The head of an item: its kind, and its argument.
struct CborHead {
    unsigned char first;     // the first byte
    std::uint64_t argument;  // a number, a length, a tag, or the bits of a float

    unsigned char kind() const noexcept { return first & KIND_BITS; }
    /// Returns whether a string, array or map ends with a break and has no length.
    bool isOpen() const noexcept { return (first & LENGTH_BITS) == OPEN; }
};

/// The bytes of a payload that are not consumed yet.
struct CborInput {
    unsigned char const* at;
    unsigned char const* end;

    explicit CborInput(std::string_view bytes) noexcept
        : at(reinterpret_cast<unsigned char const*>(bytes.data())), end(at + bytes.size()) {}

    std::size_t left() const noexcept { return static_cast<std::size_t>(end - at); }
    /// Skips the tag of self-described CBOR, which does not change the value after it.
    void skipSelfDescription() noexcept {
        constexpr std::uint64_t SELF_DESCRIBED = 55799;
        CborInput behind = *this;
        CborHead head{};
        if (behind.readHead(head) && head.kind() == TAG && head.argument == SELF_DESCRIBED) {
            *this = behind;
        }
    }
    bool isAtBreak() const noexcept { return at != end && *at == BREAK_BYTE; }
    /// Consumes a head. Returns false, without consuming anything, if it is incomplete or reserved.
    KOVA_INLINE_DECODING bool readHead(CborHead& head) noexcept {
        if (at == end) {
            return false;
        }
        head.first = *at;
        head.argument = head.first & LENGTH_BITS;
        if (head.argument > MAX_SHORT) {
            return readLongHead(head);
        }
        ++at;
        return true;
    }
    /// Consumes the bytes of a string. Returns false if they are incomplete.
    bool readBytes(std::uint64_t size, std::string_view& bytes) noexcept {
        if (size > left()) {
            return false;
        }
        bytes = {reinterpret_cast<char const*>(at), static_cast<std::size_t>(size)};
        at += size;
        return true;
    }

private:
    // Consumes a head that has no argument or whose argument is after the first byte.
    KOVA_INLINE_DECODING bool readLongHead(CborHead& head) noexcept {
        switch (head.argument) {
            case FIRST_LONG:
                // The head 0xF8 counts as reserved.
                return head.first != SIMPLE + FIRST_LONG && readArgument<1>(head);
            case FIRST_LONG + 1:
                return readArgument<2>(head);
            case FIRST_LONG + 2:
                return readArgument<4>(head);
            case FIRST_LONG + 3:
                return readArgument<8>(head);
            default:
                return readOpenHead(head);
        }
    }
    // SIZE is a constant. Therefore the position of the next item does not depend on the byte that
    // was just loaded: the processor predicts the branch that chooses SIZE.
    template <std::size_t SIZE>
    KOVA_INLINE_DECODING bool readArgument(CborHead& head) noexcept {
        if (left() <= SIZE) {
            return false;
        }
        head.argument = loadNumber(at + 1, SIZE);
        at += 1 + SIZE;
        return true;
    }
    // Consumes the head of an item of indefinite length, or a break. Returns false if the kind of
    // the item does not allow this.
    KOVA_INLINE_DECODING bool readOpenHead(const CborHead& head) noexcept {
        const unsigned char kind = head.kind();
        if (!head.isOpen() || kind == UNSIGNED || kind == NEGATIVE || kind == TAG) {
            return false;
        }
        ++at;
        return true;
    }
};

/// A mistake in a binary payload.
struct CborMistake {
    unsigned char const* at = nullptr;
    char const* expected = nullptr;  // null if there is no mistake
    char const* found = nullptr;     // null: the message describes the item at `at`
    PayloadErrorNumber number = MalformedPayload;

    explicit operator bool() const noexcept { return expected != nullptr; }
};

/// Returns the value of a half-precision float (RFC 8949, appendix D).
double cborHalf(std::uint16_t bits) noexcept;

/// Consumes the chunks of a string of the kind `BYTES` or `TEXT`, up to the break, and concatenates
/// them in `text`. Returns false and sets `mistake` if a chunk is malformed. Throws
/// `std::bad_alloc` if memory is exhausted.
bool readCborChunks(CborInput& in, unsigned char kind, std::string& text, CborMistake& mistake);

/// A decoder that reads a payload item by item and makes calls of a target. The open levels are on
/// a stack of fixed size, so neither nesting nor a declared length allocates memory. Only chunked
/// strings and typed arrays are collected; they are not larger than the payload.
///
/// `Target` has the same functions for values, fields and ends as `Record`. `PutTypedArray` is a
/// function object that is called with the tag and the bytes of a typed array. The functions of
/// `Target`, the function object and the functions of this class return true on success. Make the
/// type of the function object local to the source file: only then does the compiler inline the
/// functions of the target into the decoder. Otherwise reading takes 2.2 times as long.
template <class Target, class PutTypedArray>
class CborDecoder {
public:
    /// Creates a decoder of `payload`, which must be exactly one value. At most `limit` levels may
    /// be open. `limit` must not exceed `MAX_NESTING_DEPTH`. The target must outlive the decoder.
    CborDecoder(std::string_view payload, unsigned int limit, Target& target,
                PutTypedArray putTypedArray) noexcept
        : in_(payload), target_(target), putTypedArray_(putTypedArray) {
        levels_[0] = {OUTSIDE, false, 1};
        top_ = levels_.data();
        deepest_ = top_ + limit;
    }

    /// Decodes the whole payload. Call it once, and do not call `decodeValue`.
    bool decode() {
        in_.skipSelfDescription();
        if (!decodeValue()) {
            return false;
        }
        if (in_.at != in_.end) {
            return fail(in_.at, "the end of the payload");
        }
        return true;
    }
    /// Decodes one value. More bytes may follow it.
    bool decodeValue();
    /// Returns the position after the decoded value.
    unsigned char const* position() const noexcept { return in_.at; }

    /// Returns the mistake in the payload after `decode` has failed. If the target rejected a call,
    /// the mistake is empty.
    const CborMistake& mistake() const noexcept { return mistake_; }

private:
    static constexpr char const* VALUE = "a value";
    static constexpr char const* FIELD = "a field name";
    static constexpr char const* TYPED_ARRAY = "the bytes of a typed array";
    static constexpr std::uint64_t MAX_SIGNED = std::numeric_limits<std::int64_t>::max();
    static constexpr std::uint64_t UNTIL_BREAK = std::numeric_limits<std::uint64_t>::max();
    static constexpr unsigned char OUTSIDE = 0;

    /// An open container, or the lowest level, which contains the value of the payload.
    struct Level {
        unsigned char kind;  // ARRAY, MAP or OUTSIDE
        bool isOpen;         // ends with a break, not after `left` items
        std::uint64_t left;  // number of elements or pairs that are left
    };

    bool entries(CborInput& in);
    bool key(CborInput& in);
    bool chunkedKey(unsigned char kind);
    bool value(CborInput& in);
    bool number(const CborHead& head, unsigned char const* begin);
    bool string(CborInput& in, const CborHead& head, unsigned char const* begin);
    bool chunkedString(unsigned char kind);
    bool container(CborInput& in, const CborHead& head, unsigned char const* begin);
    bool typedArray(std::uint64_t tag, unsigned char const* begin);
    bool simple(const CborHead& head, unsigned char const* begin);
    bool rareSimple(const CborHead& head, unsigned char const* begin);
    bool undefined();
    bool close();
    bool beginItem() { return top_->kind != ARRAY || target_.beginElement(); }
    bool endItem() {
        --top_->left;
        return top_->kind == MAP ? target_.endField()
                                 : top_->kind == OUTSIDE || target_.endElement();
    }
    template <class Put>
    bool scalar(Put put) {
        return beginItem() && put() && endItem();
    }
    /// Calls `read`, which uses the member `in_`. Copies `in` to `in_` before the call and back
    /// after it.
    template <class Read>
    bool aside(CborInput& in, Read read) {
        in_ = in;
        const bool done = read();
        in = in_;
        return done;
    }
    bool requireUtf8(std::string_view text) noexcept {
        if (!isUtf8(text)) {
            return fail(reinterpret_cast<unsigned char const*>(text.data()), "UTF-8",
                        "other bytes");
        }
        return true;
    }
    bool requireLevel(unsigned char const* begin) noexcept {
        if (top_ == deepest_) {
            return fail(begin, "no more levels than ", nullptr, NestingTooDeep);
        }
        return true;
    }
    /// Stores the mistake that the item at the address `at` is not the `expected` one. Returns
    /// false.
    [[gnu::cold]] bool fail(unsigned char const* at, char const* expected,
                            char const* found = nullptr,
                            PayloadErrorNumber number = MalformedPayload) noexcept {
        mistake_ = {at, expected, found, number};
        return false;
    }

    CborInput in_;
    Target& target_;
    PutTypedArray putTypedArray_;
    std::string chunks_;
    CborMistake mistake_;
    Level* top_ = nullptr;
    Level* deepest_ = nullptr;  // the last level that may be opened
    std::array<Level, MAX_NESTING_DEPTH + 1> levels_;
};

template <class Target, class PutTypedArray>
bool CborDecoder<Target, PutTypedArray>::decodeValue() {
    // A local copy, so that it can live in registers while the items are of common kinds.
    CborInput in = in_;
    while (levels_[0].left != 0) {
        if (!entries(in)) {
            return false;
        }
    }
    in_ = in;
    return true;
}

// Decodes items of the top level. Stops at the end of the level, or at an item that opens another
// level.
template <class Target, class PutTypedArray>
KOVA_INLINE_DECODING inline bool CborDecoder<Target, PutTypedArray>::entries(CborInput& in) {
    Level* const level = top_;
    const bool isMap = level->kind == MAP;
    while (level->left != 0 && top_ == level) {
        if (in.isAtBreak()) {
            if (!level->isOpen) {
                return fail(in.at, isMap ? FIELD : VALUE);
            }
            ++in.at;
            return close();
        }
        if ((isMap && !key(in)) || !value(in)) {
            return false;
        }
    }
    return top_ != level || level->kind == OUTSIDE || close();
}

template <class Target, class PutTypedArray>
inline bool CborDecoder<Target, PutTypedArray>::key(CborInput& in) {
    unsigned char const* const begin = in.at;
    CborHead head{};
    if (!in.readHead(head) || (head.kind() != TEXT && head.kind() != BYTES)) {
        return fail(begin, FIELD);
    }
    if (head.isOpen()) {
        return aside(in, [&] { return chunkedKey(head.kind()); });
    }
    std::string_view name;
    if (!in.readBytes(head.argument, name)) {
        return fail(begin, FIELD);
    }
    return (head.kind() == BYTES || requireUtf8(name)) && target_.beginField(name);
}

template <class Target, class PutTypedArray>
bool CborDecoder<Target, PutTypedArray>::chunkedKey(unsigned char kind) {
    return readCborChunks(in_, kind, chunks_, mistake_) && target_.beginField(chunks_);
}

// Decodes a whole scalar, or the beginning of an array or map. Inlining it into the loop over the
// entries saves 12 % of the time of a payload.
template <class Target, class PutTypedArray>
KOVA_INLINE_DECODING inline bool CborDecoder<Target, PutTypedArray>::value(CborInput& in) {
    unsigned char const* const begin = in.at;
    CborHead head{};
    if (!in.readHead(head)) {
        return fail(begin, VALUE);
    }
    const unsigned char kind = head.kind();
    if (kind == TEXT || kind == BYTES) {
        return string(in, head, begin);
    }
    if (kind == UNSIGNED || kind == NEGATIVE) {
        return number(head, begin);
    }
    if (kind == SIMPLE) {
        return simple(head, begin);
    }
    if (kind == TAG) {
        return aside(in, [&] { return typedArray(head.argument, begin); });
    }
    return container(in, head, begin);
}

template <class Target, class PutTypedArray>
inline bool CborDecoder<Target, PutTypedArray>::number(const CborHead& head,
                                                       unsigned char const* begin) {
    const bool isSmall = head.argument <= MAX_SIGNED;
    if (head.kind() == UNSIGNED && !isSmall) {
        return scalar([&] { return target_.putUnsigned(head.argument); });
    }
    if (!isSmall) {
        return fail(begin, "an integer of 64 bits", "one below -2^63");
    }
    const auto value = static_cast<std::int64_t>(head.argument);
    return scalar([&] { return target_.putSigned(head.kind() == UNSIGNED ? value : -1 - value); });
}

template <class Target, class PutTypedArray>
inline bool CborDecoder<Target, PutTypedArray>::string(CborInput& in, const CborHead& head,
                                                       unsigned char const* begin) {
    if (head.isOpen()) {
        return aside(in, [&] { return chunkedString(head.kind()); });
    }
    std::string_view bytes;
    if (!in.readBytes(head.argument, bytes)) {
        return fail(begin, VALUE);
    }
    return (head.kind() == BYTES || requireUtf8(bytes)) &&
           scalar([&] { return target_.putString(bytes); });
}

template <class Target, class PutTypedArray>
bool CborDecoder<Target, PutTypedArray>::chunkedString(unsigned char kind) {
    return readCborChunks(in_, kind, chunks_, mistake_) &&
           scalar([&] { return target_.putString(chunks_); });
}

template <class Target, class PutTypedArray>
inline bool CborDecoder<Target, PutTypedArray>::container(CborInput& in, const CborHead& head,
                                                          unsigned char const* begin) {
    const bool isMap = head.kind() == MAP;
    if (!head.isOpen() && head.argument > (isMap ? in.left() / 2 : in.left())) {
        return fail(begin, "a length within the payload",
                    isMap ? "a longer map" : "a longer array");
    }
    if (!requireLevel(begin) || !beginItem()) {
        return false;
    }
    *++top_ = {head.kind(), head.isOpen(), head.isOpen() ? UNTIL_BREAK : head.argument};
    return isMap ? target_.beginStruct() : target_.beginArray();
}

template <class Target, class PutTypedArray>
bool CborDecoder<Target, PutTypedArray>::close() {
    const bool isMap = top_->kind == MAP;
    --top_;
    return (isMap ? target_.endStruct() : target_.endArray()) && endItem();
}

// Decodes the typed array after the tag. It counts as a level, because a reader that reads its
// elements one by one opens a level for it.
template <class Target, class PutTypedArray>
bool CborDecoder<Target, PutTypedArray>::typedArray(std::uint64_t tag, unsigned char const* begin) {
    if (!isTypedArrayTag(tag)) {
        return fail(begin, "the tag of a typed array");
    }
    unsigned char const* const content = in_.at;
    CborHead head{};
    if (!in_.readHead(head) || head.kind() != BYTES) {
        return fail(content, TYPED_ARRAY);
    }
    std::string_view bytes;
    if (head.isOpen()) {
        if (!readCborChunks(in_, BYTES, chunks_, mistake_)) {
            return false;
        }
        bytes = chunks_;
    } else if (!in_.readBytes(head.argument, bytes)) {
        return fail(content, TYPED_ARRAY);
    }
    if (bytes.size() % itemSizeOf(tag) != 0) {
        return fail(content, "a whole number of items", "a part of one");
    }
    return requireLevel(begin) && scalar([&] { return putTypedArray_(tag, bytes); });
}

template <class Target, class PutTypedArray>
inline bool CborDecoder<Target, PutTypedArray>::simple(const CborHead& head,
                                                       unsigned char const* begin) {
    if (head.first == DOUBLE_BYTE) {
        double real = 0;
        std::memcpy(&real, &head.argument, sizeof real);
        return scalar([&] { return target_.putDouble(real); });
    }
    if (head.first == FALSE_BYTE || head.first == TRUE_BYTE) {
        return scalar([&] { return target_.putBoolean(head.first == TRUE_BYTE); });
    }
    return rareSimple(head, begin);
}

template <class Target, class PutTypedArray>
bool CborDecoder<Target, PutTypedArray>::rareSimple(const CborHead& head,
                                                    unsigned char const* begin) {
    switch (head.first) {
        case NULL_BYTE:
            return scalar([&] { return target_.putNull(); });
        case UNDEFINED_BYTE:
            return undefined();
        case HALF_BYTE:
            return scalar([&] {
                return target_.putFloat(
                    static_cast<float>(cborHalf(static_cast<std::uint16_t>(head.argument))));
            });
        case SINGLE_BYTE: {
            const auto bits = static_cast<std::uint32_t>(head.argument);
            float real = 0;
            std::memcpy(&real, &bits, sizeof real);
            return scalar([&] { return target_.putFloat(real); });
        }
        default:  // unassigned, or a break where no container can end
            return fail(begin, VALUE);
    }
}

template <class Target, class PutTypedArray>
bool CborDecoder<Target, PutTypedArray>::undefined() {
    if (top_->kind != ARRAY) {
        return scalar([&] { return target_.putNull(); });
    }
    --top_->left;
    return target_.putEmptyElement();
}

}  // namespace util::serializer
