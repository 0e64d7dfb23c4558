#include "MockDocument.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SchemaText.h"
#include "tool/JsonTree.h"

namespace kova::tool {
namespace {

using test::messageOf;
using test::openApi;
using test::operation;
using test::quoted;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr char const* SEVERAL = "'description': 'One or more segments of the path'";

// A path that clients read, with the schema of its value and of its parameters.
std::string path(const std::string& text, const std::string& value,
                 const std::string& parameters = "", const std::string& rest = "") {
    std::string list;
    std::size_t end = 0;
    for (std::size_t at = text.find('{'); at != std::string::npos; at = text.find('{', end)) {
        end = text.find('}', at);
        list += (list.empty() ? "" : ", ") + std::string("{'in': 'path', 'name': '") +
                text.substr(at + 1, end - at - 1) + "'" +
                (parameters.empty() ? "" : ", 'schema': " + parameters) +
                (rest.empty() ? "" : ", " + rest) + "}";
    }
    return "'" + text + "': {'parameters': [" + list + "], 'get': " + operation("", value) + "}";
}

MockDocument parsed(const std::string& paths, const std::string& schemas = "{}") {
    return MockDocument::parse(openApi("{" + paths + "}", schemas)).orThrow();
}

std::vector<std::string> matchesOf(const MockDocument& document, const std::string& request) {
    std::vector<std::string> result;
    for (MockPath const* const each : document.match(segmentsOf(request))) {
        result.push_back(each->segments.empty() ? "/" : each->segments.back().text);
    }
    return result;
}

TEST(MockDocumentTest, DocumentHasATitleAndAVersion) {
    const std::string text = openApi("{}");
    const MockDocument document = MockDocument::parse(text).orThrow();
    EXPECT_EQ(document.title(), "player");
    EXPECT_EQ(document.version(), "1.2.0");
    EXPECT_EQ(document.text(), text);
    EXPECT_EQ(MockDocument::parse(quoted("{'openapi': '3.1.0', 'paths': {}}")).orThrow().title(),
              "");
}

TEST(MockDocumentTest, TextThatIsNoDocumentIsRefused) {
    struct Row {
        std::string text;
        char const* message;
    };
    for (const Row& row :
         {Row{"", "the document is not JSON: "},
          {"{\"a\": }", "the document is not JSON: "},
          {"[]", "openapi: expected a version 3.1, found nothing"},
          {quoted("{'openapi': '3.0.3'}"), "openapi: expected a version 3.1, found \"3.0.3\""},
          {quoted("{'openapi': '3.1.0'}"), "paths: expected an object, found nothing"},
          {std::string(100000, '['), "the document is not JSON: "}}) {
        EXPECT_THAT(messageOf(MockDocument::parse(row.text)), StartsWith(row.message)) << row.text;
    }
}

TEST(MockDocumentTest, SizeIsBounded) {
    std::string text = openApi("{}");
    text.append(MockDocument::MOST_BYTES - text.size(), ' ');
    EXPECT_EQ(messageOf(MockDocument::parse(text)), "");
    EXPECT_EQ(messageOf(MockDocument::parse(text + " ")),
              "the document has more than 16777216 bytes");
}

TEST(MockDocumentTest, SegmentsAreThePartsOfAPath) {
    EXPECT_THAT(segmentsOf(""), IsEmpty());
    EXPECT_THAT(segmentsOf("a"), ElementsAre("a"));
    EXPECT_THAT(segmentsOf("a//b/"), ElementsAre("a", "", "b", ""));
}

TEST(MockDocumentTest, RequestMatchesPathsInTheOrderOfPreference) {
    const MockDocument document =
        parsed(path("/", "{}") + ", " + path("/a/b", "{}") + ", " + path("/a/{text}", "{}") + ", " +
               path("/a/{number}", "{}", "{'type': 'integer', 'minimum': 0}") + ", " +
               path("/a/{rest}", "{}", "", SEVERAL) + ", " +
               path("/c/{colour}", "{}", "{'enum': ['red', 'blue']}"));
    struct Row {
        char const* request;
        std::vector<std::string> paths;
    };
    for (const Row& row : {Row{"", {"/"}},
                           {"a/b", {"b", "text", "rest"}},
                           {"a/7", {"number", "text", "rest"}},
                           {"a/-7", {"text", "rest"}},
                           {"a/7.0", {"text", "rest"}},
                           {"a/ 7", {"text", "rest"}},
                           {"a/007", {"text", "rest"}},
                           {"a/99999999999999999999", {"text", "rest"}},
                           {"a/x/y", {"rest"}},
                           {"a", {}},
                           {"a/", {}},
                           {"a//y", {}},
                           {"c/red", {"colour"}},
                           {"c/green", {}},
                           {"c/red/red", {}},
                           {"c/\xFF", {}}}) {
        EXPECT_EQ(matchesOf(document, row.request), row.paths) << row.request;
    }
}

TEST(MockDocumentTest, ValueCanBeAPartOfTheValueAbove) {
    struct Row {
        std::string outer;
        std::string inner;
        std::string parameter;
        bool isPart;
    };
    const std::string list = "{'type': 'array', 'items': {'type': 'string'}}";
    const std::string map = "{'type': 'object', 'additionalProperties': {'type': 'string'}}";
    for (const Row& row : {Row{"{}", "{'type': 'string'}", "", true},
                           {list, "{'type': 'string'}", "{'type': 'integer'}", true},
                           {"{'$ref': '#/components/schemas/List'}", "{'type': 'string'}",
                            "{'type': 'integer'}", true},
                           {list, "{'type': 'string'}", "{'type': 'string'}", false},
                           {list, "{'type': 'null'}", "{'type': 'integer'}", false},
                           {map, "{'type': 'string'}", "{'type': 'string'}", true},
                           {map, "{'type': 'string'}", "{'type': 'integer'}", false},
                           {"{'type': 'string'}", "{'type': 'string'}", "", false}}) {
        const MockDocument document =
            parsed(path("/a", row.outer) + ", " + path("/a/{x}", row.inner, row.parameter),
                   "{'List': " + list + "}");
        ASSERT_EQ(document.paths()[1].segments.size(), 2U);
        EXPECT_EQ(document.paths()[1].owner, row.isPart ? 0U : 1U) << row.outer << row.parameter;
        EXPECT_EQ(document.paths()[0].owner, 0U);
    }
}

TEST(MockDocumentTest, PartsOfPartsHaveTheSameOwner) {
    const MockDocument document =
        parsed(path("/a", "{}") + ", " + path("/a/{x}", "{}") + ", " + path("/a/{x}/{y}", "{}"));
    EXPECT_EQ(document.paths()[2].segments.size(), 3U);
    EXPECT_EQ(document.paths()[2].owner, 0U);
}

TEST(MockDocumentTest, StreamsAndPathsBelowPathsWithoutAValueAreNotParts) {
    const MockDocument document =
        parsed("'/a': {}, " + path("/a/{x}", "{}") + ", " + path("/b", "{}") +
               ", '/b/{x}': {'get': " + operation("", "{}", "2XX", true) +
               "}, '/c': {'get': " + operation("", "") + "}, " + path("/c/{x}", "{}") +
               ", '/d': {'put': " + operation("{}", "") +
               "}, '/d/{x}': {'delete': " + operation("", "") + "}");
    std::vector<std::size_t> owners;
    for (const MockPath& each : document.paths()) {
        owners.push_back(each.owner);
    }
    EXPECT_THAT(owners, ElementsAre(0, 1, 2, 3, 4, 5, 6, 6));
}

TEST(MockDocumentTest, InspectionShowsTheOperations) {
    const std::string volume = "{'$ref': '#/components/schemas/Volume'}";
    const MockDocument document =
        parsed(path("/", "{'type': 'array', 'items': {'type': 'string'}}") +
                   ", '/v': {'get': " + operation("", volume, "2XX", true) +
                   ", 'put': " + operation(volume, "") + "}, " + path("/t/{name}", "{}") + ", " +
                   path("/n/{id}", volume, "{'type': 'integer'}") + ", " +
                   path("/r/{all}", "{}", "", SEVERAL) +
                   ", '/e': {'get': {'responses': {'200': {'content': {'application/json': {}}}}}}",
               "{'Volume': {'properties': {'level': {'$ref': '#/components/schemas/Level'}, "
               "'next': {'$ref': "
               "'#/components/schemas/Volume'}}}, 'Level': {'type': 'integer'}}");
    const kit::MountView mount = document.mount();
    EXPECT_EQ(mount.path, "/");
    std::vector<std::string> shown;
    for (const kit::OperationView& each : mount.operations) {
        shown.push_back(each.path + " " + each.command + (each.streams ? " streams" : ""));
        for (const auto& [name, schema] : each.schemas) {
            shown.back() += " " + name + ": " + typeText(schema);
        }
    }
    EXPECT_THAT(
        shown,
        ElementsAre(" retrieve value: string[]", "e retrieve value: any",
                    "n/{id:int} retrieve value: {level, next}", "r/{all:rest} retrieve value: any",
                    "t/{name} retrieve value: any", "v retrieve streams value: {level, next}",
                    "v update body: {level, next}"));
}

TEST(MockDocumentTest, SchemasBeyondTheLimitAreLeftOut) {
    const std::string large = "{'description': '" + std::string(std::size_t{1} << 20U, 'a') + "'}";
    std::string paths;
    for (int i = 0; i < 40; ++i) {
        paths += (i == 0 ? "" : ", ") +
                 path("/p" + std::to_string(10 + i), "{'$ref': '#/components/schemas/Large'}");
    }
    const MockDocument document = parsed(paths, "{'Large': " + large + "}");
    const kit::MountView mount = document.mount();
    ASSERT_EQ(mount.operations.size(), 40U);
    EXPECT_EQ(mount.operations[15].schemas.size(), 1U);
    EXPECT_EQ(mount.operations[16].schemas.size(), 0U);
}

}  // namespace
}  // namespace kova::tool
