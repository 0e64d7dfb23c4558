#pragma once

#include <string>
#include <string_view>

namespace kova {

/// The construct of the glob that the translator is reading.
enum class GlobToRegexState : unsigned char {
    Normal = 0,        ///< outside any construct
    Escape = 1,        ///< after a backslash
    Star = 2,          ///< after one "*", which a second "*" may follow
    BracketStart = 3,  ///< right after "["
    Bracket = 4,       ///< inside "[...]", after its first character
    Group = 5          ///< inside "{...}"
};

namespace detail {

/// A translator of globs into ECMAScript regular expressions for whole paths.
///
/// It does not validate the expression: it translates the glob "[z-a]", although the translation
/// does not compile.
class GlobTranslator {
public:
    /// Returns the expression for `glob`. Throws `std::invalid_argument` if the glob is malformed
    /// or longer than `PathPatterns::MAX_LENGTH`.
    static std::string translate(std::string_view glob);

private:
    void read(char c);
    void readText(char c);
    void readGroup(char c);
    void readStar(char c);
    void readBracketStart(char c);
    void readBracket(char c);
    void finish();

    bool isText() const {
        return state_ == GlobToRegexState::Normal || state_ == GlobToRegexState::Group;
    }
    void enter(GlobToRegexState state) { state_ = state; }
    void leave() { state_ = enclosing_; }
    void emitLiteral(char c);
    void emitInBracket(char c);

    std::string expression_;
    GlobToRegexState state_ = GlobToRegexState::Normal;
    /// The state outside the current construct, to which `leave` returns: `Normal` or `Group`. One
    /// value is enough because groups do not nest.
    GlobToRegexState enclosing_ = GlobToRegexState::Normal;
};

}  // namespace detail

}  // namespace kova
