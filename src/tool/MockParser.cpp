#include "MockParser.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "JsonNode.h"
#include "SchemaForm.h"
#include "Text.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/StatusCodes.h"
#include "kova/kit/Command.h"

namespace kova::tool {

namespace {

using Kind = MockSegment::Kind;

constexpr char const* EVENT_STREAM = "text/event-stream";
constexpr std::string_view SEVERAL_SEGMENTS = "One or more segments of the path";
constexpr std::array<char const*, 3> MEDIA_TYPES = {mimetypes::JSON_TYPE, mimetypes::AXOBIN_TYPE,
                                                    EVENT_STREAM};

/// A member of a path, and the command that it becomes.
struct MemberRow {
    std::string_view name;
    std::string_view command;  // "" for a member that is not a method of the mock
};

// An endpoint itself answers head and options.
constexpr std::array<MemberRow, 11> MEMBERS = {{{"get", kit::command::retrieve},
                                                {"put", kit::command::update},
                                                {"post", kit::command::insert},
                                                {"delete", kit::command::remove},
                                                {"head", ""},
                                                {"options", ""},
                                                {"description", ""},
                                                {"parameters", ""},
                                                {"servers", ""},
                                                {"summary", ""},
                                                {"x-kova-operations", ""}}};

struct CodeRow {
    std::string_view text;
    unsigned short withValue;
    unsigned short withoutValue;
};

constexpr std::array<CodeRow, 5> CODES = {{{"200", 200, 204},
                                           {"201", 201, 201},
                                           {"202", 202, 202},
                                           {"204", 200, 204},
                                           {"2XX", 200, 204}}};

std::optional<unsigned> hexOf(std::string_view text, std::size_t at) {
    constexpr std::string_view DIGITS = "0123456789ABCDEF0123456789abcdef";
    const std::size_t digit = at < text.size() ? DIGITS.find(text[at]) : std::string_view::npos;
    return digit == std::string_view::npos ? std::nullopt
                                           : std::optional(static_cast<unsigned>(digit % 16));
}

// Returns the text without percent-encoding, or nothing if it is malformed.
std::optional<std::string> decoded(std::string_view text) {
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '%') {
            result += text[at];
            continue;
        }
        const auto high = hexOf(text, at + 1);
        const auto low = hexOf(text, at + 2);
        if (!high || !low) {
            return std::nullopt;
        }
        result += static_cast<char>(*high * 16 + *low);
        at += 2;
    }
    return result;
}

bool isParameter(std::string_view segment) {
    return segment.size() > 2 && segment.front() == '{' &&
           segment.find_first_of("{}", 1) == segment.size() - 1;
}

// Compares by preference. Paths that match the same requests are equal.
bool isPreferred(const MockPath& left, const MockPath& right) {
    return std::lexicographical_compare(
        left.segments.begin(), left.segments.end(), right.segments.begin(), right.segments.end(),
        [](const MockSegment& a, const MockSegment& b) {
            const bool areTexts = a.kind == Kind::literal && b.kind == Kind::literal;
            return areTexts ? a.text < b.text : a.kind < b.kind;
        });
}

// Returns the text of a path for messages.
std::string nameOf(const MockPath& path) {
    std::string result;
    for (const MockSegment& segment : path.segments) {
        const bool isLiteral = segment.kind == Kind::literal;
        result += isLiteral ? "/" : "/{";
        result += segment.text;
        result += isLiteral ? "" : "}";
    }
    return visible(result);
}

}  // namespace

bool MockParser::fail(Place place, const std::string& reason) {
    error_ = {statuscodes::BAD_REQUEST, visible(place) + ": " + reason};
    return false;
}

bool MockParser::unexpected(Place place, const std::string& expected, const Value& found) {
    return fail(place, "expected " + expected + ", found " + shown(found));
}

bool MockParser::accept(const kit::Result<void>& result) {
    if (!result) {
        error_ = {result.error().code, visible(result.error().message)};
    }
    return result.ok();
}

kit::Result<std::vector<MockPath>> MockParser::run() {
    const Value& paths = root_["paths"];
    if (!paths.isDictionary()) {
        unexpected("paths", "an object", paths);
        return error_;
    }
    bool isRead = accept(validateComponents(rules_.components(), "components.schemas"));
    for (auto at = paths.begin(); at != paths.end() && isRead; ++at) {
        const std::string text((*at).first);
        if (text.compare(0, 2, "x-") != 0) {
            isRead = readPath(text, *(*at).second, placeOf("paths", text));
        }
    }
    std::sort(paths_.begin(), paths_.end(), isPreferred);
    for (std::size_t i = 1; i < paths_.size() && isRead; ++i) {
        if (!isPreferred(paths_[i - 1], paths_[i])) {
            isRead = fail("paths", nameOf(paths_[i - 1]) + " and " + nameOf(paths_[i]) +
                                       " match the same requests");
        }
    }
    if (!isRead) {
        return error_;
    }
    return std::move(paths_);
}

bool MockParser::readPath(const std::string& text, const Value& item, Place place) {
    if (!item.isDictionary()) {
        return unexpected(place, "an object", item);
    }
    if (paths_.size() == MockDocument::MOST_PATHS) {
        return fail(place, "more than " + std::to_string(MockDocument::MOST_PATHS) + " paths");
    }
    MockPath path;
    if (!readSegments(text, path, place) || !readParameters(item["parameters"], path, place)) {
        return false;
    }
    bool isRead = true;
    for (auto at = item.begin(); at != item.end() && isRead; ++at) {
        const std::string name((*at).first);
        isRead = readMember(name, *(*at).second, path, placeOf(place, name));
    }
    paths_.push_back(std::move(path));
    return isRead;
}

bool MockParser::readSegments(const std::string& text, MockPath& path, Place place) {
    if (text.empty() || text[0] != '/') {
        return fail(place, "a path begins with '/'");
    }
    for (const std::string& segment : segmentsOf(std::string_view(text).substr(1))) {
        const auto literal = decoded(segment);
        const bool isLiteral = segment.find_first_of("{}") == std::string::npos;
        const bool isName = literal && !literal->empty() && *literal != "." && *literal != ".." &&
                            literal->find('/') == std::string::npos;
        if (isLiteral ? !isName : !isParameter(segment)) {
            return fail(place, "the segment '" + visible(segment) +
                                   "' is neither a name nor a parameter such as {id}");
        }
        path.segments.emplace_back();
        path.segments.back().kind = isLiteral ? Kind::literal : Kind::text;
        path.segments.back().text = isLiteral ? *literal : segment.substr(1, segment.size() - 2);
    }
    if (path.segments.size() <= MockDocument::MOST_SEGMENTS) {
        return true;
    }
    return fail(place, "more than " + std::to_string(MockDocument::MOST_SEGMENTS) + " segments");
}

bool MockParser::readParameters(const Value& parameters, MockPath& path, Place place) {
    bool isRead = true;
    for (unsigned long i = 0; i < parameters.arraySize() && isRead; ++i) {
        isRead = readParameter(parameters[i], path, placeOf(placeOf(place, "parameters"), i));
    }
    return isRead;
}

// Reads a parameter of the path. Others are ignored, because kova has no others.
bool MockParser::readParameter(const Value& parameter, MockPath& path, Place place) {
    if (!parameter.isDictionary() || parameter.hasKey("$ref")) {
        return unexpected(place, "a parameter without a reference", parameter);
    }
    if (textOf(parameter["in"]) != "path") {
        return true;
    }
    const auto segment = std::find_if(path.segments.begin(), path.segments.end(),
                                      [name = textOf(parameter["name"])](const MockSegment& each) {
                                          return each.kind != Kind::literal && each.text == name;
                                      });
    if (segment == path.segments.end()) {
        return unexpected(placeOf(place, "name"), "a name in the path", parameter["name"]);
    }
    const Value& schema = parameter["schema"];
    const std::string below = placeOf(place, "schema");
    if (!schema.isUndefined() && !accept(validateSchema(schema, rules_.components(), below))) {
        return false;
    }
    segment->schema = &schema;
    const bool isRest =
        textOf(parameter["description"]) == SEVERAL_SEGMENTS && &*segment == &path.segments.back();
    const bool isNumber = textOf(rules_.followed(schema)["type"]) == "integer";
    segment->kind = isNumber ? Kind::number : isRest ? Kind::rest : Kind::text;
    return true;
}

bool MockParser::readMember(const std::string& name, const Value& content, MockPath& path,
                            Place place) {
    const auto* const row = std::find_if(MEMBERS.begin(), MEMBERS.end(),
                                         [&](const auto& each) { return each.name == name; });
    if (row == MEMBERS.end()) {
        if (name.compare(0, 2, "x-") == 0) {
            return true;
        }
        return fail(place, "the member is not supported");
    }
    if (name == "x-kova-operations") {
        noteOthers(content);
    }
    if (row->command.empty()) {
        return true;
    }
    MockMethod& method = path.methods[std::string(row->command)];
    return readParameters(content["parameters"], path, place) && readMethod(content, method, place);
}

void MockParser::noteOthers(const Value& operations) {
    for (unsigned long i = 0; i < operations.arraySize(); ++i) {
        unserved_.push_back(textOf(operations[i]["command"]) + " " + textOf(operations[i]["path"]));
    }
}

bool MockParser::readMethod(const Value& content, MockMethod& method, Place place) {
    const Value& body = content["requestBody"];
    if (!content.isDictionary()) {
        return unexpected(place, "an object", content);
    }
    if (!body.isUndefined() && !readBody(body, method, placeOf(place, "requestBody"))) {
        return false;
    }
    return readAnswer(content["responses"], method, placeOf(place, "responses"));
}

bool MockParser::readBody(const Value& body, MockMethod& method, Place place) {
    Value const* media = nullptr;
    method.needsBody = body["required"] == *Value::getBool(true);
    return readSchema(body["content"], placeOf(place, "content"), method.body, media);
}

bool MockParser::readAnswer(const Value& responses, MockMethod& method, Place place) {
    const auto answer = std::find_if(responses.begin(), responses.end(), [](const auto& each) {
        return std::string_view(each.first).substr(0, 1) == "2";
    });
    if (answer == responses.end()) {
        return unexpected(place, "an answer with a code 2XX", responses);
    }
    const std::string text((*answer).first);
    const std::string below = placeOf(place, text);
    const auto* const row = std::find_if(CODES.begin(), CODES.end(),
                                         [&](const auto& each) { return each.text == text; });
    if (row == CODES.end()) {
        return fail(below, "the code is not 200, 201, 202, 204 or 2XX");
    }
    const Value& response = *(*answer).second;
    if (!response.isDictionary() || response.hasKey("$ref")) {
        return unexpected(below, "an answer without a reference", response);
    }
    const Value& content = response["content"];
    const bool hasValue = content.begin() != content.end();
    method.code = hasValue ? row->withValue : row->withoutValue;
    if (!hasValue) {
        return true;
    }
    return readValue(content, method, placeOf(below, "content"));
}

bool MockParser::readValue(const Value& content, MockMethod& method, Place place) {
    Value const* media = nullptr;
    method.streams = content.hasKey(EVENT_STREAM);
    return readSchema(content, place, method.value, media) && makeFirst(*media, method, place);
}

bool MockParser::readSchema(const Value& content, Place place, Value const*& schema,
                            Value const*& media) {
    const auto* const type = std::find_if(MEDIA_TYPES.begin(), MEDIA_TYPES.end(),
                                          [&](char const* each) { return content.hasKey(each); });
    if (type == MEDIA_TYPES.end()) {
        return fail(place, std::string("expected the type ") + mimetypes::JSON_TYPE);
    }
    media = &content[*type];
    schema = &(*media)["schema"];
    if (schema->isUndefined()) {
        return true;
    }
    const std::string below = placeOf(placeOf(place, *type), "schema");
    return accept(validateSchema(*schema, rules_.components(), below));
}

// Stores the example of the media type, or a value for the schema.
bool MockParser::makeFirst(const Value& media, MockMethod& method, Place place) {
    const Value& examples = media["examples"];
    Value const* example = &media["example"];
    if (examples.begin() != examples.end()) {
        example = &(*(*examples.begin()).second)["value"];
    }
    kit::Tree made;
    if (example->isUndefined()) {
        auto value = values_.make(*method.value);
        if (!value) {
            return fail(place, value.error().message + "; an example helps");
        }
        made = *std::move(value);
        example = made.get();
    }
    if (const auto result = rules_.check(*method.value, *example); !result) {
        return fail(place, "the example does not fit the schema: " + result.error().message);
    }
    method.first = Payload::createFromJSON(example->toJson(true));
    return true;
}

}  // namespace kova::tool
