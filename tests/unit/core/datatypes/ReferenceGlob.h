#pragma once

#include <optional>
#include <regex>
#include <stack>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kova::test {

/// A simple implementation of globs, which defines their meaning. It translates a glob into a
/// regular expression with a stack of states, and matches with `std::basic_regex<Character>`. It is
/// slow and needs a large stack.
template <typename Character>
class BasicReferenceGlob {
public:
    explicit BasicReferenceGlob(const std::string& glob) {
        try {
            engine_.assign(widened(translate(glob)));
        } catch (const std::invalid_argument& error) {
            error_ = std::string("malformed: ") + error.what();
        } catch (const std::regex_error& error) {
            error_ = std::string("not an expression: ") + error.what();
        }
    }

    /// Returns the reason why the glob is rejected, or an empty text.
    const std::string& error() const { return error_; }
    bool match(const std::string& path) const { return std::regex_match(widened(path), engine_); }

    static std::string translate(const std::string& glob) {
        enum State { NORMAL, ESCAPE, STAR, BRACKET_START, BRACKET, GROUP };
        std::stack<State> states({NORMAL});
        std::string out;
        const auto literal = [&out](char c) {
            out += std::string("^$.?+*\\[]{}()").find(c) != std::string::npos ? "\\" : "";
            out += c;
        };
        const auto inBracket = [&out](char c) { out += c == '\\' ? "\\\\" : std::string(1, c); };
        for (std::size_t i = 0; i < glob.size(); ++i) {
            const char c = glob[i];
            const State state = states.top();
            if (state == NORMAL || state == GROUP) {
                if (c == '*') {
                    states.push(STAR);
                } else if (c == '?') {
                    out += "[^/]";
                } else if (c == '[') {
                    out += "[";
                    states.push(BRACKET_START);
                } else if (c == '\\') {
                    states.push(ESCAPE);
                } else if (c == '{' && state == GROUP) {
                    throw std::invalid_argument("{ not allowed in subpattern group");
                } else if (c == '{') {
                    out += "(";
                    states.push(GROUP);
                } else if (c == ',' && state == GROUP) {
                    out += "|";
                } else if (c == '}' && state == GROUP) {
                    out += ")";
                    states.pop();
                } else {
                    literal(c);
                }
            } else if (state == ESCAPE) {
                literal(c);
                states.pop();
            } else if (state == STAR) {
                out += c == '*' ? "(.*)" : "([^/]*)";
                states.pop();
                i -= c == '*' ? 0 : 1;
            } else if (state == BRACKET_START) {
                if (c == ']') {
                    throw std::invalid_argument("Empty []");
                }
                inBracket(c == '!' ? '^' : c);
                states.top() = BRACKET;
            } else if (c == ']') {
                out += "]";
                states.pop();
            } else {
                inBracket(c);
            }
        }
        switch (states.top()) {
            case ESCAPE:
                throw std::invalid_argument("Hanging escape (\\) at end of pattern");
            case BRACKET_START:
            case BRACKET:
                throw std::invalid_argument("Unclosed [");
            case GROUP:
                throw std::invalid_argument("Unclosed {");
            case STAR:
                return out + "([^/]*)";
            case NORMAL:
                break;
        }
        return out;
    }

private:
    static std::basic_string<Character> widened(const std::string& text) {
        const std::basic_string_view<unsigned char> bytes(
            reinterpret_cast<unsigned char const*>(text.data()), text.size());
        return {bytes.begin(), bytes.end()};
    }

    std::basic_regex<Character> engine_;
    std::string error_;
};

/// The reference for globs of ASCII characters.
using ReferenceGlob = BasicReferenceGlob<char>;
/// The reference for globs of any bytes. It is slower, because it uses wide characters, which are
/// ordered like unsigned bytes.
using ReferenceByteGlob = BasicReferenceGlob<wchar_t>;

}  // namespace kova::test
