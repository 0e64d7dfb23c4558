#include "datatypes/GlobTranslator.h"

#include <array>
#include <stdexcept>

#include "kova/core/PathPatterns.h"

namespace kova::detail {

namespace {

constexpr std::array<bool, 256> tableOf(std::string_view characters) {
    std::array<bool, 256> table{};
    for (const char c : characters) {
        table[static_cast<unsigned char>(c)] = true;
    }
    return table;
}

constexpr bool isIn(const std::array<bool, 256>& table, char c) {
    return table[static_cast<unsigned char>(c)];
}

// The literal characters that must be escaped in the expression. "|" is not escaped, because it
// also separates alternatives in a glob.
constexpr std::array<bool, 256> ESCAPED = tableOf("^$.?+*\\[]{}()");
// The characters that are not copied verbatim from a glob or from a group.
constexpr std::array<bool, 256> SPECIAL = tableOf("^$.?+*\\[]{}(),");

constexpr char const* ANY_TEXT = "(.*)";
constexpr char const* TEXT_WITHOUT_SEPARATOR = "([^/]*)";
constexpr char const* NOT_SEPARATOR = "[^/]";

[[noreturn]] void malformed(char const* message) {
    throw std::invalid_argument(message);
}

}  // namespace

std::string GlobTranslator::translate(std::string_view glob) {
    if (glob.size() > PathPatterns::MAX_LENGTH) {
        malformed("Pattern longer than 65535 characters");
    }
    GlobTranslator translator;
    translator.expression_.reserve(glob.size() + 16);
    for (const char c : glob) {
        if (translator.isText() && !isIn(SPECIAL, c)) {
            translator.expression_ += c;
        } else {
            translator.read(c);
        }
    }
    translator.finish();
    return std::move(translator.expression_);
}

void GlobTranslator::read(char c) {
    switch (state_) {
        case GlobToRegexState::Normal:
            return readText(c);
        case GlobToRegexState::Group:
            return readGroup(c);
        case GlobToRegexState::Escape:
            emitLiteral(c);
            return leave();
        case GlobToRegexState::Star:
            return readStar(c);
        case GlobToRegexState::BracketStart:
            return readBracketStart(c);
        case GlobToRegexState::Bracket:
            return readBracket(c);
    }
}

void GlobTranslator::readText(char c) {
    switch (c) {
        case '*':
            return enter(GlobToRegexState::Star);
        case '?':
            expression_ += NOT_SEPARATOR;
            return;
        case '[':
            expression_ += '[';
            return enter(GlobToRegexState::BracketStart);
        case '\\':
            return enter(GlobToRegexState::Escape);
        case '{':
            expression_ += '(';
            enclosing_ = GlobToRegexState::Group;
            return enter(GlobToRegexState::Group);
        default:
            return emitLiteral(c);
    }
}

void GlobTranslator::readGroup(char c) {
    switch (c) {
        case ',':
            expression_ += '|';
            return;
        case '{':
            malformed("{ not allowed in subpattern group");
        case '}':
            expression_ += ')';
            enclosing_ = GlobToRegexState::Normal;
            return leave();
        default:
            return readText(c);
    }
}

void GlobTranslator::readStar(char c) {
    leave();
    if (c == '*') {
        expression_ += ANY_TEXT;
    } else {
        expression_ += TEXT_WITHOUT_SEPARATOR;
        read(c);
    }
}

void GlobTranslator::readBracketStart(char c) {
    if (c == ']') {
        malformed("Empty []");
    }
    emitInBracket(c == '!' ? '^' : c);
    enter(GlobToRegexState::Bracket);
}

void GlobTranslator::readBracket(char c) {
    emitInBracket(c);
    if (c == ']') {
        leave();
    }
}

// Rejects a glob that ends inside a construct. Checks only the innermost construct: a group that is
// still open before a trailing star is reported by the compiler of the expression.
void GlobTranslator::finish() {
    switch (state_) {
        case GlobToRegexState::Normal:
            return;
        case GlobToRegexState::Escape:
            malformed("Hanging escape (\\) at end of pattern");
        case GlobToRegexState::Star:
            expression_ += TEXT_WITHOUT_SEPARATOR;
            return;
        case GlobToRegexState::BracketStart:
        case GlobToRegexState::Bracket:
            malformed("Unclosed [");
        case GlobToRegexState::Group:
            malformed("Unclosed {");
    }
}

void GlobTranslator::emitLiteral(char c) {
    if (isIn(ESCAPED, c)) {
        expression_ += '\\';
    }
    expression_ += c;
}

void GlobTranslator::emitInBracket(char c) {
    if (c == '\\') {
        expression_ += '\\';
    }
    expression_ += c;
}

}  // namespace kova::detail
