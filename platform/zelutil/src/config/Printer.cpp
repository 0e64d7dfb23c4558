#include "Printer.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "JsonText.h"
#include "PlainValue.h"
#include "util/config/Scalars.h"

namespace util::config {

namespace {

constexpr std::size_t MAX_INDENTED_LEVELS = 32;
constexpr std::size_t INDENT = 2;

}  // namespace

bool Printer::print(const Value& root) noexcept {
    try {
        return printTree(root);
    } catch (const std::bad_alloc&) {
        return true;
    }
}

bool Printer::printTree(const Value& root) {
    if (begin(root)) {
        return true;
    }
    while (!open_.empty()) {
        const bool failed = open_.back().atEnd() ? end() : beginChild();
        if (failed) {
            return true;
        }
    }
    return false;
}

// Writes a scalar or an empty container whole, of any other container the opening bracket.
bool Printer::begin(const Value& node) {
    if (!isContainer(node)) {
        afterChild_ = true;
        return writeScalar(node);
    }
    const Cursor children(node);
    if (children.atEnd()) {
        afterChild_ = true;
        return writeText(node.isArray() ? "[]" : "{}");
    }
    afterChild_ = false;
    open_.push_back(children);
    return writer_.appendByte(node.isArray() ? '[' : '{');
}

bool Printer::beginChild() {
    Cursor& level = open_.back();
    if ((afterChild_ && writer_.appendByte(',')) || startLine()) {
        return true;
    }
    if (level.isDictionary() &&
        (json::appendRepairedString(writer_, level.key()) || writeText(compact_ ? ":" : ": "))) {
        return true;
    }
    const Value& child = level.child();
    level.next();
    return begin(child);
}

bool Printer::end() {
    const bool dictionary = open_.back().isDictionary();
    open_.pop_back();
    afterChild_ = true;
    return startLine() || writer_.appendByte(dictionary ? '}' : ']');
}

bool Printer::writeScalar(const Value& node) noexcept {
    switch (node.kind()) {
        case Value::Kind::Boolean:
            return writeText(static_cast<const PlainValue&>(node).truth() ? "true" : "false");
        case Value::Kind::Integer: {
            const auto& integer = static_cast<const ValueInt&>(node);
            return integer.isNegative()
                       ? json::appendInteger(writer_, static_cast<std::int64_t>(integer.bits()))
                       : json::appendInteger(writer_, integer.bits());
        }
        case Value::Kind::Float: {
            const double number = static_cast<const ValueFloat&>(node).value();
            return std::isfinite(number) ? json::appendDouble(writer_, number) : writeText("null");
        }
        case Value::Kind::String:
            return json::appendRepairedString(writer_,
                                              static_cast<const ValueString&>(node).text());
        case Value::Kind::UnicodeString:
            return json::appendRepairedString(
                writer_, static_cast<const ValueUnicodeString&>(node).text().units);
        case Value::Kind::Undefined:
        case Value::Kind::Null:
        case Value::Kind::Array:
        case Value::Kind::Dictionary:
            break;
    }
    return writeText("null");
}

bool Printer::writeText(std::string_view text) noexcept {
    return writer_.append(text.data(), text.size());
}

// Goes to the next line, indented for the containers that are open.
bool Printer::startLine() noexcept {
    if (compact_) {
        return false;
    }
    const std::size_t blanks = INDENT * std::min(open_.size(), MAX_INDENTED_LEVELS);
    unsigned char* line = writer_.extend(1 + blanks);
    if (line == nullptr) {
        return true;
    }
    *line = '\n';
    std::memset(line + 1, ' ', blanks);
    return false;
}

}  // namespace util::config
