#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

#include "kova/kit/values/Codec.h"
#include "kova/kit/values/Fast.h"

#if KOVA_KIT_HAS_FAST_PATH
// Writes structs on the fast path. The names of the fields are encoded at compile time. Numbers in
// the binary format (RFC 8949) are written to the buffer by inline code.
namespace kova::kit::detail {

/// The name of a field, encoded as JSON text: `,"name":`. For the binary format, the same name
/// follows a head of one byte.
struct EncodedName {
    /// The length of the longest name that can be encoded: the head of one byte cannot contain a
    /// greater length.
    static constexpr std::size_t MAX_SIZE = 23;
    /// The number of bytes that are copied for each name, whatever its length is.
    static constexpr std::size_t COPIED = MAX_SIZE + 5;

    std::array<char, COPIED + 1> text{};
    /// The length of the name; 0 if the name is longer or if JSON might escape a character of it.
    unsigned char size = 0;
};

constexpr bool isPlainName(std::string_view name) noexcept {
    for (const char c : name) {
        const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        if (!isLetter && !(c >= '0' && c <= '9') && c != '_' && c != '-' && c != '.' && c != '$') {
            return false;
        }
    }
    return name.size() <= EncodedName::MAX_SIZE;
}

constexpr EncodedName encodeName(std::string_view name) noexcept {
    EncodedName encoded;
    if (!isPlainName(name)) {
        return encoded;
    }
    std::size_t at = 0;
    encoded.text[at++] = ',';
    encoded.text[at++] = '"';
    for (const char c : name) {
        encoded.text[at++] = c;
    }
    encoded.text[at++] = '"';
    encoded.text[at] = ':';
    encoded.size = static_cast<unsigned char>(name.size());
    return encoded;
}

/// The number of bytes that are reserved for one field: for its name and a number or short text in
/// the binary format. It also suffices for the begin or end of a struct.
constexpr std::size_t FIELD_BYTES = EncodedName::COPIED + 24;

/// Writes the head of a number in the binary format: its kind, and its argument in as few bytes as
/// possible. Returns the address after the head.
template <typename Argument>
inline unsigned char* putHead(unsigned char kind, Argument argument, unsigned char* at) noexcept {
    static_assert(std::is_unsigned_v<Argument>);
    if (argument < 24) {
        *at = static_cast<unsigned char>(kind + argument);
        return at + 1;
    }
    unsigned extra = 0;  // the binary logarithm of the number of bytes of the argument
    while (extra < 3 && (std::uint64_t{argument} >> (8U << extra)) != 0) {
        ++extra;
    }
    *at++ = static_cast<unsigned char>(kind + 24 + extra);
    for (unsigned bits = 8U << extra; bits != 0;) {
        bits -= 8;
        *at++ = static_cast<unsigned char>(std::uint64_t{argument} >> bits);
    }
    return at;
}

/// Writes the bits of a floating-point number after the byte of its type.
template <typename Bits, typename Number>
inline unsigned char* putFloating(unsigned char type, Number number, unsigned char* at) noexcept {
    static_assert(sizeof(Bits) == sizeof(Number));
    Bits bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    *at = type;
    for (std::size_t i = 0; i < sizeof bits; ++i) {
        at[1 + i] = static_cast<unsigned char>(bits >> (8 * (sizeof bits - 1 - i)));
    }
    return at + 1 + sizeof bits;
}

/// Whether `putNumber` writes values of the type.
template <typename T>
inline constexpr bool isNumber = std::is_same_v<T, bool> || std::is_same_v<T, float> ||
                                 std::is_same_v<T, double> || isInteger<T>;

/// Writes a truth value or number in the binary format, and returns the address after it.
template <typename T>
inline unsigned char* putNumber(T value, unsigned char* at) noexcept {
    if constexpr (std::is_same_v<T, bool>) {
        *at = value ? 0xF5 : 0xF4;
        return at + 1;
    } else if constexpr (std::is_same_v<T, float>) {
        return putFloating<std::uint32_t>(0xFA, value, at);
    } else if constexpr (std::is_same_v<T, double>) {
        return putFloating<std::uint64_t>(0xFB, value, at);
    } else {
        using Bits = std::make_unsigned_t<FixedWidth<T>>;
        const bool isNegative = value < T{0};
        const auto bits = static_cast<Bits>(value);
        return putHead(isNegative ? 0x20 : 0x00, isNegative ? static_cast<Bits>(~bits) : bits, at);
    }
}

/// Copies a text as words at the given offsets; the words may overlap. Returns whether all bytes
/// are ASCII.
template <typename Word, std::size_t N>
inline bool copyAscii(char const* text, const std::size_t (&offsets)[N],
                      unsigned char* at) noexcept {
    constexpr Word HIGH_BITS = static_cast<Word>(0x8080808080808080);
    Word all = 0;
    for (const std::size_t offset : offsets) {
        Word word = 0;
        std::memcpy(&word, text + offset, sizeof word);
        std::memcpy(at + offset, &word, sizeof word);
        all |= word;
    }
    return (all & HIGH_BITS) == 0;
}

/// Writes a text of 4 to 23 ASCII characters in the binary format, and returns the address after
/// it. Returns null for any other text.
inline unsigned char* putShortText(const std::string& text, unsigned char* at) noexcept {
    const std::size_t size = text.size();
    *at = static_cast<unsigned char>(0x60 + size);
    bool isAscii = false;
    if (size - 4 < 4) {
        isAscii = copyAscii<std::uint32_t>(text.data(), {0, size - 4}, at + 1);
    } else if (size - 8 <= 8) {
        isAscii = copyAscii<std::uint64_t>(text.data(), {0, size - 8}, at + 1);
    } else if (size - 17 <= 6) {
        isAscii = copyAscii<std::uint64_t>(text.data(), {0, 8, size - 8}, at + 1);
    }
    return isAscii ? at + 1 + size : nullptr;
}

/// Writes the name of a field at an address with `FIELD_BYTES` reserved bytes, and returns the
/// address after the name. In JSON, a comma precedes the name unless the field is the first one.
inline unsigned char* putName(FastWriter& out, const EncodedName& name,
                              unsigned char* at) noexcept {
    if (out.isBinary()) {
        *at = static_cast<unsigned char>(0x60 + name.size);
        std::memcpy(at + 1, name.text.data() + 2, EncodedName::MAX_SIZE);
        return at + 1 + name.size;
    }
    const std::size_t skipped = at[-1] == '{' ? 1 : 0;
    std::memcpy(at, name.text.data() + skipped, EncodedName::COPIED);
    return at + name.size + 4 - skipped;
}

template <std::size_t N>
constexpr std::array<EncodedName, N> encodeNames(
    const std::array<std::string_view, N>& names) noexcept {
    std::array<EncodedName, N> encoded{};
    for (std::size_t i = 0; i < N; ++i) {
        encoded[i] = encodeName(names[i]);
    }
    return encoded;
}
/// The encoded names of the fields of a struct.
template <typename T>
inline constexpr auto encodedNames = encodeNames(fieldNames<T>);

/// Writes the field `I`. At the address, `FIELD_BYTES` bytes are reserved for this field and for
/// each later field. Returns the address after the field, at which the bytes for the later fields
/// are still reserved; null on failure.
template <typename T, std::size_t I>
unsigned char* putField(FastWriter& out, const T& object, unsigned char* at) {
    constexpr const auto& FIELD = flatField<T, I>();
    using Member = typename std::decay_t<decltype(FIELD)>::Member;
    using MemberCodec = FieldCodec<Member, typename std::decay_t<decltype(FIELD)>::Form>;
    constexpr const EncodedName& NAME = encodedNames<T>[I];
    constexpr std::size_t FURTHER = (fieldCount<T> - I) * FIELD_BYTES;
    const Member& member = object.*FIELD.member;
    if constexpr (isOptional<Member>) {
        if (!member.has_value()) {
            return at;
        }
    }
    if constexpr (NAME.size != 0) {
        at = putName(out, NAME, at);
    } else if (at = out.putRareName(FIELD.name, FIELD_BYTES + FURTHER, at); at == nullptr) {
        return nullptr;
    }
    if constexpr (isNumber<Member>) {
        if (out.isBinary()) {
            return putNumber(member, at);
        }
    } else if constexpr (std::is_same_v<Member, std::string>) {
        if (unsigned char* const end = out.isBinary() ? putShortText(member, at) : nullptr) {
            return end;
        }
    }
    out.commit(at);
    return MemberCodec::write(out, member) ? out.reserve(FURTHER) : nullptr;
}

/// Writes a struct: those fields that are present, in the order in which they are described.
template <typename T, std::size_t... I>
bool writeFastStruct(FastWriter& out, [[maybe_unused]] const T& object, std::index_sequence<I...>) {
    if (!out.enter()) {
        return false;
    }
    unsigned char* at = out.reserve((sizeof...(I) + 1) * FIELD_BYTES);
    if (at == nullptr) {
        return false;
    }
    *at++ = out.isBinary() ? 0xBF : '{';
    if (!(((at = putField<T, I>(out, object, at)) != nullptr) && ...)) {
        return false;
    }
    *at++ = out.isBinary() ? 0xFF : '}';
    out.commit(at);
    out.leave();
    return true;
}

}  // namespace kova::kit::detail
#endif
