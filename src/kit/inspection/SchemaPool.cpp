#include "inspection/SchemaPool.h"

#include <cstddef>
#include <vector>

#include "kova/kit/Values.h"

// References are found by searching the text of a schema for the bytes in `FROM`. No other text in
// the schema contains these bytes, because quotes inside strings are escaped.
namespace kova::kit::detail {

namespace {

constexpr std::string_view FROM = R"("$ref":"#/$defs/)";
constexpr std::string_view TO = R"("$ref":"#/components/schemas/)";

std::string textOf(const Payload& json) {
    return {reinterpret_cast<char const*>(json.data()), static_cast<std::size_t>(json.size())};
}

// Returns the position of the quote that ends the JSON string at the position `at`.
std::size_t endOfString(std::string_view json, std::size_t at) noexcept {
    while (json[at] != '"') {
        at += json[at] == '\\' ? 2 : 1;
    }
    return at;
}

std::string unescape(std::string_view json) {
    return fromPayload<std::string>(Payload::createFromJSON('"' + std::string(json) + '"'))
        .orThrow();
}

// Returns the text of a schema in which the name in each reference is replaced by the result of
// `rename`.
template <typename F>
std::string rewrite(std::string_view json, F rename) {
    std::string result;
    std::size_t at = 0;
    for (std::size_t found = json.find(FROM); found != std::string_view::npos;
         found = json.find(FROM, at)) {
        const std::size_t begin = found + FROM.size();
        const std::size_t end = endOfString(json, begin);
        result += json.substr(at, found - at);
        result += TO;
        result += rename(unescape(json.substr(begin, end - begin)));
        at = end;
    }
    return result += json.substr(at);
}

// Returns the text of a definition together with the texts of all definitions to which it refers.
// Different types with the same name have different results.
std::string meaningOf(const std::string& name,
                      const std::map<std::string, std::string>& definitions) {
    std::vector<std::string> names{name};
    std::map<std::string, std::string> reached;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::string& text = definitions.at(names[i]);
        if (reached.emplace(names[i], text).second) {
            rewrite(text, [&](const std::string& next) {
                names.push_back(next);
                return next;
            });
        }
    }
    std::string meaning = name;
    for (const auto& definition : reached) {
        meaning += '\n' + definition.first + '\n' + definition.second;
    }
    return meaning;
}

}  // namespace

// Returns a component name that is not used yet. OpenAPI permits only letters, digits, ".", "_" and
// "-" in it.
std::string SchemaPool::unusedName(std::string_view name) const {
    std::string first(name);
    for (char& each : first) {
        const bool isLetter = (each >= 'a' && each <= 'z') || (each >= 'A' && each <= 'Z');
        if (!isLetter && (each < '0' || each > '9') && each != '.' && each != '-') {
            each = '_';
        }
    }
    std::string unused = first;
    for (std::size_t number = 2; components_.count(unused) != 0; ++number) {
        unused = first + std::to_string(number);
    }
    return unused;
}

void SchemaPool::collect(const Definitions& definitions, Names& names) {
    Definitions added;
    for (const auto& [name, text] : definitions) {
        const auto known = known_.try_emplace(meaningOf(name, definitions));
        if (known.second) {
            known.first->second = unusedName(name);
            components_[known.first->second];
            added.emplace(known.first->second, text);
        }
        names[name] = known.first->second;
    }
    for (const auto& [component, text] : added) {
        components_[component] = Payload::createFromJSON(
            rewrite(text, [&](const std::string& name) { return names.at(name); }));
    }
}

Payload SchemaPool::add(const Payload& schema) {
    auto members = fromPayload<Components>(schema).orThrow();
    members.erase("$schema");
    Definitions definitions;
    const auto nested = members.find("$defs");
    if (nested != members.end()) {
        for (const auto& [name, definition] : fromPayload<Components>(nested->second).orThrow()) {
            definitions.emplace(name, textOf(definition));
        }
        members.erase(nested);
    }
    Names names;
    collect(definitions, names);
    return Payload::createFromJSON(
        rewrite(textOf(toPayload(members).orThrow()),
                [&](const std::string& name) { return names.at(name); }));
}

}  // namespace kova::kit::detail
