#include "MockDocument.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <set>
#include <utility>

#include "JsonNode.h"
#include "MockParser.h"
#include "SchemaForm.h"
#include "kova/core/StatusCodes.h"
#include "kova/kit/Command.h"
#include "kova/kit/Values.h"

namespace kova::tool {

namespace {

using util::config::Value;
using Kind = MockSegment::Kind;

// --- Requests ------------------------------------------------------------------------------------

// Returns the value of a parameter, or null if the text cannot be one.
kit::Tree parameterOf(Kind kind, const std::string& text) {
    auto node = kind == Kind::number ? kit::fromPayload<kit::Tree>(Payload::createFromJSON(text))
                                     : kit::toTree(text);
    const bool isValid =
        node && (kind != Kind::number ||
                 ((*node)->isInt() && text.find_first_not_of("-0123456789") == std::string::npos));
    return isValid ? *std::move(node) : nullptr;
}

bool matches(const SchemaRules& rules, const MockSegment& segment, const std::string& text) {
    if (segment.kind == Kind::literal) {
        return segment.text == text;
    }
    const kit::Tree node = parameterOf(segment.kind, text);
    return node && rules.check(*segment.schema, *node);
}

bool matches(const SchemaRules& rules, const MockPath& path,
             const std::vector<std::string>& segments) {
    const std::size_t count = path.segments.size();
    const bool isOpen = count != 0 && path.segments.back().kind == Kind::rest;
    if (segments.size() < count || (segments.size() > count && !isOpen)) {
        return false;
    }
    return std::equal(path.segments.begin(), path.segments.end(), segments.begin(),
                      [&](const MockSegment& segment, const std::string& text) {
                          return matches(rules, segment, text);
                      });
}

// --- Values that are parts of other values -------------------------------------------------------

// The segments of a path in a form in which paths that match the same requests are equal.
using Shape = std::vector<std::pair<Kind, std::string>>;

Shape shapeOf(const MockPath& path, std::size_t count) {
    Shape shape;
    for (std::size_t i = 0; i < count; ++i) {
        const MockSegment& segment = path.segments[i];
        shape.emplace_back(segment.kind, segment.kind == Kind::literal ? segment.text : "");
    }
    return shape;
}

// Returns the schema of the value that a client reads or writes, or null.
Value const* schemaOf(const MockPath& path) {
    const auto read = path.methods.find(kit::command::retrieve);
    if (read != path.methods.end() && read->second.value != nullptr) {
        return read->second.value;
    }
    const auto written = path.methods.find(kit::command::update);
    return written == path.methods.end() ? nullptr : written->second.body;
}

bool canStream(const MockPath& path) {
    return std::any_of(path.methods.begin(), path.methods.end(),
                       [](const auto& method) { return method.second.streams; });
}

// Returns whether the values of `part` are parts of the values of `whole`.
bool contains(const SchemaRules& rules, const MockPath& whole, const MockPath& part) {
    Value const* const outer = schemaOf(whole);
    Value const* const inner = schemaOf(part);
    if (outer == nullptr || canStream(part)) {
        return false;
    }
    const Value& schema = rules.followed(*outer);
    if (acceptsAll(schema)) {
        return true;
    }
    const bool isElement = part.segments.back().kind == Kind::number;
    const Value& parts = schema[isElement ? "items" : "additionalProperties"];
    return inner != nullptr && parts.isDictionary() && parts == *inner;
}

// --- The view of the inspection ------------------------------------------------------------------

// The path below "/" in the form in which services show it.
std::string templateOf(const MockPath& path) {
    std::string result;
    for (const MockSegment& segment : path.segments) {
        constexpr char const* SUFFIXES[] = {"", ":int", "", ":rest"};
        const bool isLiteral = segment.kind == Kind::literal;
        result += result.empty() ? "" : "/";
        result += isLiteral
                      ? segment.text
                      : "{" + segment.text + SUFFIXES[static_cast<std::size_t>(segment.kind)] + "}";
    }
    return result;
}

// References are found as text, because quotes inside strings are escaped.
constexpr std::string_view FROM = R"("$ref":"#/components/schemas/)";
constexpr std::string_view TO = R"("$ref":"#/$defs/)";

// Returns the text of a schema with references to its own definitions. Adds their names to `names`.
std::string localText(const Value& schema, std::vector<std::string>& names) {
    std::string text = "{}";
    if (!schema.isUndefined()) {
        text = schema.toJson(true);
    }
    std::string result;
    std::size_t at = 0;
    for (std::size_t found = text.find(FROM); found != std::string::npos;
         found = text.find(FROM, at)) {
        const std::size_t begin = found + FROM.size();
        result.append(text, at, found - at);
        result += TO;
        names.push_back(text.substr(begin, text.find('"', begin) - begin));
        at = begin;
    }
    return result.append(text, at);
}

// Returns a schema that contains the definitions to which it refers.
std::string wholeText(const SchemaRules& rules, const Value& schema) {
    std::vector<std::string> names;
    std::string text = localText(schema, names);
    std::string definitions;
    std::set<std::string> known;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::string name = names[i];
        if (known.insert(name).second) {
            definitions += (definitions.empty() ? "\"" : ",\"") + name + "\":";
            definitions += localText(rules.components()[name], names);
        }
    }
    if (!definitions.empty()) {
        text.pop_back();
        text += ",\"$defs\":{" + definitions + "}}";
    }
    return text;
}

}  // namespace

std::vector<std::string> segmentsOf(std::string_view path) {
    std::vector<std::string> segments;
    for (std::size_t at = 0; !path.empty() && at <= path.size();) {
        const std::size_t end = std::min(path.find('/', at), path.size());
        segments.emplace_back(path.substr(at, end - at));
        at = end + 1;
    }
    return segments;
}

MockDocument::MockDocument(kit::Tree root, std::string text)
    : root_(std::move(root)), text_(std::move(text)), rules_((*root_)["components"]["schemas"]) {}

kit::Result<MockDocument> MockDocument::parse(const std::string& text) {
    const auto refuse = [](const std::string& reason) {
        return kit::Error{statuscodes::BAD_REQUEST, reason};
    };
    if (text.size() > MOST_BYTES) {
        return refuse("the document has more than " + std::to_string(MOST_BYTES) + " bytes");
    }
    kit::Limits limits;
    limits.elements = MOST_BYTES;
    auto root = kit::fromPayload<kit::Tree>(Payload::createFromJSON(text), limits);
    if (!root) {
        return refuse("the document is not JSON: " + root.error().message);
    }
    if (textOf((**root)["openapi"]).compare(0, 4, "3.1.") != 0) {
        return refuse("openapi: expected a version 3.1, found " + shown((**root)["openapi"]));
    }
    MockDocument document(*std::move(root), text);
    MockParser parser(*document.root_, document.rules_);
    auto paths = parser.run();
    if (!paths) {
        return paths.error();
    }
    document.paths_ = *std::move(paths);
    document.unserved_ = parser.unserved();
    document.findOwners();
    return document;
}

std::string MockDocument::title() const {
    return textOf((*root_)["info"]["title"]);
}

std::string MockDocument::version() const {
    return textOf((*root_)["info"]["version"]);
}

void MockDocument::findOwners() {
    std::map<Shape, std::size_t> places;
    std::vector<std::size_t> order(paths_.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [this](std::size_t left, std::size_t right) {
        return paths_[left].segments.size() < paths_[right].segments.size();
    });
    for (const std::size_t place : order) {
        MockPath& path = paths_[place];
        const std::size_t count = path.segments.size();
        path.owner = place;
        places.emplace(shapeOf(path, count), place);
        const bool isBelow = count != 0 && path.segments.back().kind != Kind::literal;
        const auto outer = isBelow ? places.find(shapeOf(path, count - 1)) : places.end();
        if (outer != places.end() && contains(rules_, paths_[outer->second], path)) {
            path.owner = paths_[outer->second].owner;
        }
    }
}

std::vector<MockPath const*> MockDocument::match(const std::vector<std::string>& segments) const {
    std::vector<MockPath const*> result;
    const bool hasEmpty = std::find(segments.begin(), segments.end(), "") != segments.end();
    for (const MockPath& path : paths_) {
        if (!hasEmpty && matches(rules_, path, segments)) {
            result.push_back(&path);
        }
    }
    return result;
}

kit::MountView MockDocument::mount() const {
    kit::MountView view{"/", {}};
    std::size_t bytes = 0;
    const auto add = [&](kit::OperationView& operation, char const* name, Value const* schema) {
        if (schema != nullptr && bytes <= MOST_BYTES) {
            const std::string text = wholeText(rules_, *schema);
            bytes += text.size();
            operation.schemas[name] = Payload::createFromJSON(text);
        }
    };
    for (const MockPath& path : paths_) {
        for (const auto& [command, method] : path.methods) {
            kit::OperationView operation{command, templateOf(path), method.streams, {}};
            add(operation, "body", method.body);
            add(operation, "value", method.value);
            view.operations.push_back(std::move(operation));
        }
    }
    return view;
}

}  // namespace kova::tool
