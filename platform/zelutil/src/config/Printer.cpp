#include "Printer.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "Cursor.h"
#include "JsonText.h"
#include "PlainValue.h"
#include "Stack.h"
#include "util/config/Scalars.h"

namespace util::config {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t MAX_INDENTED_LEVELS = 32;
constexpr std::size_t INDENT = 2;
constexpr std::size_t LINE_ROOM = 1 + INDENT * MAX_INDENTED_LEVELS;
constexpr std::size_t COLON_ROOM = 2;
constexpr std::size_t PIECE = 4096;  // bytes of a string, at a time

std::size_t quotedRoom(std::string_view bytes) noexcept {
    return json::escapedRoom(bytes.size()) + 2;
}

char* writeQuoted(char* out, std::string_view bytes) noexcept {
    *out++ = '"';
    out = json::writeRepaired(out, bytes);
    *out++ = '"';
    return out;
}

/// Prints one tree. Local to this file, so that compilers may put its steps together. Functions are
/// true when memory is exhausted.
class Printer {
public:
    Printer(TextBuffer& text, bool compact) noexcept : text_(text), compact_(compact) {}

    bool print(const Value& root);

private:
    bool begin(const Value& node);
    bool goOn();
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
    bool writeInto(std::size_t room, Write write) noexcept;

    TextBuffer& text_;
    bool compact_;
    bool afterChild_ = false;  // a comma goes before the next child
    Stack<Cursor> open_;       // the containers that have begun, each at its next child
};

bool Printer::print(const Value& root) {
    bool failed = begin(root);
    while (!failed && !open_.empty()) {
        failed = goOn();
    }
    return failed;
}

// Writes a scalar or an empty container whole, of any other container the opening bracket.
bool Printer::begin(const Value& node) {
    afterChild_ = true;
    if (!isContainer(node)) {
        return writeScalar(node);
    }
    open_.push(node);
    if (open_.top().atEnd()) {
        open_.pop();
        return writeText(node.isArray() ? "[]" : "{}");
    }
    afterChild_ = false;
    return writeText(node.isArray() ? "[" : "{");
}

// Goes on with the innermost container until another one begins or its end is written.
bool Printer::goOn() {
    Cursor& level = open_.top();
    while (!level.atEnd()) {
        if (startChild(level)) {
            return true;
        }
        const Value& child = level.child();
        level.next();
        if (isContainer(child)) {
            return begin(child);
        }
        if (writeScalar(child)) {
            return true;
        }
        afterChild_ = true;
    }
    return end();
}

bool Printer::end() noexcept {
    const bool dictionary = open_.top().isDictionary();
    open_.pop();
    afterChild_ = true;
    return writeInto(LINE_ROOM + 1, [&](char* out) {
        out = writeLine(out);
        *out++ = dictionary ? '}' : ']';
        return out;
    });
}

// Writes what goes before the child: a comma, and its key in a dictionary.
bool Printer::startChild(const Cursor& level) noexcept {
    const std::string_view key = level.isDictionary() ? std::string_view(level.key()) : ""sv;
    const bool atOnce = level.isDictionary() && key.size() <= PIECE;
    const bool failed =
        writeInto(1 + LINE_ROOM + (atOnce ? quotedRoom(key) + COLON_ROOM : 0), [&](char* out) {
            *out = ',';
            out = writeLine(afterChild_ ? out + 1 : out);
            return atOnce ? writeColon(writeQuoted(out, key)) : out;
        });
    if (failed || atOnce || !level.isDictionary()) {
        return failed;
    }
    return writeLongString(key) ||
           writeInto(COLON_ROOM, [this](char* out) { return writeColon(out); });
}

bool Printer::writeScalar(const Value& node) noexcept {
    switch (node.kind()) {
        case Value::Kind::Boolean:
            return static_cast<const PlainValue&>(node).truth() ? writeText("true")
                                                                : writeText("false");
        case Value::Kind::Integer: {
            const auto& integer = static_cast<const ValueInt&>(node);
            return writeInto(json::NUMBER_ROOM, [&](char* out) {
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
            return writeInto(json::NUMBER_ROOM,
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
    return writeInto(quotedRoom(bytes), [=](char* out) { return writeQuoted(out, bytes); });
}

// In pieces: room for all of it that could come would be six times its size.
bool Printer::writeLongString(std::string_view bytes) noexcept {
    bool failed = writeText("\"");
    while (!failed && !bytes.empty()) {
        const std::string_view piece = bytes.substr(0, json::pieceOf(bytes, PIECE));
        failed = writeInto(json::escapedRoom(piece.size()),
                           [=](char* out) { return json::writeRepaired(out, piece); });
        bytes.remove_prefix(piece.size());
    }
    return failed || writeText("\"");
}

// Writes a literal, whose size is known, so that copying it needs no call.
template <std::size_t SIZE>
bool Printer::writeText(char const (&text)[SIZE]) noexcept {
    constexpr std::size_t LENGTH = SIZE - 1;
    return writeInto(LENGTH, [&](char* out) {
        std::memcpy(out, text, LENGTH);
        return out + LENGTH;
    });
}

// Goes to the next line, indented for the containers that are open.
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

// Runs `write`, which gives the end of what it wrote, with room for `room` bytes.
template <typename Write>
bool Printer::writeInto(std::size_t room, Write write) noexcept {
    char* const out = text_.room(room);
    if (out == nullptr) {
        return true;
    }
    text_.take(write(out));
    return false;
}

}  // namespace

bool printTree(const Value& root, TextBuffer& text, bool compact) noexcept {
    try {
        return Printer(text, compact).print(root);
    } catch (const std::bad_alloc&) {
        return true;
    }
}

}  // namespace util::config
