#include "contract/Assertions.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace kova::test {

namespace {

bool isWord(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// Returns the position after the literal or comment that begins at `at`. Returns `at` if no literal
// or comment begins there.
std::size_t skipText(std::string_view source, std::size_t at) {
    const std::string_view rest = source.substr(at);
    const auto after = [&](std::string_view end, std::size_t from) {
        const std::size_t found = source.find(end, at + from);
        return found == std::string_view::npos ? source.size() : found + end.size();
    };
    if (rest.substr(0, 2) == "//") {
        return std::min(source.find('\n', at), source.size());
    }
    if (rest.substr(0, 2) == "/*") {
        return after("*/", 2);
    }
    if (rest.substr(0, 2) == "R\"" && (at == 0 || !isWord(source[at - 1]))) {
        const std::string_view delimiter = rest.substr(2, rest.find('(') - 2);
        return after(")" + std::string(delimiter) + "\"", 2);
    }
    // A quote after a digit separates digits.
    const bool quoted = rest[0] == '"' || (rest[0] == '\'' && (at == 0 || !isWord(source[at - 1])));
    if (!quoted) {
        return at;
    }
    std::size_t end = at + 1;
    while (end < source.size() && source[end] != rest[0]) {
        end += source[end] == '\\' ? 2 : 1;
    }
    return std::min(end + 1, source.size());
}

// Returns the source with blanks in place of comments, literals and preprocessor lines.
std::string codeOf(std::string_view source) {
    std::string code(source);
    bool lineBegins = true;
    for (std::size_t at = 0; at < source.size();) {
        std::size_t end = skipText(source, at);
        if (end == at && lineBegins && source[at] == '#') {
            end = std::min(source.find('\n', at), source.size());
        }
        for (std::size_t i = at; i < end; ++i) {
            code[i] = source[i] == '\n' ? '\n' : ' ';
        }
        lineBegins = source[at] == '\n' || (lineBegins && source[at] == ' ');
        at = std::max(end, at + 1);
    }
    return code;
}

// Returns the position of the brace that closes the brace at `open`.
std::size_t closing(const std::string& code, std::size_t open) {
    int depth = 0;
    for (std::size_t at = open; at < code.size(); ++at) {
        depth += code[at] == '{' ? 1 : code[at] == '}' ? -1 : 0;
        if (depth == 0) {
            return at;
        }
    }
    return code.size();
}

// Returns the position of the last character before `end` that is not a blank.
std::size_t lastBefore(const std::string& code, std::size_t end) {
    const std::size_t at = end == 0 ? std::string::npos : code.find_last_not_of(" \t\n", end - 1);
    return at == std::string::npos ? 0 : at;
}

// Returns the word that ends at `last`, or an empty text if no word ends there.
std::string wordBefore(const std::string& code, std::size_t last) {
    std::size_t begin = last + 1;
    while (begin > 0 && isWord(code[begin - 1])) {
        --begin;
    }
    return code.substr(begin, last + 1 - begin);
}

// Returns the position of the parenthesis that the parenthesis at `close` closes.
std::size_t opening(const std::string& code, std::size_t close) {
    int depth = 0;
    for (std::size_t at = close + 1; at-- > 0;) {
        depth += code[at] == ')' ? 1 : code[at] == '(' ? -1 : 0;
        if (depth == 0) {
            return at;
        }
    }
    return 0;
}

std::set<std::string> wordsIn(std::string_view text) {
    std::set<std::string> words;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at;
        while (end < text.size() && isWord(text[end])) {
            ++end;
        }
        if (end > at) {
            words.emplace(text.substr(at, end - at));
        }
        at = std::max(end, at + 1);
    }
    return words;
}

// Returns the function whose body is between the braces. Its name is empty if the braces do not
// enclose a function body.
Function functionAt(const std::string& code, std::size_t open, std::size_t close) {
    static const std::set<std::string> QUALIFIERS = {"const", "noexcept", "override", "final"};
    static const std::set<std::string> STATEMENTS = {"if", "for", "while", "switch", "catch"};
    std::size_t last = lastBefore(code, open);
    for (std::string word = wordBefore(code, last); QUALIFIERS.count(word) != 0;
         word = wordBefore(code, last)) {
        last = lastBefore(code, last + 1 - word.size());
    }
    if (code[last] != ')') {
        return {};
    }
    const std::size_t begin = opening(code, last);
    Function function;
    function.name = wordBefore(code, lastBefore(code, begin));
    if (STATEMENTS.count(function.name) != 0) {
        return {};
    }
    function.arguments = code.substr(begin + 1, last - begin - 1);
    function.words = wordsIn(std::string_view(code).substr(open, close - open));
    const auto brace = code.cbegin() + static_cast<std::ptrdiff_t>(open);
    function.line = 1 + static_cast<int>(std::count(code.cbegin(), brace, '\n'));
    return function;
}

bool isTest(const Function& function) {
    static const std::set<std::string> MACROS = {"TEST", "TEST_F", "TEST_P", "TYPED_TEST"};
    return MACROS.count(function.name) != 0;
}

bool isAssertion(const std::string& word) {
    static const std::set<std::string> OTHERS = {"FAIL", "ADD_FAILURE", "SUCCEED", "GTEST_SKIP",
                                                 "static_assert"};
    return word.compare(0, 7, "EXPECT_") == 0 || word.compare(0, 7, "ASSERT_") == 0 ||
           OTHERS.count(word) != 0;
}

bool asserts(const Function& function, const std::set<std::string>& asserting) {
    return std::any_of(function.words.begin(), function.words.end(), [&](const std::string& word) {
        return isAssertion(word) || asserting.count(word) != 0;
    });
}

// Returns the names of the functions that assert, directly or through other functions.
std::set<std::string> assertingNames(const std::vector<Function>& functions) {
    std::set<std::string> names;
    std::size_t before = 0;
    do {
        before = names.size();
        for (const Function& function : functions) {
            if (!isTest(function) && asserts(function, names)) {
                names.insert(function.name);
            }
        }
    } while (names.size() != before);
    return names;
}

}  // namespace

std::vector<Function> functionsIn(std::string_view source) {
    const std::string code = codeOf(source);
    std::vector<Function> functions;
    for (std::size_t at = code.find('{'); at != std::string::npos;) {
        const std::size_t close = closing(code, at);
        Function function = functionAt(code, at, close);
        const bool isBody = !function.name.empty();
        if (isBody) {
            functions.push_back(std::move(function));
        }
        at = code.find('{', isBody ? close : at + 1);
    }
    return functions;
}

std::vector<std::string> testsWithoutAssertion(std::string_view source,
                                               const std::vector<Function>& helpers) {
    const std::vector<Function> own = functionsIn(source);
    std::vector<Function> all = own;
    all.insert(all.end(), helpers.begin(), helpers.end());
    const std::set<std::string> asserting = assertingNames(all);
    std::vector<std::string> without;
    for (const Function& function : own) {
        if (isTest(function) && !asserts(function, asserting)) {
            without.push_back(std::to_string(function.line) + ": " + function.arguments);
        }
    }
    return without;
}

}  // namespace kova::test
