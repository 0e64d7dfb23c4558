#pragma once

#include <string>
#include <string_view>

namespace kova {

/// What the translator is in the middle of.
enum class GlobToRegexState : unsigned char {
    Normal = 0,        ///< outside any construct
    Escape = 1,        ///< after a backslash
    Star = 2,          ///< after one "*": a second may follow
    BracketStart = 3,  ///< right after "["
    Bracket = 4,       ///< inside "[...]", after its first character
    Group = 5          ///< inside "{...}"
};

/// Translates a glob into an ECMAScript regular expression that is to match whole paths.
///
/// It does not know that language beyond what it emits: a glob such as "[z-a]" translates, but its
/// translation does not compile.
class GlobTranslator {
public:
    /// The expression for `glob`. Throws `std::invalid_argument` when the glob is malformed or
    /// longer than `PathPatterns::MAX_LENGTH`.
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
    /// `Normal` or `Group`, what the other states lie in and lead back to. Groups do not nest, so
    /// that this is all there is to remember.
    GlobToRegexState enclosing_ = GlobToRegexState::Normal;
};

}  // namespace kova
