#include "json/JsonText.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "bytes/TextCheck.h"

namespace util::json {

namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";  // U+FFFD
constexpr std::size_t PIECE = 4096;                       // bytes of a string written at a time

template <typename Word>
constexpr Word everyByte(unsigned char byte) {
    return static_cast<Word>(0x0101010101010101U) * byte;
}

// A run is a sequence of bytes that are copied verbatim: ASCII only, or all bytes of UTF-8. A byte
// that must be escaped ends a run of either kind.
enum class Run { Ascii, Utf8 };

// Returns a number other than 0 if the word contains a byte that ends the run: `"`, `\`, a control
// character or, in a run of ASCII, a byte that is not ASCII. In a run of UTF-8, `~word` excludes
// the bytes that are not ASCII.
template <Run RUN, typename Word>
constexpr Word specialBytes(Word word) {
    const Word quotation = word ^ everyByte<Word>('"');
    const Word backslash = word ^ everyByte<Word>('\\');
    const Word escaped = (word - everyByte<Word>(0x20)) | (quotation - everyByte<Word>(1)) |
                         (backslash - everyByte<Word>(1));
    const Word special = RUN == Run::Ascii ? word | escaped : escaped & ~word;
    return special & everyByte<Word>(0x80);
}

// How a byte of a string is written.
enum class Role : std::uint8_t { Plain, Escaped, BeyondAscii };

constexpr std::array<Role, 256> roles() {
    std::array<Role, 256> table{};
    for (std::size_t byte = 0; byte < table.size(); ++byte) {
        const bool escaped = byte < 0x20 || byte == '"' || byte == '\\';
        table[byte] = escaped ? Role::Escaped : byte >= 0x80 ? Role::BeyondAscii : Role::Plain;
    }
    return table;
}
constexpr std::array<Role, 256> ROLES = roles();

Role roleOf(char byte) noexcept {
    return ROLES[static_cast<unsigned char>(byte)];
}

char* writeText(char* out, std::string_view text) noexcept {
    std::memcpy(out, text.data(), text.size());
    return out + text.size();
}

char* writeEscape(char* out, unsigned char byte) noexcept {
    constexpr std::string_view DIGITS = "0123456789abcdef";
    *out++ = '\\';
    if (byte == '"' || byte == '\\') {
        *out++ = static_cast<char>(byte);
    } else if (byte >= 0x08 && byte <= 0x0D && byte != 0x0B) {
        constexpr std::string_view NAMES = "btn?fr";  // escape letters of 0x08 to 0x0D
        *out++ = NAMES[byte - 0x08U];
    } else {
        out = writeText(out, "u00");
        *out++ = DIGITS[byte >> 4U];
        *out++ = DIGITS[byte & 15U];
    }
    return out;
}

template <Run RUN>
bool isInRun(char byte) noexcept {
    const Role role = roleOf(byte);
    return role == Role::Plain || (RUN == Run::Utf8 && role == Role::BeyondAscii);
}

// Copies words from `from` until a word contains a byte that stops the run.
template <Run RUN, typename Word>
void copyWords(char*& out, char const*& from, char const* end) noexcept {
    constexpr auto SIZE = static_cast<std::ptrdiff_t>(sizeof(Word));
    while (end - from >= SIZE) {
        const Word word = wordAt<Word>(from);
        if (specialBytes<RUN>(word) != 0) {
            return;
        }
        std::memcpy(out, &word, sizeof word);
        from += SIZE;
        out += SIZE;
    }
}

// Copies bytes up to the first one that stops the run, and advances `from` to it.
template <Run RUN>
inline char* writeRun(char* out, char const*& from, char const* end) noexcept {
    copyWords<RUN, std::uint64_t>(out, from, end);
    copyWords<RUN, std::uint32_t>(out, from, end);
    while (from != end && isInRun<RUN>(*from)) {
        *out++ = *from++;
    }
    return out;
}

// Bits that are found in the words of a text. Each member is the bitwise OR over all words.
template <typename Word>
struct Seen {
    Word bytes = 0;    // the bits of the bytes
    Word escaped = 0;  // not 0 if a byte needs an escape

    // Copies a word and adds its bits.
    void copy(char* out, char const* from) noexcept {
        const auto word = wordAt<Word>(from);
        std::memcpy(out, &word, sizeof word);
        bytes |= word;
        escaped |= specialBytes<Run::Utf8>(word);
    }
    bool isAscii() const noexcept { return (bytes & everyByte<Word>(0x80)) == 0; }
};

// Copies a text of 4 to 32 bytes, as most names and strings are, in words that may overlap. Returns
// whether the text is UTF-8 and no byte needs an escape. If the result is false, the bytes at `out`
// are unspecified.
template <bool REPAIRED>
inline bool copyShort(char* out, std::string_view text) noexcept {
    constexpr std::size_t WORD = sizeof(std::uint64_t);
    constexpr std::size_t HALF = sizeof(std::uint32_t);
    char const* const from = text.data();
    const std::size_t size = text.size();
    if (size < WORD) {
        Seen<std::uint32_t> seen;
        seen.copy(out, from);
        seen.copy(out + size - HALF, from + size - HALF);
        return seen.escaped == 0 && (!REPAIRED || seen.isAscii() || isLongUtf8(text));
    }
    Seen<std::uint64_t> seen;
    seen.copy(out, from);
    seen.copy(out + size - WORD, from + size - WORD);
    if (size > 2 * WORD) {
        seen.copy(out + WORD, from + WORD);
        seen.copy(out + size - 2 * WORD, from + size - 2 * WORD);
    }
    return seen.escaped == 0 && (!REPAIRED || seen.isAscii() || isLongUtf8(text));
}

// Returns the size of the longest prefix of `bytes` that could begin one character, at least 1.
// Sets `character` to whether the prefix is a whole character; if not, the caller writes one U+FFFD
// instead. `bytes` is not empty.
std::size_t maximalPart(std::string_view bytes, bool& character) noexcept {
    const auto at = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    const unsigned lead = at(0);
    character = lead < 0x80;
    if (lead < 0xC2 || lead > 0xF4) {
        return 1;
    }
    const std::size_t length = lead < 0xE0 ? 2U : lead < 0xF0 ? 3U : 4U;
    // The range of the second byte depends on the first. It excludes overlong forms, surrogates and
    // code points above U+10FFFF.
    unsigned low = lead == 0xE0 ? 0xA0U : lead == 0xF0 ? 0x90U : 0x80U;
    unsigned high = lead == 0xED ? 0x9FU : lead == 0xF4 ? 0x8FU : 0xBFU;
    for (std::size_t i = 1; i < length; ++i) {
        if (i == bytes.size() || at(i) < low || at(i) > high) {
            return i;
        }
        low = 0x80;
        high = 0xBF;
    }
    character = true;
    return length;
}

// Writes the character at `from`, or U+FFFD instead of the maximal ill-formed part there. Advances
// `from` past the character or part.
char* writeBeyondAscii(char* out, char const*& from, char const* end) noexcept {
    const std::string_view rest(from, static_cast<std::size_t>(end - from));
    bool character = false;
    const std::size_t part = maximalPart(rest, character);
    from += part;
    return writeText(out, character ? rest.substr(0, part) : REPLACEMENT);
}

// Writes any bytes with escapes and with ill-formed parts replaced.
char* writeReplaced(char* out, char const* from, char const* end) noexcept {
    while (true) {
        out = writeRun<Run::Ascii>(out, from, end);
        if (from == end) {
            return out;
        }
        out = roleOf(*from) == Role::Escaped ? writeEscape(out, static_cast<unsigned char>(*from++))
                                             : writeBeyondAscii(out, from, end);
    }
}

template <bool REPAIRED>
char* writeEscaped(char* out, char const* from, char const* end) noexcept;

// Writes the rest of a text from its first byte that is not ASCII. Validates the rest as a whole,
// with vector instructions. The function is not inlined, so that its callers need not save
// registers.
[[gnu::noinline]] char* writeRest(char* out, char const* from, char const* end) noexcept {
    return isUtf8({from, static_cast<std::size_t>(end - from)})
               ? writeEscaped<false>(out, from, end)
               : writeReplaced(out, from, end);
}

// Writes the text with escapes, and with ill-formed parts replaced if `REPAIRED`.
template <bool REPAIRED>
inline char* writeEscaped(char* out, char const* from, char const* end) noexcept {
    while (true) {
        out = writeRun < REPAIRED ? Run::Ascii : Run::Utf8 > (out, from, end);
        if (from == end) {
            return out;
        }
        if (REPAIRED && roleOf(*from) == Role::BeyondAscii) {
            return writeRest(out, from, end);
        }
        out = writeEscape(out, static_cast<unsigned char>(*from++));
    }
}

template <bool REPAIRED>
char* writeEscaped(char* out, std::string_view text) noexcept {
    constexpr std::size_t LEAST = sizeof(std::uint32_t);
    if (text.size() >= LEAST && text.size() <= MAX_WORDS_COPY && copyShort<REPAIRED>(out, text)) {
        return out + text.size();
    }
    return writeEscaped<REPAIRED>(out, text.data(), text.data() + text.size());
}

// Reserves `size` bytes and runs `write`, which returns the end of the written text.
template <typename Write>
bool append(ByteBufferWriter& writer, std::size_t size, Write write) noexcept {
    if (writer.reserve(size)) {
        return false;
    }
    char* const end = write(reinterpret_cast<char*>(writer.end()));
    writer.commit(reinterpret_cast<unsigned char*>(end));
    return true;
}

template <bool REPAIRED>
bool appendPieces(ByteBufferWriter& writer, std::string_view text) noexcept {
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, pieceSize(text, PIECE));
        if (!append(writer, maxEscapedSize(piece.size()),
                    [&](char* out) { return writeEscaped<REPAIRED>(out, piece); })) {
            return false;
        }
        text.remove_prefix(piece.size());
    }
    return true;
}

template <bool REPAIRED>
bool appendQuoted(ByteBufferWriter& writer, std::string_view text) noexcept {
    if (text.size() <= PIECE) {
        return append(writer, maxEscapedSize(text.size()) + 2, [&](char* out) {
            *out++ = '"';
            out = writeEscaped<REPAIRED>(out, text);
            *out++ = '"';
            return out;
        });
    }
    const unsigned long before = writer.size();
    if (writer.appendByte('"') || !appendPieces<REPAIRED>(writer, text) || writer.appendByte('"')) {
        writer.truncate(before);
        return false;
    }
    return true;
}

}  // namespace

std::size_t pieceSize(std::string_view bytes, std::size_t size) noexcept {
    if (bytes.size() <= size) {
        return bytes.size();
    }
    // A character has at most three continuation bytes.
    const auto continues = [&](std::size_t at) {
        return (static_cast<unsigned char>(bytes[at]) & 0xC0U) == 0x80U;
    };
    std::size_t cut = size;
    while (cut > size - 3 && continues(cut)) {
        --cut;
    }
    return cut;
}

char* writeRepaired(char* out, std::string_view bytes) noexcept {
    return writeEscaped<true>(out, bytes);
}

bool appendString(ByteBufferWriter& writer, std::string_view utf8) noexcept {
    return appendQuoted<false>(writer, utf8);
}

bool appendRepairedString(ByteBufferWriter& writer, std::string_view bytes) noexcept {
    return appendQuoted<true>(writer, bytes);
}

bool appendInteger(ByteBufferWriter& writer, std::int64_t value) noexcept {
    return append(writer, MAX_NUMBER_SIZE, [=](char* out) { return writeInteger(out, value); });
}

bool appendInteger(ByteBufferWriter& writer, std::uint64_t value) noexcept {
    return append(writer, MAX_NUMBER_SIZE, [=](char* out) { return writeInteger(out, value); });
}

bool appendDouble(ByteBufferWriter& writer, double value) noexcept {
    return append(writer, MAX_NUMBER_SIZE, [=](char* out) { return writeDouble(out, value); });
}

bool appendFloat(ByteBufferWriter& writer, float value) noexcept {
    return append(writer, MAX_NUMBER_SIZE, [=](char* out) { return writeFloat(out, value); });
}

}  // namespace util::json
