#include "SchemaText.h"

#include <map>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "kova/kit/Fields.h"
#include "kova/kit/Values.h"

namespace kova::tool {

namespace {

using Schemas = std::map<std::string, Payload>;
using Strings = std::vector<std::string>;

constexpr int DEPTH = 3;
constexpr std::string_view DEFINITIONS = "#/$defs/";

/// The parts of a JSON Schema that a short text shows.
struct SchemaView {
    std::optional<std::string> type;
    std::optional<std::string> reference;
    Schemas properties;
    std::optional<Payload> items;
    std::optional<Payload> others;
    Strings names;
    std::vector<Payload> anyOf;
    Schemas definitions;
};
KOVA_FIELDS(SchemaView, type, as("$ref", reference), optional(properties), items,
            as("additionalProperties", others), optional(as("enum", names)), optional(anyOf),
            optional(as("$defs", definitions)))

std::string joined(const Strings& texts, char const* separator) {
    std::string result;
    for (const std::string& text : texts) {
        result += (result.empty() ? "" : separator) + text;
    }
    return result;
}

/// Prints a schema. References in the schema refer to definitions of the root schema.
class Printer {
public:
    explicit Printer(Schemas definitions) : definitions_(std::move(definitions)) {}

    std::string print(const Payload& schema, int depth) const {
        const auto view = kit::fromPayload<SchemaView>(schema);
        return view && depth > 0 ? print(*view, depth - 1) : "any";
    }

private:
    std::string print(const SchemaView& schema, int depth) const {
        if (schema.reference) {
            return printReference(*schema.reference, depth);
        }
        if (!schema.names.empty()) {
            return joined(schema.names, " | ");
        }
        if (schema.items) {
            return print(*schema.items, depth) + "[]";
        }
        if (!schema.properties.empty()) {
            Strings names;
            for (const auto& property : schema.properties) {
                names.push_back(property.first);
            }
            return "{" + joined(names, ", ") + "}";
        }
        if (!schema.anyOf.empty()) {
            return printAlternatives(schema.anyOf, depth);
        }
        if (schema.others && schema.type == "object") {
            return "{*: " + print(*schema.others, depth) + "}";
        }
        return schema.type.value_or("any");
    }

    std::string printReference(std::string_view reference, int depth) const {
        const bool isDefinition = reference.substr(0, DEFINITIONS.size()) == DEFINITIONS;
        const auto found =
            isDefinition ? definitions_.find(std::string(reference.substr(DEFINITIONS.size())))
                         : definitions_.end();
        return found == definitions_.end() ? "any" : print(found->second, depth);
    }

    std::string printAlternatives(const std::vector<Payload>& schemas, int depth) const {
        Strings types;
        for (const Payload& schema : schemas) {
            types.push_back(print(schema, depth));
        }
        return joined(types, " | ");
    }

    const Schemas definitions_;
};

}  // namespace

std::string typeText(const Payload& schema) {
    const auto root = kit::fromPayload<SchemaView>(schema);
    return root ? Printer(root->definitions).print(schema, DEPTH) : "any";
}

}  // namespace kova::tool
