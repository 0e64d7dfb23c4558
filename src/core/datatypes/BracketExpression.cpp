#include "datatypes/BracketExpression.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <iterator>
#include <locale>
#include <optional>
#include <string>

namespace kova::detail {

namespace {

using namespace std::string_view_literals;

// The tables below have the contents of those in `std::regex_traits`, but no pointers to the names,
// which would need 143 relocations.

// The names of the characters from 0 to 127 in the POSIX locale, each followed by a zero byte.
constexpr std::string_view CHARACTER_NAMES =
    "NUL\0"
    "SOH\0"
    "STX\0"
    "ETX\0"
    "EOT\0"
    "ENQ\0"
    "ACK\0"
    "alert\0"
    "backspace\0"
    "tab\0"
    "newline\0"
    "vertical-tab\0"
    "form-feed\0"
    "carriage-return\0"
    "SO\0"
    "SI\0"
    "DLE\0"
    "DC1\0"
    "DC2\0"
    "DC3\0"
    "DC4\0"
    "NAK\0"
    "SYN\0"
    "ETB\0"
    "CAN\0"
    "EM\0"
    "SUB\0"
    "ESC\0"
    "IS4\0"
    "IS3\0"
    "IS2\0"
    "IS1\0"
    "space\0"
    "exclamation-mark\0"
    "quotation-mark\0"
    "number-sign\0"
    "dollar-sign\0"
    "percent-sign\0"
    "ampersand\0"
    "apostrophe\0"
    "left-parenthesis\0"
    "right-parenthesis\0"
    "asterisk\0"
    "plus-sign\0"
    "comma\0"
    "hyphen\0"
    "period\0"
    "slash\0"
    "zero\0"
    "one\0"
    "two\0"
    "three\0"
    "four\0"
    "five\0"
    "six\0"
    "seven\0"
    "eight\0"
    "nine\0"
    "colon\0"
    "semicolon\0"
    "less-than-sign\0"
    "equals-sign\0"
    "greater-than-sign\0"
    "question-mark\0"
    "commercial-at\0"
    "A\0"
    "B\0"
    "C\0"
    "D\0"
    "E\0"
    "F\0"
    "G\0"
    "H\0"
    "I\0"
    "J\0"
    "K\0"
    "L\0"
    "M\0"
    "N\0"
    "O\0"
    "P\0"
    "Q\0"
    "R\0"
    "S\0"
    "T\0"
    "U\0"
    "V\0"
    "W\0"
    "X\0"
    "Y\0"
    "Z\0"
    "left-square-bracket\0"
    "backslash\0"
    "right-square-bracket\0"
    "circumflex\0"
    "underscore\0"
    "grave-accent\0"
    "a\0"
    "b\0"
    "c\0"
    "d\0"
    "e\0"
    "f\0"
    "g\0"
    "h\0"
    "i\0"
    "j\0"
    "k\0"
    "l\0"
    "m\0"
    "n\0"
    "o\0"
    "p\0"
    "q\0"
    "r\0"
    "s\0"
    "t\0"
    "u\0"
    "v\0"
    "w\0"
    "x\0"
    "y\0"
    "z\0"
    "left-curly-bracket\0"
    "vertical-line\0"
    "right-curly-bracket\0"
    "tilde\0"
    "DEL\0"
    ""sv;

// Returns the character with the POSIX name, or nothing.
std::optional<char> characterOf(std::string_view name) {
    std::string_view names = CHARACTER_NAMES;
    for (unsigned char character = 0; !names.empty(); ++character) {
        const std::size_t end = names.find('\0');
        if (names.substr(0, end) == name) {
            return static_cast<char>(character);
        }
        names.remove_prefix(end + 1);
    }
    return std::nullopt;
}

const std::ctype<char>& classicTypes() {
    return std::use_facet<std::ctype<char>>(std::locale::classic());
}

/// A class of characters. The class "w" also has the underscore.
struct CharacterClass {
    std::array<char, 8> name;
    std::ctype_base::mask mask;
};

const CharacterClass CLASSES[] = {
    {{"d"}, std::ctype_base::digit},      {{"w"}, std::ctype_base::alnum},
    {{"s"}, std::ctype_base::space},      {{"alnum"}, std::ctype_base::alnum},
    {{"alpha"}, std::ctype_base::alpha},  {{"blank"}, std::ctype_base::blank},
    {{"cntrl"}, std::ctype_base::cntrl},  {{"digit"}, std::ctype_base::digit},
    {{"graph"}, std::ctype_base::graph},  {{"lower"}, std::ctype_base::lower},
    {{"print"}, std::ctype_base::print},  {{"punct"}, std::ctype_base::punct},
    {{"space"}, std::ctype_base::space},  {{"upper"}, std::ctype_base::upper},
    {{"xdigit"}, std::ctype_base::xdigit}};

// Returns the class with the name, in capital or small letters, or null.
CharacterClass const* classOf(std::string_view name) {
    std::string small(name);
    classicTypes().tolower(small.data(), small.data() + small.size());
    auto const* const found =
        std::find_if(std::begin(CLASSES), std::end(CLASSES),
                     [&](const CharacterClass& each) { return small == each.name.data(); });
    return found != std::end(CLASSES) ? found : nullptr;
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

// Records why the expression is not valid, and returns false. If the next token is also not valid,
// the reason for that token is kept, because the engine reads one token ahead and reports it first.
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
    CharacterClass const* const found = classOf(name_);
    advance();
    if (found == nullptr) {
        return fail(std::regex_constants::error_collate, "Invalid character class.");
    }
    addLast();
    last_ = Last::Class;
    const bool isWord = found->name[0] == 'w';
    addWhere([&](char c) { return classicTypes().is(found->mask, c) || (isWord && c == '_'); });
    return true;
}

bool BracketExpression::readEquivalence() {
    const std::optional<char> named = characterOf(name_);
    advance();
    if (!named) {
        return fail(std::regex_constants::error_collate, "Invalid equivalence class.");
    }
    addLast();
    last_ = Last::Class;
    const char small = classicTypes().tolower(*named);
    addWhere([small](char c) { return classicTypes().tolower(c) == small; });
    return true;
}

bool BracketExpression::readSymbol() {
    const std::optional<char> named = characterOf(name_);
    advance();
    if (!named) {
        return fail(std::regex_constants::error_collate, "Invalid collate element.");
    }
    // Adds the symbol to the set even if it also begins a range.
    readCharacter(*named);
    set_.set(byteOf(*named));
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

// Reads the name before the next character `kind` (':', '=' or '.'). A "]" must follow this
// character.
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
