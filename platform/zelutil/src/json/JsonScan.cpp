#include "json/JsonScan.h"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

#include "zel/unicode/String.h"

namespace util::serializer {

namespace {

constexpr char const* END_OF_TEXT = "the end of the text";

bool isDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}

bool isSpace(char c) noexcept {
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

// Returns the length of the UTF-8 sequence at the start of the text, or 0 if it is ill-formed.
std::size_t sequenceLength(std::string_view text) noexcept {
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    return length <= text.size() && zel::unicode::isUtf8(text.substr(0, length)) ? length : 0;
}

// Returns whether the magnitude of the number is at least 1. A number outside the range of a double
// is either too large or too close to 0.
bool isHuge(std::string_view number) noexcept {
    const std::size_t mark = number.find_first_of("eE");
    const std::string_view digits = number.substr(0, mark);
    long exponent = 0;
    if (mark != std::string_view::npos) {
        const std::size_t sign = mark + (number[mark + 1] == '+' ? 2 : 1);
        const std::string_view text = number.substr(sign);
        const auto result = std::from_chars(text.data(), text.data() + text.size(), exponent);
        if (result.ec != std::errc()) {
            return text.front() != '-';
        }
    }
    const std::size_t first = digits.find_first_of("123456789");
    const std::size_t point = std::min(digits.find('.'), digits.size());
    return first != std::string_view::npos &&
           static_cast<long>(point) - static_cast<long>(first) + exponent > 0;
}

}  // namespace

bool JsonScan::findMistake() noexcept {
    if (scan()) {
        return true;
    }
    skipSpace();
    return !atEnd() && fail("the end of the text");
}

bool JsonScan::findEvent(std::uint32_t count) noexcept {
    event_ = count;
    static_cast<void>(scan());
    return isFound_;
}

void JsonScan::findEnd(bool isInItem) noexcept {
    static_cast<void>(findEvent(NO_EVENT));
    if (depth_ != 0) {
        levels_[depth_ - 1].isInItem = isInItem;
    }
}

FieldPath JsonScan::path() const noexcept {
    FieldPath path;
    for (std::size_t i = 0; i < depth_; ++i) {
        const Level& level = levels_[i];
        if (!level.isInItem) {
            break;
        }
        level.isObject ? path.addField(level.key) : path.addElement(level.index);
    }
    return path;
}

// All functions below return true if they find a mistake or reach the requested position.

bool JsonScan::scan() noexcept {
    isValueNext_ = true;
    bool stopped = false;
    while (!stopped && (isValueNext_ || depth_ != 0)) {
        stopped = std::exchange(isValueNext_, false) ? takeValue() : takeAfterValue();
    }
    return stopped;
}

bool JsonScan::fail(const Phrase& expected) noexcept {
    return fail(expected, atEnd() ? Phrase(END_OF_TEXT) : Phrase::ofCharacter(next()));
}

bool JsonScan::fail(const Phrase& expected, const Phrase& found) noexcept {
    expected_ = expected;
    found_ = found;
    return true;
}

bool JsonScan::beginEvent() noexcept {
    isFound_ = event_ == 0;
    event_ -= event_ == NO_EVENT ? 0 : 1;
    return isFound_;
}

// Begins an element or field. Its value comes next.
void JsonScan::beginItem() noexcept {
    levels_[depth_ - 1].isInItem = true;
    isValueNext_ = true;
}

void JsonScan::skipSpace() noexcept {
    while (!atEnd() && isSpace(next())) {
        ++at_;
    }
}

// Consumes a scalar, or the beginning of an array or object up to its first value.
bool JsonScan::takeValue() noexcept {
    skipSpace();
    if (!atEnd() && beginEvent()) {
        return true;
    }
    switch (next()) {
        case '[':
        case '{':
            return takeContainer(next() == '{');
        case '"':
            return takeString("a string");
        case 't':
            return takeWord("true");
        case 'f':
            return takeWord("false");
        case 'n':
            return takeWord("null");
        default:
            return next() == '-' || isDigit(next()) ? takeNumber() : fail("a value");
    }
}

bool JsonScan::takeContainer(bool isObject) noexcept {
    if (depth_ >= limit_) {
        return fail(Phrase::ofUnsigned("no more levels than ", limit_),
                    isObject ? "an object" : "an array");
    }
    levels_[depth_++] = {isObject, false, 0, {}};
    ++at_;
    skipSpace();
    if (next() == (isObject ? '}' : ']')) {
        --depth_;
        ++at_;
        return false;
    }
    if (isObject) {
        return next() == '"' ? takeKey() : fail("a field or '}'");
    }
    if (next() == ',' || next() == '}' || next() == ':' || atEnd()) {
        return fail("a value or ']'");
    }
    beginItem();
    return false;
}

// Consumes a key up to its value.
bool JsonScan::takeKey() noexcept {
    skipSpace();
    if (next() != '"') {
        return fail("a field");
    }
    if (beginEvent()) {
        return true;
    }
    const std::size_t begin = at_ + 1;
    if (takeString("a field")) {
        return true;
    }
    levels_[depth_ - 1].key = text_.substr(begin, at_ - 1 - begin);
    skipSpace();
    if (next() != ':') {
        return fail("':'");
    }
    ++at_;
    beginItem();
    return false;
}

// Consumes the text that follows a value in an array or object. This is either the end of the
// container, or the text up to the next value.
bool JsonScan::takeAfterValue() noexcept {
    Level& level = levels_[depth_ - 1];
    level.isInItem = false;
    skipSpace();
    if (next() == (level.isObject ? '}' : ']')) {
        ++at_;
        --depth_;
        return false;
    }
    if (next() != ',') {
        return fail(level.isObject ? "',' or '}'" : "',' or ']'");
    }
    ++at_;
    if (level.isObject) {
        return takeKey();
    }
    ++level.index;
    beginItem();
    return false;
}

bool JsonScan::takeString(char const* what) noexcept {
    const std::size_t begin = at_++;
    while (next() != '"' || atEnd()) {
        if (atEnd()) {
            at_ = begin;
            return fail(what, "one without an end");
        }
        if (next() == '\\' ? takeEscape() : takeCharacter()) {
            return true;
        }
    }
    ++at_;
    return false;
}

bool JsonScan::takeCharacter() noexcept {
    if (static_cast<unsigned char>(next()) < ' ') {
        return fail("a character or an escape sequence");
    }
    const std::size_t length = sequenceLength(text_.substr(at_));
    at_ += length;
    return length == 0 && fail("UTF-8");
}

bool JsonScan::takeHexDigits(unsigned int& unit) noexcept {
    unit = 0;
    for (int i = 0; i < 4; ++i, ++at_) {
        const char digit = next();
        const char lower = static_cast<char>(digit | 0x20);
        if (!isDigit(digit) && (lower < 'a' || lower > 'f')) {
            return fail("four hexadecimal digits");
        }
        unit =
            unit * 16 + static_cast<unsigned int>(isDigit(digit) ? digit - '0' : lower - 'a' + 10);
    }
    return false;
}

bool JsonScan::takeEscape() noexcept {
    const std::size_t begin = at_++;
    if (next() != 'u') {
        const bool isKnown =
            !atEnd() && std::string_view("\"\\/bfnrt").find(next()) != std::string_view::npos;
        at_ += isKnown ? 1 : 0;
        return !isKnown && fail("an escape sequence");
    }
    ++at_;
    unsigned int unit = 0;
    if (takeHexDigits(unit)) {
        return true;
    }
    const bool isHigh = unit >= 0xD800 && unit < 0xDC00;
    bool isPaired = unit < 0xD800 || unit > 0xDFFF;
    if (isHigh && text_.substr(at_, 2) == "\\u") {
        at_ += 2;
        if (takeHexDigits(unit)) {
            return true;
        }
        isPaired = unit >= 0xDC00 && unit < 0xE000;
    }
    if (isPaired) {
        return false;
    }
    at_ = begin;
    return fail("a character", "half of a surrogate pair");
}

bool JsonScan::takeDigits() noexcept {
    if (!isDigit(next())) {
        return fail("a digit");
    }
    while (isDigit(next())) {
        ++at_;
    }
    return false;
}

bool JsonScan::takeNumber() noexcept {
    const std::size_t begin = at_;
    bool isInteger = true;
    at_ += next() == '-' ? 1 : 0;
    const bool isZero = next() == '0';
    if (isZero ? (++at_, false) : takeDigits()) {
        return true;
    }
    if (next() == '.') {
        isInteger = false;
        ++at_;
        if (takeDigits()) {
            return true;
        }
    }
    if (next() == 'e' || next() == 'E') {
        isInteger = false;
        ++at_;
        at_ += next() == '+' || next() == '-' ? 1 : 0;
        if (takeDigits()) {
            return true;
        }
    }
    return checkRange(begin, isInteger);
}

// Checks that an integer fits into 64 bits, and that any other number fits into a double.
bool JsonScan::checkRange(std::size_t begin, bool isInteger) noexcept {
    char const* const first = text_.data() + begin;
    char const* const last = text_.data() + at_;
    std::errc error{};
    if (!isInteger) {
        double number = 0;
        error = std::from_chars(first, last, number).ec;
        error = isHuge({first, static_cast<std::size_t>(last - first)}) ? error : std::errc();
    } else if (*first == '-') {
        std::int64_t number = 0;
        error = std::from_chars(first, last, number).ec;
    } else {
        std::uint64_t number = 0;
        error = std::from_chars(first, last, number).ec;
    }
    if (error == std::errc()) {
        return false;
    }
    at_ = begin;
    return fail(isInteger ? "an integer of 64 bits" : "a number within the range of a double",
                "one out of range");
}

bool JsonScan::takeWord(std::string_view word) noexcept {
    const std::string_view rest = text_.substr(at_);
    if (rest.substr(0, word.size()) != word) {
        return fail("a value");
    }
    at_ += word.size();
    return false;
}

// ---- messages

JsonFailure::JsonFailure(std::unique_ptr<char[]>& text, std::size_t size, std::size_t limit,
                         char const* reason) noexcept
    : size_(size), limit_(limit), reason_(reason) {
    if (size <= short_.size()) {
        std::copy_n(text.get(), size, short_.data());
    } else {
        text_ = std::move(text);
    }
}

void JsonFailure::describe(std::string& out) const {
    const auto scan = std::make_unique<JsonScan>(
        std::string_view(text_ == nullptr ? short_.data() : text_.get(), size_), limit_);
    if (scan->findMistake()) {
        Failure::describe(out, scan->expected(), scan->found(), scan->path(), scan->position());
    } else {
        out += reason_;
    }
}

}  // namespace util::serializer
