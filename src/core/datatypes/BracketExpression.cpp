#include "datatypes/BracketExpression.h"

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

// A `std::regex_error` with the text of the standard library's engine. The engine itself would add
// 65 KB to the library.
class EngineError : public std::regex_error {
public:
    EngineError(std::regex_constants::error_type code, char const* text)
        : std::regex_error(code), text_(text) {}
    char const* what() const noexcept override { return text_; }

private:
    char const* text_;
};

}  // namespace

CharacterSet BracketExpression::read(std::string_view& rest) {
    const bool negated = rest.substr(0, 1) == "^";
    BracketExpression bracket(rest.substr(negated ? 1 : 0));
    if (!bracket.readItems()) {
        bracket.throwError();
    }
    rest = bracket.rest_;
    return negated ? ~bracket.set_ : bracket.set_;
}

void BracketExpression::throwError() const {
    if (errorText_ == nullptr) {
        throw std::regex_error(errorCode_);
    }
    throw EngineError(errorCode_, errorText_);
}

// Records why the expression is not valid, and returns false. If the next token is not valid, its
// reason stays, because the engine reads one token ahead.
bool BracketExpression::fail(std::regex_constants::error_type code, char const* text) {
    if (token_ != Token::Invalid) {
        errorCode_ = code;
        errorText_ = text;
    }
    return false;
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
        case Token::EndOfText:
        case Token::Invalid:
            break;
    }
    return fail(std::regex_constants::error_brack,
                "Unexpected character within '[...]' in regular expression");
}

bool BracketExpression::readDash() {
    advance();
    if (last_ == Last::Nothing || token_ == Token::End) {
        readCharacter('-');
        return true;
    }
    if (last_ == Last::Class) {
        return fail(std::regex_constants::error_range,
                    "Invalid start of '[x-x]' range in regular expression");
    }
    if (token_ != Token::Character && token_ != Token::Dash) {
        return fail(std::regex_constants::error_range,
                    "Invalid end of '[x-x]' range in regular expression");
    }
    const unsigned char first = byteOf(lastCharacter_);
    const unsigned char last = byteOf(token_ == Token::Dash ? '-' : character_);
    for (std::size_t byte = first; byte <= last; ++byte) {
        set_.set(byte);
    }
    last_ = Last::Nothing;
    advance();
    return first <= last ||
           fail(std::regex_constants::error_range, "Invalid range in bracket expression.");
}

bool BracketExpression::readClass() {
    const Traits& traits = classicTraits();
    const auto mask = traits.lookup_classname(name_.begin(), name_.end());
    advance();
    if (mask == Traits::char_class_type()) {
        return fail(std::regex_constants::error_collate, "Invalid character class.");
    }
    addLast();
    last_ = Last::Class;
    addWhere([&](char c) { return traits.isctype(c, mask); });
    return true;
}

bool BracketExpression::readEquivalence() {
    const Traits& traits = classicTraits();
    const std::string name = traits.lookup_collatename(name_.begin(), name_.end());
    advance();
    if (name.empty()) {
        return fail(std::regex_constants::error_collate, "Invalid equivalence class.");
    }
    addLast();
    last_ = Last::Class;
    const std::string key = traits.transform_primary(name.begin(), name.end());
    addWhere([&](char c) { return traits.transform_primary(&c, &c + 1) == key; });
    return true;
}

bool BracketExpression::readSymbol() {
    const std::string name = classicTraits().lookup_collatename(name_.begin(), name_.end());
    advance();
    if (name.empty()) {
        return fail(std::regex_constants::error_collate, "Invalid collate element.");
    }
    // Adds the symbol to the set even if it also begins a range.
    readCharacter(name.front());
    set_.set(byteOf(name.front()));
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
        return Token::EndOfText;
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
            return rest_.empty() ? invalid(std::regex_constants::error_brack,
                                           "Incomplete '[[' character class in regular expression")
                   : next == ':' ? scanName(Token::Class, next)
                   : next == '=' ? scanName(Token::Equivalence, next)
                   : next == '.' ? scanName(Token::Symbol, next)
                                 : Token::Character;
        default:
            return Token::Character;
    }
}

BracketExpression::Token BracketExpression::invalid(std::regex_constants::error_type code,
                                                    char const* text) {
    errorCode_ = code;
    errorText_ = text;
    return Token::Invalid;
}

// Reads a name up to the next `kind`, which a "]" must follow.
BracketExpression::Token BracketExpression::scanName(Token token, char kind) {
    const std::size_t end = rest_.find(kind, 1);
    if (end == std::string_view::npos || rest_.substr(end + 1, 1) != "]") {
        return invalid(token == Token::Class ? std::regex_constants::error_ctype
                                             : std::regex_constants::error_collate,
                       nullptr);
    }
    name_ = rest_.substr(1, end - 1);
    rest_.remove_prefix(end + 2);
    return token;
}

}  // namespace kova::detail
