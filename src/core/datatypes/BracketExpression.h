#pragma once

#include <string_view>

#include "datatypes/GlobStep.h"

namespace kova {

/// Reads one bracket expression, "[...]", as the standard library's ECMAScript engine does.
///
///     bracket   = "[" ["^"] {item} "]"
///     item      = range | character | symbol | "-" | "[:" class ":]" | "[=" collating name "=]"
///     range     = (character | symbol | "-") "-" (character | "-")
///     symbol    = "[." collating name ".]"
///     character = any but "-" and "]"; behind a backslash, any
///
/// A "-" belongs to a range where it can; behind a class it must be the last item. Classes and
/// names are those of the classic locale. A range goes by the value of the bytes, 0 to 255, as the
/// engine takes it where `char` is unsigned: on AArch64, but not on x86-64.
class BracketExpression {
public:
    /// Reads the bracket expression whose "[" lies directly in front of `rest`, and drops it from
    /// `rest`. Throws `std::regex_error`, with the engine's text, when it is not valid.
    static CharacterSet read(std::string_view& rest);

private:
    enum class Token : unsigned char { Character, Dash, Class, Equivalence, Symbol, End, Invalid };
    /// What a "-" would follow.
    enum class Last : unsigned char { Nothing, Character, Class };

    explicit BracketExpression(std::string_view text) : rest_(text) {}

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
    Token scanName(Token token, char kind);

    std::string_view rest_;
    Token token_ = Token::Invalid;
    /// Of a `Character` token.
    char character_ = '\0';
    /// Of a `Class`, `Equivalence` or `Symbol` token.
    std::string_view name_;

    CharacterSet set_;
    Last last_ = Last::Nothing;
    /// Read, but not yet in the set: it may begin a range.
    char lastCharacter_ = '\0';
};

}  // namespace kova
