#include "support/Reference.h"

#include <algorithm>
#include <map>
#include <regex>

#include "unit/core/datatypes/ReferenceGlob.h"

namespace fuzz::reference {

namespace {

constexpr std::size_t GLOB_LENGTH = 24;
constexpr std::size_t PATH_LENGTH = 32;
constexpr std::size_t TEXT_LENGTH = 400;
constexpr int STARS = 4;  // the maximum number of stars in a glob

}  // namespace

std::string truncatedGlob(const std::string& glob) {
    int stars = 0;
    const auto limit =
        glob.begin() + static_cast<std::ptrdiff_t>(std::min(glob.size(), GLOB_LENGTH));
    const auto end =
        std::find_if(glob.begin(), limit, [&stars](char c) { return c == '*' && ++stars > STARS; });
    return {glob.begin(), end};
}

std::string truncatedPath(const std::string& path) {
    return path.substr(0, PATH_LENGTH);
}

std::string truncatedText(const std::string& text) {
    return text.substr(0, TEXT_LENGTH);
}

std::string matchGlob(const std::string& glob, const std::string& path) {
    const kova::test::ReferenceByteGlob reference(glob);
    if (!reference.error().empty()) {
        return reference.error();
    }
    return reference.match(path) ? "match" : "no match";
}

std::vector<std::string> matchExpression(char const* expression, const std::string& text) {
    static std::map<char const*, std::regex> compiled;
    const std::regex& regex = compiled.try_emplace(expression, expression).first->second;
    std::smatch match;
    std::vector<std::string> groups;
    if (std::regex_match(text, match, regex)) {
        groups.assign(match.begin(), match.end());
    }
    return groups;
}

}  // namespace fuzz::reference
