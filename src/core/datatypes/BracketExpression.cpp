#include "datatypes/BracketExpression.h"

#include <algorithm>
#include <cassert>
#include <locale>
#include <regex>
#include <string>

namespace kova::detail {

namespace {

using Traits = std::regex_traits<char>;

// Returns the regular-expression engine's tables of classes and collating names for the classic
// locale. The process locale is ignored.
const Traits& classicTraits() {
    static const Traits traits = [] {
        Traits made;
        made.imbue(std::locale::classic());
        return made;
    }();
    return traits;
}

unsigned char byteOf(char c) {
    return static_cast<unsigned char>(c);
}

// Compiles the expression with the standard library's engine, so that the exception has the
// engine's text. The engine fails at the first bracket of `expression` and does not recurse over
// the rest. The characters are wide, because wide characters are ordered like the bytes; the order
// of `char` depends on the processor.
[[noreturn]] void throwAsEngine(std::string_view expression) {
    std::wstring wide(expression.size(), L'\0');
    std::transform(expression.begin(), expression.end(), wide.begin(),
                   [](char c) { return static_cast<wchar_t>(byteOf(c)); });
    std::wregex engine;
    engine.imbue(std::locale::classic());
    engine.assign(wide);
    throw std::regex_error(std::regex_constants::error_brack);
}

}  // namespace

CharacterSet BracketExpression::read(std::string_view& rest) {
    const bool negated = rest.substr(0, 1) == "^";
    BracketExpression bracket(rest.substr(negated ? 1 : 0));
    if (!bracket.readItems()) {
        throwAsEngine({rest.data() - 1, rest.size() + 1});
    }
    rest = bracket.rest_;
    return negated ? ~bracket.set_ : bracket.set_;
}

bool BracketExpression::readItems() {
    advance();
    while (token_ != Token::End) {
        if (!readItem()) {
            return false;
        }
    }
    addLast();
    return true;
}

bool BracketExpression::readItem() {
    switch (token_) {
        case Token::Character:
            readCharacter(character_);
            advance();
            return true;
        case Token::Dash:
            return readDash();
        case Token::Class:
            return readClass();
        case Token::Equivalence:
            return readEquivalence();
        case Token::Symbol:
            return readSymbol();
        case Token::End:
        case Token::Invalid:
            break;
    }
    return false;
}

bool BracketExpression::readDash() {
    advance();
    if (last_ == Last::Nothing || token_ == Token::End) {
        readCharacter('-');
        return true;
    }
    if (last_ == Last::Class || (token_ != Token::Character && token_ != Token::Dash)) {
        return false;
    }
    const unsigned char first = byteOf(lastCharacter_);
    const unsigned char last = byteOf(token_ == Token::Dash ? '-' : character_);
    for (std::size_t byte = first; byte <= last; ++byte) {
        set_.set(byte);
    }
    last_ = Last::Nothing;
    advance();
    return first <= last;
}

bool BracketExpression::readClass() {
    const Traits& traits = classicTraits();
    const auto mask = traits.lookup_classname(name_.begin(), name_.end());
    if (mask == Traits::char_class_type()) {
        return false;
    }
    addLast();
    last_ = Last::Class;
    addWhere([&](char c) { return traits.isctype(c, mask); });
    advance();
    return true;
}

bool BracketExpression::readEquivalence() {
    const Traits& traits = classicTraits();
    const std::string name = traits.lookup_collatename(name_.begin(), name_.end());
    if (name.empty()) {
        return false;
    }
    addLast();
    last_ = Last::Class;
    const std::string key = traits.transform_primary(name.begin(), name.end());
    addWhere([&](char c) { return traits.transform_primary(&c, &c + 1) == key; });
    advance();
    return true;
}

bool BracketExpression::readSymbol() {
    const std::string name = classicTraits().lookup_collatename(name_.begin(), name_.end());
    if (name.empty()) {
        return false;
    }
    // Adds the symbol to the set even if it also begins a range.
    readCharacter(name.front());
    set_.set(byteOf(name.front()));
    advance();
    return true;
}

void BracketExpression::readCharacter(char c) {
    addLast();
    last_ = Last::Character;
    lastCharacter_ = c;
}

void BracketExpression::addLast() {
    if (last_ == Last::Character) {
        set_.set(byteOf(lastCharacter_));
    }
}

template <typename Predicate>
void BracketExpression::addWhere(Predicate predicate) {
    for (std::size_t i = 0; i < set_.size(); ++i) {
        if (predicate(static_cast<char>(i))) {
            set_.set(i);
        }
    }
}

BracketExpression::Token BracketExpression::scan() {
    if (rest_.empty()) {
        return Token::Invalid;
    }
    character_ = rest_.front();
    rest_.remove_prefix(1);
    const char next = rest_.empty() ? '\0' : rest_.front();
    switch (character_) {
        case ']':
            return Token::End;
        case '-':
            return Token::Dash;
        case '\\':
            assert(!rest_.empty());
            rest_.remove_prefix(1);
            character_ = next;
            return Token::Character;
        case '[':
            return next == ':'   ? scanName(Token::Class, next)
                   : next == '=' ? scanName(Token::Equivalence, next)
                   : next == '.' ? scanName(Token::Symbol, next)
                                 : Token::Character;
        default:
            return Token::Character;
    }
}

// Reads a name up to the next `kind`, which a "]" must follow.
BracketExpression::Token BracketExpression::scanName(Token token, char kind) {
    const std::size_t end = rest_.find(kind, 1);
    if (end == std::string_view::npos || rest_.substr(end + 1, 1) != "]") {
        return Token::Invalid;
    }
    name_ = rest_.substr(1, end - 1);
    rest_.remove_prefix(end + 2);
    return token;
}

}  // namespace kova::detail
