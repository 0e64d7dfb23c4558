#include "serializer/Failure.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "bytes/TextCheck.h"

namespace util::serializer {

namespace {

constexpr char const* FILE_NAME = "platform/zelutil/src/serializer/Failure";

constexpr zel::ErrorID TABLE[] = {{MalformedPayload, "malformed payload", 0},
                                  {UnexpectedValue, "unexpected value", 0},
                                  {CallOutOfPlace, "call out of place", 0},
                                  {ValueNotWritable, "value has no form in this format", 0},
                                  {NestingTooDeep, "nested too deeply", 0},
                                  {MemoryExhausted, "memory is exhausted", 0}};

bool isContinuation(char byte) noexcept {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// Appends the text. Replaces control characters, which would break the line of a log, by '?'.
void appendPrintable(std::string& out, std::string_view text) {
    for (const char c : text) {
        out.push_back(static_cast<unsigned char>(c) < ' ' ? '?' : c);
    }
}

}  // namespace

constexpr zel::ErrorType PayloadError("util::serializer::PayloadError", TABLE);

// ---- texts of limited length

template <std::size_t CAPACITY>
void ShortText<CAPACITY>::append(std::string_view text) noexcept {
    if (text.size() > CAPACITY - size_) {
        text = makePlace(text);
    }
    // Most names are short. A short text is copied without a call of `memcpy`.
    char* const end = text_.data() + size_;
    if (text.size() <= MAX_WORDS_COPY) {
        copyShortText(text, reinterpret_cast<unsigned char*>(end));
    } else {
        std::copy(text.begin(), text.end(), end);
    }
    size_ = static_cast<std::uint8_t>(size_ + text.size());
}

// Removes bytes from the beginning until `text` fits after the rest. Returns `text`. If `text`
// alone is too long, removes all bytes and returns only the end of `text`.
template <std::size_t CAPACITY>
std::string_view ShortText<CAPACITY>::makePlace(std::string_view text) noexcept {
    isCut_ = true;
    if (text.size() >= CAPACITY) {
        size_ = 0;
        return text.substr(text.size() - CAPACITY);
    }
    const std::size_t removed = size_ - (CAPACITY - text.size());
    std::memmove(text_.data(), text_.data() + removed, size_ - removed);
    size_ = static_cast<std::uint8_t>(size_ - removed);
    return text;
}

template <std::size_t CAPACITY>
void ShortText<CAPACITY>::assign(std::string_view text) noexcept {
    std::size_t size = std::min(text.size(), CAPACITY);
    isCut_ = size < text.size();
    while (isCut_ && size > 0 && isContinuation(text[size])) {
        --size;  // cut only between characters
    }
    std::copy_n(text.begin(), size, text_.begin());
    size_ = static_cast<std::uint8_t>(size);
}

template class ShortText<96>;
template class ShortText<24>;

// ---- phrases

Phrase Phrase::ofSigned(char const* words, std::int64_t value) noexcept {
    Phrase phrase(words);
    phrase.kind_ = Kind::Signed;
    phrase.number_.int64 = value;
    return phrase;
}

Phrase Phrase::ofUnsigned(char const* words, std::uint64_t value) noexcept {
    Phrase phrase(words);
    phrase.kind_ = Kind::Unsigned;
    phrase.number_.uint64 = value;
    return phrase;
}

Phrase Phrase::ofReal(double value) noexcept {
    Phrase phrase;
    phrase.kind_ = Kind::Real;
    phrase.number_.real = value;
    return phrase;
}

Phrase Phrase::ofByte(char const* words, unsigned char value) noexcept {
    Phrase phrase = ofUnsigned(words, value);
    phrase.kind_ = Kind::Byte;
    return phrase;
}

Phrase Phrase::ofText(char const* words, std::string_view text) noexcept {
    Phrase phrase(words);
    phrase.kind_ = Kind::Text;
    phrase.text_.assign(text);
    return phrase;
}

Phrase Phrase::ofCharacter(char character) noexcept {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < ' ' || byte >= 0x7F) {
        return ofByte("the byte ", byte);
    }
    Phrase phrase = ofUnsigned("", byte);
    phrase.kind_ = Kind::Character;
    return phrase;
}

// `fmt::format` is compiled in the library fmt. `fmt::format_to` is a template that would be
// instantiated here and add 75 KB.
void Phrase::appendTo(std::string& out) const {
    out += words_;
    switch (kind_) {
        case Kind::Words:
            break;
        case Kind::Signed:
            out += fmt::format("{}", number_.int64);
            break;
        case Kind::Unsigned:
            out += fmt::format("{}", number_.uint64);
            break;
        case Kind::Real:
            out +=
                fmt::format("{}", std::isnan(number_.real) ? std::abs(number_.real) : number_.real);
            break;
        case Kind::Byte:
            out += fmt::format("0x{:02x}", number_.uint64);
            break;
        case Kind::Text:
            out += '"';
            appendPrintable(out, text_.view());
            out += text_.isCut() ? "...\"" : "\"";
            break;
        case Kind::Character:
            out.append({'\'', static_cast<char>(number_.uint64), '\''});
            break;
    }
}

// ---- paths

void FieldPath::addField(std::string_view name) noexcept {
    if (!text_.empty()) {
        text_.append(".");
    }
    text_.append(name);
}

void FieldPath::addElement(std::uint64_t index) noexcept {
    std::array<char, 24> text;
    text[0] = '[';
    char* const end = std::to_chars(text.data() + 1, text.data() + text.size() - 1, index).ptr;
    *end = ']';
    text_.append({text.data(), static_cast<std::size_t>(end + 1 - text.data())});
}

void FieldPath::appendTo(std::string& out) const {
    if (text_.empty()) {
        return;
    }
    if (text_.isCut()) {
        out += "...";
    }
    std::string_view path = text_.view();
    while (text_.isCut() && !path.empty() && isContinuation(path.front())) {
        path.remove_prefix(1);
    }
    appendPrintable(out, path);
    out += ": ";
}

// ---- failures

void Failure::describe(std::string& out) const {
    describe(out, expected_, found_, path_, position_);
}

void Failure::describe(std::string& out, const Phrase& expected, const Phrase& found,
                       const FieldPath& path, std::size_t position) {
    path.appendTo(out);
    if (found.empty()) {
        expected.appendTo(out);
    } else {
        out += "expected ";
        expected.appendTo(out);
        out += ", found ";
        found.appendTo(out);
    }
    if (position != NO_POSITION) {
        out += fmt::format(" (byte {})", position);
    }
}

void recordFailure(bool& hasFailed, PayloadErrorNumber number, const Phrase& expected,
                   const Phrase& found, const FieldPath& path, std::size_t position) noexcept {
    if (!hasFailed) {
        hasFailed = true;
        zel::ErrorStorage::current().record<Failure>(PayloadError, number, FILE_NAME, __LINE__,
                                                     expected, found, path, position);
    }
}

void recordNoMemory(bool& hasFailed) noexcept {
    if (!hasFailed) {
        recordFailure(hasFailed, MemoryExhausted, "memory is exhausted");
    }
}

}  // namespace util::serializer
