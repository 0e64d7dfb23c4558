#include "Engine.h"

#include <random>
#include <regex>
#include <string_view>

namespace kova::test {

namespace {

/// The characters that a mutation inserts: some digits, every character of a form, and some
/// characters that no form contains (blanks, line ends, a zero byte, letters of numbers, bytes that
/// are not ASCII).
constexpr std::string_view ALPHABET =
    std::string_view("0123569+-.,:;()PTZrgba \t\n\r\v/eExX'#\x80\xB2\xFF\0", 38);

std::vector<std::string> mutationsOf(const std::string& text) {
    std::vector<std::string> all = {text};
    for (std::size_t i = 0; i <= text.size(); ++i) {
        for (const char c : ALPHABET) {
            all.push_back(std::string(text).insert(i, 1, c));
            if (i < text.size()) {
                all.push_back(std::string(text).replace(i, 1, 1, c));
            }
        }
        if (i < text.size()) {
            all.push_back(std::string(text).erase(i, 1));
        }
    }
    return all;
}

/// Returns `count` texts. Each text is one of `texts` with two to four changes. Most changes
/// replace a digit by another one, so many texts have the form, with numbers inside and outside
/// their ranges.
std::vector<std::string> disturbed(const std::vector<std::string>& texts, std::size_t count) {
    std::mt19937 random(20190307);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    std::vector<std::string> all;
    while (all.size() < count) {
        std::string text = texts[below(texts.size())];
        for (std::size_t changes = 2 + below(3); changes > 0; --changes) {
            const std::size_t i = below(text.size());
            if (below(20) == 0) {
                text[i] = ALPHABET[below(ALPHABET.size())];
            } else if (text[i] >= '0' && text[i] <= '9') {
                text[i] = static_cast<char>('0' + below(10));
            }
        }
        all.push_back(text);
    }
    return all;
}

}  // namespace

struct Engine::Compiled {
    std::regex regex;
};

Engine::Engine(char const* expression)
    : compiled_(new Compiled{std::regex(expression, std::regex::ECMAScript)}) {}

Engine::~Engine() = default;

Groups Engine::match(const std::string& text) const {
    std::smatch match;
    Groups groups;
    if (std::regex_match(text, match, compiled_->regex)) {
        for (const auto& group : match) {
            groups.push_back(group);
        }
    }
    return groups;
}

std::vector<std::string> variationsOf(const std::vector<std::string>& texts) {
    std::vector<std::string> all = disturbed(texts, 3000);
    for (const std::string& text : texts) {
        const std::vector<std::string> mutations = mutationsOf(text);
        all.insert(all.end(), mutations.begin(), mutations.end());
    }
    return all;
}

}  // namespace kova::test
