#pragma once

#include <regex>
#include <string_view>

#include "datatypes/GlobStep.h"

namespace kova::detail {

/// A parser of one bracket expression, "[...]". It behaves like the standard library's ECMAScript
/// engine.
///
///     bracket   = "[" ["^"] {item} "]"
///     item      = range | character | symbol | "-" | "[:" class ":]" | "[=" collating name "=]"
///     range     = (character | symbol | "-") "-" (character | "-")
///     symbol    = "[." collating name ".]"
///     character = any character but "-" and "]"; after a backslash, any character
///
/// A "-" is part of a range wherever a range is possible; after a class it must be the last item.
/// Classes and collating names are those of the classic locale. A range contains the bytes between
/// its ends, ordered by their values from 0 to 255. The engine does the same where `char` is
/// unsigned: on AArch64, but not on x86-64.
class BracketExpression {
public:
    /// Parses the bracket expression whose "[" directly precedes `rest`. Removes the expression
    /// from `rest` and returns its characters. Throws `std::regex_error`, with the engine's text,
    /// if the expression is not valid.
    static CharacterSet read(std::string_view& rest);

private:
    enum class Token : unsigned char {
        Character,
        Dash,
        Class,
        Equivalence,
        Symbol,
        End,
        EndOfText,
        Invalid
    };
    /// The kind of item before the current one (decides how '-' is parsed).
    enum class Last : unsigned char { Nothing, Character, Class };

    explicit BracketExpression(std::string_view text) : rest_(text) {}

    [[noreturn]] void throwError() const;
    bool fail(std::regex_constants::error_type code, char const* text);

    bool readItems();
    bool readItem();
    bool readDash();
    bool readClass();
    bool readEquivalence();
    bool readSymbol();
    void readCharacter(char c);
    void addLast();
    template <typename Predicate>
    void addWhere(Predicate predicate);

    void advance() { token_ = scan(); }
    Token scan();
    Token invalid(std::regex_constants::error_type code, char const* text);
    Token scanName(Token token, char kind);

    std::string_view rest_;
    Token token_ = Token::Invalid;
    /// The character of a `Character` token.
    char character_ = '\0';
    /// The name in a `Class`, `Equivalence` or `Symbol` token.
    std::string_view name_;

    CharacterSet set_;
    Last last_ = Last::Nothing;
    /// The latest character. It is not yet in the set, because it may begin a range.
    char lastCharacter_ = '\0';

    std::regex_constants::error_type errorCode_ = std::regex_constants::error_brack;
    /// The engine's text for the error, or null if the engine has no specific text for it.
    char const* errorText_ = nullptr;
};

}  // namespace kova::detail
