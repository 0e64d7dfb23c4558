#include "SchemaValues.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "JsonNode.h"
#include "SchemaForm.h"
#include "kova/core/StatusCodes.h"
#include "kova/kit/Values.h"
#include "util/config/Array.h"
#include "util/config/Dictionary.h"

namespace kova::tool {

namespace {

using kit::Tree;
using util::config::Array;
using util::config::Dictionary;
using util::config::Value;

/// A text for the content of a string, which the format or the description of its schema names.
struct TextRow {
    std::string_view name;
    char const* text;
};

// The descriptions are those of the schemas that services print.
constexpr std::array<TextRow, 31> TEXTS = {{{"date", "1970-01-01"},
                                            {"date-time", "1970-01-01T00:00:00Z"},
                                            {"duration", "PT0S"},
                                            {"email", "user@example.com"},
                                            {"hostname", "example.com"},
                                            {"ipv4", "127.0.0.1"},
                                            {"ipv6", "::1"},
                                            {"time", "00:00:00Z"},
                                            {"uri", "http://example.com/"},
                                            {"uri-reference", "/"},
                                            {"uuid", "00000000-0000-0000-0000-000000000000"},
                                            {"a UUID", "00000000-0000-0000-0000-000000000000"},
                                            {"a URL", "http://example.com/"},
                                            {"a colour", "rgba(0,0,0,1.0)"},
                                            {"a date", "1970-01-01"},
                                            {"a date and time", "1970-01-01T00:00:00.000Z"},
                                            {"a duration", "P0000-00-00T00:00:00"},
                                            {"a format of dates", "yyyymmdd"},
                                            {"a format of times", "24h"},
                                            {"a language", "en"},
                                            {"a number in a string", "0"},
                                            {"a path", "/"},
                                            {"a position", "0.000000;0.000000;0.000000"},
                                            {"a time", "00:00:00.000Z"},
                                            {"a unit of consumption", "kW"},
                                            {"a unit of distance", "km"},
                                            {"a unit of pressure", "bar"},
                                            {"a unit of speed", "kmh"},
                                            {"a unit of temperature", "C"},
                                            {"a unit of volume", "l"},
                                            {"a unit of weight", "kg"}}};

/// The type of a schema without the keyword "type" that has a keyword for this type.
struct TypeRow {
    char const* keyword;
    std::string_view type;
};

constexpr std::array<TypeRow, 9> IMPLIED = {{{"properties", "object"},
                                             {"required", "object"},
                                             {"additionalProperties", "object"},
                                             {"items", "array"},
                                             {"minItems", "array"},
                                             {"minimum", "number"},
                                             {"maximum", "number"},
                                             {"minLength", "string"},
                                             {"maxLength", "string"}}};

std::string typeOf(const Value& schema) {
    const Value& type = schema["type"];
    if (!type.isUndefined()) {
        return textOf(type.isArray() ? type[0] : type);
    }
    const auto* const row = std::find_if(IMPLIED.begin(), IMPLIED.end(), [&](const TypeRow& each) {
        return schema.hasKey(each.keyword);
    });
    return std::string(row == IMPLIED.end() ? "" : row->type);
}

// Returns the value that the schema itself names, or null.
Value const* givenIn(const Value& schema) {
    for (char const* const keyword : {"default", "example", "const"}) {
        if (schema.hasKey(keyword)) {
            return &schema[keyword];
        }
    }
    for (char const* const keyword : {"examples", "enum"}) {
        if (schema[keyword].arraySize() != 0) {
            return &schema[keyword][0];
        }
    }
    return nullptr;
}

// Returns a bound as a value. If it must be an integer, it is rounded.
Tree boundNode(const Value& bound, bool isWhole, double (*round)(double)) {
    constexpr double LIMIT = 9223372036854775808.0;
    if (bound.isInt()) {
        return Tree(bound.clone());
    }
    const double number = isWhole ? round(*numberOf(bound)) : *numberOf(bound);
    if (std::trunc(number) == number && std::fabs(number) < LIMIT) {
        return kit::toTree(static_cast<std::int64_t>(number)).orThrow();
    }
    return kit::toTree(number).orThrow();
}

// Returns the number nearest to 0 within the bounds.
Tree makeNumber(const Value& schema, bool isWhole) {
    Tree zero = kit::toTree(0).orThrow();
    const Value& lowest = schema["minimum"];
    const Value& highest = schema["maximum"];
    if (isLess(*zero, lowest)) {
        return boundNode(lowest, isWhole, std::ceil);
    }
    return isLess(highest, *zero) ? boundNode(highest, isWhole, std::floor) : std::move(zero);
}

// Returns the text of the format or description, or null.
char const* knownText(const Value& schema) {
    for (char const* const keyword : {"format", "description"}) {
        const auto* const row = std::find_if(
            TEXTS.begin(), TEXTS.end(),
            [name = textOf(schema[keyword])](const auto& each) { return each.name == name; });
        if (row != TEXTS.end()) {
            return row->text;
        }
    }
    return nullptr;
}

bool isComposed(const Value& schema) {
    return schema.hasKey("$ref") || schema.hasKey("allOf") || schema.hasKey("anyOf") ||
           schema.hasKey("oneOf");
}

/// One value. A function returns null, and stores the reason, if it finds no value.
class Maker {
public:
    Maker(const SchemaRules& rules, std::size_t& steps) : rules_(rules), steps_(steps) {}

    Tree make(const Value& schema);
    kit::Error error() const { return {statuscodes::BAD_REQUEST, reason_}; }

private:
    using Candidates = std::vector<Tree>;
    using Function = Tree (*)(Maker& maker, const Value& schema);
    struct MakerRow {
        std::string_view type;
        Function function;
    };
    static const std::array<MakerRow, 8> MAKERS;

    Tree refuse(std::string reason) {
        reason_ = std::move(reason);
        return nullptr;
    }
    Tree copyOf(const Value& value);
    Tree ifAccepted(const Value& schema, Tree value);
    Tree combine(const Value& schema);
    void addEach(const Value& schemas, Candidates& candidates);
    void addMembers(Value& object, const Value& others);
    Tree firstAccepted(const Value& schema, const Candidates& values, std::size_t alternatives);

    static Tree makeNull(Maker& /*maker*/, const Value& /*schema*/) {
        return Tree(Value::getNull());
    }
    static Tree makeBoolean(Maker& /*maker*/, const Value& /*schema*/) {
        return Tree(Value::getBool(false));
    }
    static Tree makeInteger(Maker& /*maker*/, const Value& schema) {
        return makeNumber(schema, true);
    }
    static Tree makeFraction(Maker& /*maker*/, const Value& schema) {
        return makeNumber(schema, false);
    }
    template <Tree (Maker::*function)(const Value& schema)>
    static Tree call(Maker& maker, const Value& schema) {
        return (maker.*function)(schema);
    }
    Tree makeText(const Value& schema);
    Tree makeArray(const Value& schema);
    Tree makeObject(const Value& schema);

    const SchemaRules& rules_;
    std::size_t& steps_;
    std::size_t depth_ = 0;
    std::string reason_;
};

const std::array<Maker::MakerRow, 8> Maker::MAKERS = {{{"null", &Maker::makeNull},
                                                       {"boolean", &Maker::makeBoolean},
                                                       {"integer", &Maker::makeInteger},
                                                       {"number", &Maker::makeFraction},
                                                       {"string", &Maker::call<&Maker::makeText>},
                                                       {"array", &Maker::call<&Maker::makeArray>},
                                                       {"object", &Maker::call<&Maker::makeObject>},
                                                       {"", &Maker::call<&Maker::makeObject>}}};

Tree Maker::make(const Value& schema) {
    if (++steps_ > SchemaValues::MOST_STEPS) {
        return refuse("the values need more than " + std::to_string(SchemaValues::MOST_STEPS) +
                      " steps");
    }
    if (depth_ == SchemaValues::DEEPEST) {
        return refuse("the value is nested more than " + std::to_string(SchemaValues::DEEPEST) +
                      " deep; a value that must contain itself has no end");
    }
    ++depth_;
    Value const* const given = givenIn(schema);
    Tree result = given != nullptr ? ifAccepted(schema, copyOf(*given)) : combine(schema);
    --depth_;
    return result;
}

// Returns a copy, which costs a step for 16 bytes of its text.
Tree Maker::copyOf(const Value& value) {
    steps_ += value.toJson(true).size() / 16;
    return Tree(value.clone());
}

Tree Maker::ifAccepted(const Value& schema, Tree value) {
    const auto result = rules_.check(schema, *value, steps_);
    if (result) {
        return value;
    }
    return refuse("no value fits: " + result.error().message);
}

// Adds a value for each of the schemas that has one.
void Maker::addEach(const Value& schemas, Candidates& candidates) {
    for (unsigned long i = 0; i < schemas.arraySize(); ++i) {
        if (Tree value = make(schemas[i])) {
            candidates.push_back(std::move(value));
        }
    }
}

// Makes a value of the schema's own keywords, of $ref and of each schema in allOf, anyOf and oneOf.
// Returns the first that all of them accept: an object with the members of all objects, or one of
// the other values.
Tree Maker::combine(const Value& schema) {
    Candidates values;
    addEach(schema["anyOf"], values);
    addEach(schema["oneOf"], values);
    const std::size_t alternatives = values.size();
    if (schema.hasKey("$ref")) {
        if (Tree value = make(rules_.resolve(textOf(schema["$ref"])))) {
            values.push_back(std::move(value));
        }
    }
    addEach(schema["allOf"], values);
    const std::string type = typeOf(schema);
    if (!type.empty() || !isComposed(schema)) {
        const auto* const row = std::find_if(MAKERS.begin(), MAKERS.end(),
                                             [&](const auto& each) { return each.type == type; });
        if (Tree value = row->function(*this, schema)) {
            values.push_back(std::move(value));
        }
    }
    return firstAccepted(schema, values, alternatives);
}

// Adds the members of an object that the first object does not have.
void Maker::addMembers(Value& object, const Value& others) {
    for (const auto& [name, member] : others) {
        const std::string_view key(name);
        if (!object.hasKey(std::string(key))) {
            static_cast<Dictionary&>(object).add(key, copyOf(*member).release());
        }
    }
}

// The first values are those of alternatives, of which only one is needed.
Tree Maker::firstAccepted(const Value& schema, const Candidates& values, std::size_t alternatives) {
    const Tree common(new Dictionary());
    Candidates candidates;
    for (std::size_t i = alternatives; i < values.size(); ++i) {
        addMembers(*common, *values[i]);
    }
    for (const Tree& value : values) {
        candidates.push_back(copyOf(*value));
        if (value->isDictionary()) {
            addMembers(*candidates.back(), *common);
        }
    }
    Tree result;
    for (auto at = candidates.begin(); at != candidates.end() && !result; ++at) {
        result = ifAccepted(schema, std::move(*at));
    }
    return result;
}

Tree Maker::makeText(const Value& schema) {
    if (char const* const text = knownText(schema)) {
        return kit::toTree(std::string(text)).orThrow();
    }
    const double length = numberOf(schema["minLength"]).value_or(0);
    if (length > static_cast<double>(SchemaValues::MOST_STEPS)) {
        return refuse("a text of " + shown(schema["minLength"]) + " characters is too long");
    }
    const auto size = static_cast<std::size_t>(length);
    steps_ += size;
    return kit::toTree(std::string(size, 'a')).orThrow();
}

Tree Maker::makeArray(const Value& schema) {
    auto array = std::make_unique<Array>();
    const double size = numberOf(schema["minItems"]).value_or(0);
    while (static_cast<double>(array->arraySize()) < size) {
        Tree element = make(schema["items"]);
        if (!element) {
            return nullptr;
        }
        array->add(element.release());
    }
    return Tree(array.release());
}

Tree Maker::makeObject(const Value& schema) {
    Tree object(new Dictionary());
    const Value& names = schema["required"];
    for (unsigned long i = 0; i < names.arraySize(); ++i) {
        const std::string name = textOf(names[i]);
        const Value& own = schema["properties"][name];
        Tree member = make(own.isUndefined() ? schema["additionalProperties"] : own);
        if (!member) {
            return nullptr;
        }
        static_cast<Dictionary&>(*object).add(name, member.release());
    }
    return object;
}

}  // namespace

kit::Result<Tree> SchemaValues::make(const Value& schema) {
    Maker maker(*rules_, steps_);
    Tree value = maker.make(schema);
    if (!value) {
        return maker.error();
    }
    return value;
}

}  // namespace kova::tool
