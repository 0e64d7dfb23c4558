#include "support/Reference.h"

#include <map>
#include <regex>

#include "unit/core/datatypes/ReferenceGlob.h"

namespace fuzz::reference {

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
