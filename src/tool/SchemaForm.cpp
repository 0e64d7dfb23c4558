#include "SchemaForm.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "JsonNode.h"
#include "Text.h"
#include "kova/core/StatusCodes.h"

namespace kova::tool {

namespace {

using util::config::Value;

kit::Error refused(const std::string& place, const std::string& reason) {
    return {statuscodes::BAD_REQUEST, place + ": " + reason};
}

// --- The keywords --------------------------------------------------------------------------------

/// The schemas that a keyword contains.
enum class Content { none, reference, schema, schemas, members };

struct KeywordRow {
    std::string_view name;
    char const* form;  // what the keyword must have
    bool (*isWellFormed)(const Value&);
    Content content;
    bool isRule;
};

template <typename Function>
bool allElements(const Value& list, Function function) {
    bool result = true;
    for (unsigned long i = 0; i < list.arraySize() && result; ++i) {
        result = function(list[i]);
    }
    return result;
}

bool isAnything(const Value& /*value*/) {
    return true;
}
bool isCount(const Value& value) {
    return isInteger(value) && *numberOf(value) >= 0;
}
bool isSchema(const Value& value) {
    return value.isDictionary() || value.isBool();
}
bool isObject(const Value& value) {
    return value.isDictionary();
}
bool isList(const Value& value) {
    return value.arraySize() != 0;
}
bool isSchemas(const Value& value) {
    return isList(value) && allElements(value, isSchema);
}
bool isType(const Value& value) {
    return jsonTypeNamed(textOf(value)) != nullptr;
}
bool isTypes(const Value& value) {
    return isType(value) || (isList(value) && allElements(value, isType));
}
bool isNames(const Value& value) {
    return value.isArray() && allElements(value, isText);
}

constexpr KeywordRow rule(std::string_view name, char const* form,
                          bool (*isWellFormed)(const Value&), Content content = Content::none) {
    return {name, form, isWellFormed, content, true};
}
constexpr KeywordRow annotation(std::string_view name) {
    return {name, "a value", isAnything, Content::none, false};
}

constexpr std::array KEYWORDS = {
    rule("$ref", "a reference", isText, Content::reference),
    rule("additionalProperties", "a schema", isSchema, Content::schema),
    rule("allOf", "a list of schemas", isSchemas, Content::schemas),
    rule("anyOf", "a list of schemas", isSchemas, Content::schemas),
    rule("const", "a value", isAnything),
    rule("enum", "a list of values", isList),
    rule("items", "a schema", isSchema, Content::schema),
    rule("maxItems", "an integer from 0", isCount),
    rule("maxLength", "an integer from 0", isCount),
    rule("maximum", "a number", isNumber),
    rule("minItems", "an integer from 0", isCount),
    rule("minLength", "an integer from 0", isCount),
    rule("minimum", "a number", isNumber),
    rule("oneOf", "a list of schemas", isSchemas, Content::schemas),
    rule("properties", "an object with schemas", isObject, Content::members),
    rule("required", "a list of names", isNames),
    rule("type", "a type or a list of types", isTypes),
    annotation("$comment"),
    annotation("$schema"),
    annotation("contentEncoding"),
    annotation("contentMediaType"),
    annotation("default"),
    annotation("deprecated"),
    annotation("description"),
    annotation("discriminator"),
    annotation("example"),
    annotation("examples"),
    annotation("externalDocs"),
    annotation("format"),
    annotation("readOnly"),
    annotation("title"),
    annotation("writeOnly"),
    annotation("xml")};

KeywordRow const* keywordNamed(std::string_view name) {
    const auto* const row = std::find_if(KEYWORDS.begin(), KEYWORDS.end(),
                                         [name](const auto& each) { return each.name == name; });
    return row == KEYWORDS.end() ? nullptr : row;
}

// --- The schemas of a document -------------------------------------------------------------------

/// Checks schemas. The limit for the nesting of JSON also limits the recursion.
class Validator {
public:
    explicit Validator(const Value& components) : components_(components) {}

    kit::Result<void> validate(const Value& schema, const std::string& place) const {
        if (!isSchema(schema)) {
            return refused(place, "expected a schema, found " + shown(schema));
        }
        return forEach(schema, place, &Validator::validateKeyword);
    }
    kit::Result<void> validateMembers(const Value& schemas, const std::string& place) const {
        return forEach(schemas, place,
                       [](const Validator& self, std::string_view /*name*/, const Value& schema,
                          const std::string& below) { return self.validate(schema, below); });
    }

private:
    // Calls the function with each member of an object and its place, until a call fails.
    template <typename Function>
    kit::Result<void> forEach(const Value& object, const std::string& place,
                              Function function) const {
        kit::Result<void> result;
        for (auto at = object.begin(); at != object.end() && result; ++at) {
            const std::string_view name((*at).first);
            result = std::invoke(function, *this, name, *(*at).second, placeOf(place, name));
        }
        return result;
    }
    kit::Result<void> validateKeyword(std::string_view name, const Value& content,
                                      const std::string& place) const {
        KeywordRow const* const row = keywordNamed(name);
        if (row == nullptr) {
            if (name.substr(0, 2) == "x-") {
                return {};
            }
            return refused(place, "the keyword is not supported");
        }
        if (!row->isWellFormed(content)) {
            return refused(place,
                           std::string("expected ") + row->form + ", found " + shown(content));
        }
        return validateContent(row->content, content, place);
    }
    kit::Result<void> validateContent(Content kind, const Value& content,
                                      const std::string& place) const {
        switch (kind) {
            case Content::reference:
                return validateReference(textOf(content), place);
            case Content::schema:
                return validate(content, place);
            case Content::schemas:
                return validateList(content, place);
            case Content::members:
                return validateMembers(content, place);
            default:
                return {};
        }
    }
    kit::Result<void> validateReference(const std::string& text, const std::string& place) const {
        if (text.compare(0, SCHEMA_REFERENCE.size(), SCHEMA_REFERENCE) == 0) {
            const std::string name = text.substr(SCHEMA_REFERENCE.size());
            if (components_.hasKey(name)) {
                return {};
            }
        }
        return refused(place, "there is no schema '" + cut(visible(text), 80) +
                                  "'; a reference is " + std::string(SCHEMA_REFERENCE) + "NAME");
    }
    kit::Result<void> validateList(const Value& schemas, const std::string& place) const {
        kit::Result<void> result;
        for (unsigned long i = 0; i < schemas.arraySize() && result; ++i) {
            result = validate(schemas[i], placeOf(place, i));
        }
        return result;
    }

    const Value& components_;
};

/// Searches for schemas that apply themselves to the value to which they are applied.
class CircleSearch {
public:
    explicit CircleSearch(const Value& components) : components_(components) {}

    kit::Result<void> visit(const std::string& name, const std::string& place) {
        constexpr std::string_view CHARACTERS =
            "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-";
        if (name.find_first_not_of(CHARACTERS) != std::string::npos) {
            return refused(place, "a name has only letters, digits, '.', '_' and '-'");
        }
        const auto [entry, isNew] = isDone_.try_emplace(name, false);
        if (!isNew) {
            if (entry->second) {
                return {};
            }
            return refused(place, "the schema refers to itself without a value in between");
        }
        if (++chain_ > LONGEST_CHAIN) {
            return refused(place,
                           "more than " + std::to_string(LONGEST_CHAIN) + " references in a row");
        }
        auto result = visitSchema(components_[name], place);
        --chain_;
        entry->second = true;
        return result;
    }

private:
    kit::Result<void> visitSchema(const Value& schema, const std::string& place) {
        kit::Result<void> result;
        if (const std::string reference = textOf(schema["$ref"]); !reference.empty()) {
            result = visit(reference.substr(SCHEMA_REFERENCE.size()), place);
        }
        for (char const* const keyword : {"allOf", "anyOf", "oneOf"}) {
            const Value& schemas = schema[keyword];
            for (unsigned long i = 0; i < schemas.arraySize() && result; ++i) {
                result = visitSchema(schemas[i], place);
            }
        }
        return result;
    }

    const Value& components_;
    /// The components that were visited, and whether their references have been visited, too.
    std::map<std::string, bool> isDone_;
    std::size_t chain_ = 0;
};

}  // namespace

kit::Result<void> validateSchema(const Value& schema, const Value& components,
                                 const std::string& place) {
    return Validator(components).validate(schema, place);
}

kit::Result<void> validateComponents(const Value& components, const std::string& place) {
    kit::Result<void> result = Validator(components).validateMembers(components, place);
    CircleSearch search(components);
    for (auto at = components.begin(); at != components.end() && result; ++at) {
        const std::string name((*at).first);
        result = search.visit(name, placeOf(place, name));
    }
    return result;
}

bool acceptsAll(const Value& schema) {
    bool isRestricted = false;
    for (const auto& [name, content] : schema) {
        KeywordRow const* const row = keywordNamed(name);
        isRestricted = isRestricted || (row != nullptr && row->isRule);
    }
    bool isAllowed = true;  // of a schema that is true or false
    static_cast<void>(schema.get(isAllowed));
    return isAllowed && !isRestricted;
}

}  // namespace kova::tool
