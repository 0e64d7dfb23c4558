#include "config/Printer.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "config/Cursor.h"
#include "config/PlainValue.h"
#include "json/JsonText.h"
#include "util/config/Scalars.h"

namespace util::config {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t MAX_INDENTED_LEVELS = 32;
constexpr std::size_t INDENT = 2;
constexpr std::size_t MAX_LINE_SIZE = 1 + INDENT * MAX_INDENTED_LEVELS;
constexpr std::size_t MAX_COLON_SIZE = 2;
constexpr std::size_t PIECE = 4096;  // number of bytes of a string that are written in one step

std::size_t maxQuotedSize(std::string_view bytes) noexcept {
    return json::maxEscapedSize(bytes.size()) + 2;
}

char* writeQuoted(char* out, std::string_view bytes) noexcept {
    *out++ = '"';
    out = json::writeRepaired(out, bytes);
    *out++ = '"';
    return out;
}

/// A printer of one tree. It is local to this file so that the compiler can inline its functions.
/// Functions that return a bool return false if memory is exhausted.
class Printer {
public:
    Printer(TextBuffer& text, bool compact) noexcept : text_(text), compact_(compact) {}

    bool print(const Value& root);

private:
    bool begin(const Value& node);
    bool proceed();
    bool end() noexcept;
    bool startChild(const Cursor& level) noexcept;
    bool writeScalar(const Value& node) noexcept;
    bool writeString(std::string_view bytes) noexcept;
    bool writeLongString(std::string_view bytes) noexcept;
    template <std::size_t SIZE>
    bool writeText(char const (&text)[SIZE]) noexcept;
    char* writeLine(char* out) const noexcept;
    char* writeColon(char* out) const noexcept;
    template <typename Write>
    bool writeInto(std::size_t size, Write write) noexcept;

    TextBuffer& text_;
    bool compact_;
    bool afterChild_ = false;      // a comma is written before the next child
    SmallBuffer<Cursor, 8> open_;  // the open containers, each with a cursor at its next child
};

bool Printer::print(const Value& root) {
    bool done = begin(root);
    while (done && !open_.empty()) {
        done = proceed();
    }
    return done;
}

// Writes a scalar or an empty container completely. Writes only the opening bracket of any other
// container.
bool Printer::begin(const Value& node) {
    afterChild_ = true;
    if (!isContainer(node)) {
        return writeScalar(node);
    }
    open_.emplace(node);
    if (open_.back().atEnd()) {
        open_.pop();
        return writeText(node.isArray() ? "[]" : "{}");
    }
    afterChild_ = false;
    return writeText(node.isArray() ? "[" : "{");
}

// Writes children of the innermost container. Returns when another container begins or when the end
// of the innermost container is written.
bool Printer::proceed() {
    Cursor& level = open_.back();
    while (!level.atEnd()) {
        if (!startChild(level)) {
            return false;
        }
        const Value& child = level.child();
        level.next();
        if (isContainer(child)) {
            return begin(child);
        }
        if (!writeScalar(child)) {
            return false;
        }
        afterChild_ = true;
    }
    return end();
}

bool Printer::end() noexcept {
    const bool dictionary = open_.back().isDictionary();
    open_.pop();
    afterChild_ = true;
    return writeInto(MAX_LINE_SIZE + 1, [&](char* out) {
        out = writeLine(out);
        *out++ = dictionary ? '}' : ']';
        return out;
    });
}

// Writes the text before a child: a comma if needed, and in a dictionary the key.
bool Printer::startChild(const Cursor& level) noexcept {
    const std::string_view key = level.isDictionary() ? std::string_view(level.key()) : ""sv;
    const bool isShort = level.isDictionary() && key.size() <= PIECE;
    const bool done = writeInto(
        1 + MAX_LINE_SIZE + (isShort ? maxQuotedSize(key) + MAX_COLON_SIZE : 0), [&](char* out) {
            *out = ',';
            out = writeLine(afterChild_ ? out + 1 : out);
            return isShort ? writeColon(writeQuoted(out, key)) : out;
        });
    if (!done || isShort || !level.isDictionary()) {
        return done;
    }
    return writeLongString(key) &&
           writeInto(MAX_COLON_SIZE, [this](char* out) { return writeColon(out); });
}

bool Printer::writeScalar(const Value& node) noexcept {
    switch (node.kind()) {
        case Value::Kind::Boolean:
            return static_cast<const PlainValue&>(node).truth() ? writeText("true")
                                                                : writeText("false");
        case Value::Kind::Integer: {
            const auto& integer = static_cast<const ValueInt&>(node);
            return writeInto(json::MAX_NUMBER_SIZE, [&](char* out) {
                return integer.isNegative()
                           ? json::writeInteger(out, static_cast<std::int64_t>(integer.bits()))
                           : json::writeInteger(out, integer.bits());
            });
        }
        case Value::Kind::Float: {
            const double number = static_cast<const ValueFloat&>(node).value();
            if (!std::isfinite(number)) {
                break;
            }
            return writeInto(json::MAX_NUMBER_SIZE,
                             [=](char* out) { return json::writeDouble(out, number); });
        }
        case Value::Kind::String:
            return writeString(static_cast<const ValueString&>(node).text());
        case Value::Kind::UnicodeString:
            return writeString(static_cast<const ValueUnicodeString&>(node).text().units);
        case Value::Kind::Undefined:
        case Value::Kind::Null:
        case Value::Kind::Array:
        case Value::Kind::Dictionary:
            break;
    }
    return writeText("null");
}

bool Printer::writeString(std::string_view bytes) noexcept {
    if (bytes.size() > PIECE) {
        return writeLongString(bytes);
    }
    return writeInto(maxQuotedSize(bytes), [=](char* out) { return writeQuoted(out, bytes); });
}

// Writes the string in pieces, because the whole string would need space for the worst case: a text
// six times as long as the string.
bool Printer::writeLongString(std::string_view bytes) noexcept {
    bool done = writeText("\"");
    while (done && !bytes.empty()) {
        const std::string_view piece = bytes.substr(0, json::pieceSize(bytes, PIECE));
        done = writeInto(json::maxEscapedSize(piece.size()),
                         [=](char* out) { return json::writeRepaired(out, piece); });
        bytes.remove_prefix(piece.size());
    }
    return done && writeText("\"");
}

// Writes a literal. Its size is a constant, so that copying it needs no call.
template <std::size_t SIZE>
bool Printer::writeText(char const (&text)[SIZE]) noexcept {
    constexpr std::size_t LENGTH = SIZE - 1;
    return writeInto(LENGTH, [&](char* out) {
        std::memcpy(out, text, LENGTH);
        return out + LENGTH;
    });
}

// Writes a line break and the indentation of the open containers. Writes nothing if the layout is
// compact.
char* Printer::writeLine(char* out) const noexcept {
    if (compact_) {
        return out;
    }
    const std::size_t blanks = INDENT * std::min(open_.size(), MAX_INDENTED_LEVELS);
    *out++ = '\n';
    std::memset(out, ' ', blanks);
    return out + blanks;
}

char* Printer::writeColon(char* out) const noexcept {
    *out++ = ':';
    *out = ' ';
    return compact_ ? out : out + 1;
}

// Reserves `size` bytes and runs `write`, which returns the end of the written text.
template <typename Write>
bool Printer::writeInto(std::size_t size, Write write) noexcept {
    if (!text_.reserveMore(size)) {
        return false;
    }
    text_.commit(write(text_.end()));
    return true;
}

}  // namespace

bool printTree(const Value& root, TextBuffer& text, bool compact) noexcept {
    try {
        return Printer(text, compact).print(root);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace util::config
