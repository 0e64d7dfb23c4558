#include "MockParser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MockDocument.h"
#include "tool/JsonTree.h"

namespace kova::tool {
namespace {

using test::messageOf;
using test::openApi;
using test::operation;
using test::quoted;
using test::textOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using Kind = MockSegment::Kind;

MockDocument parsed(const std::string& paths, const std::string& schemas = "{}") {
    return MockDocument::parse(openApi(paths, schemas)).orThrow();
}

std::string refusalOf(const std::string& paths, const std::string& schemas = "{}") {
    return messageOf(MockDocument::parse(openApi(paths, schemas)));
}

std::string getOf(const std::string& operation) {
    return "{'/a': {'get': " + operation + "}}";
}

TEST(MockParserTest, MethodsBecomeCommands) {
    const MockDocument document =
        parsed("{'/a': {'get': " + operation("", "{'type': 'integer'}", "2XX", true) + ", 'put': " +
               operation("{'type': 'integer'}", "") + ", 'post': " + operation("{}", "{}", "201") +
               ", 'delete': " + operation("", "", "204") +
               ", 'head': 1, 'options': 2, 'summary': 3, 'x-note': 4}, 'x-other': 5}");
    ASSERT_EQ(document.paths().size(), 1U);
    const auto& methods = document.paths()[0].methods;
    ASSERT_EQ(methods.size(), 4U);
    EXPECT_EQ(textOf(methods.at("retrieve").first), "0");
    EXPECT_TRUE(methods.at("retrieve").streams);
    EXPECT_EQ(methods.at("retrieve").code, 200);
    EXPECT_EQ(methods.at("retrieve").body, nullptr);
    EXPECT_NE(methods.at("update").body, nullptr);
    EXPECT_TRUE(methods.at("update").needsBody);
    EXPECT_EQ(methods.at("update").value, nullptr);
    EXPECT_EQ(methods.at("update").code, 204);
    EXPECT_EQ(methods.at("insert").code, 201);
    EXPECT_EQ(textOf(methods.at("insert").first), "{}");
    EXPECT_EQ(methods.at("delete").code, 204);
    EXPECT_TRUE(methods.at("delete").first.isEmpty());
}

TEST(MockParserTest, PathsAreDecodedAndHaveParameters) {
    const MockDocument document = parsed(
        "{'/a%20b/{name}/{id}/{rest}': {'parameters': [{'in': 'query', 'name': 'q'}, {'in': "
        "'path', "
        "'name': 'name', 'schema': {'type': 'string'}}], 'get': {'parameters': [{'in': 'path', "
        "'name': 'id', 'schema': {'$ref': '#/components/schemas/Id'}}, {'in': 'path', 'name': "
        "'rest', 'description': 'One or more segments of the path'}], 'responses': {'204': {}}}}, "
        "'/': {}}",
        "{'Id': {'type': 'integer'}}");
    ASSERT_EQ(document.paths().size(), 2U);
    EXPECT_TRUE(document.paths()[0].segments.empty());
    const auto& segments = document.paths()[1].segments;
    ASSERT_EQ(segments.size(), 4U);
    EXPECT_EQ(segments[0].kind, Kind::literal);
    EXPECT_EQ(segments[0].text, "a b");
    EXPECT_EQ(segments[1].kind, Kind::text);
    EXPECT_EQ(segments[2].kind, Kind::number);
    EXPECT_EQ(segments[3].kind, Kind::rest);
    EXPECT_EQ(segments[3].text, "rest");
}

TEST(MockParserTest, PathsAreInTheOrderOfPreference) {
    std::string paths = "{";
    for (char const* const path : {"/a/{rest}", "/a/{text}/b", "/a/{number}", "/b", "/a/b"}) {
        paths +=
            std::string(paths.size() > 1 ? ", " : "") + "'" + path + "': {'get': {'parameters': [";
        for (char const* const name : {"rest", "text", "number"}) {
            if (std::string(path).find(name) != std::string::npos) {
                paths +=
                    "{'in': 'path', 'name': '" + std::string(name) +
                    "', 'description': 'One or more segments of the path', 'schema': {'type': '" +
                    (std::string(name) == "number" ? "integer" : "string") + "'}}";
            }
        }
        paths += "], 'responses': {'204': {}}}}";
    }
    std::vector<std::string> order;
    const MockDocument document = parsed(paths + "}");
    for (const MockPath& path : document.paths()) {
        order.push_back(path.segments.back().text);
    }
    EXPECT_THAT(order, ElementsAre("b", "number", "b", "rest", "b"));
}

TEST(MockParserTest, ExamplesArePreferred) {
    for (char const* const media :
         {"{'schema': {'type': 'integer'}, 'example': 7}",
          "{'schema': {'type': 'integer'}, 'examples': {'a': {'value': 7}, 'b': {'value': 8}}}",
          "{'schema': {'default': 7}}", "{'example': 7}"}) {
        const MockDocument document = parsed(
            getOf("{'responses': {'200': {'content': {'application/json': " + std::string(media) +
                  "}}}}"));
        EXPECT_EQ(textOf(document.paths()[0].methods.at("retrieve").first), "7") << media;
    }
}

TEST(MockParserTest, BinaryAndStreamsAloneHaveSchemas) {
    for (char const* const type : {"application/vnd.axobin", "text/event-stream"}) {
        const MockDocument document =
            parsed(getOf("{'responses': {'200': {'content': {'" + std::string(type) +
                         "': {'schema': {'type': 'null'}}}}}}"));
        EXPECT_EQ(textOf(document.paths()[0].methods.at("retrieve").first), "null") << type;
    }
}

TEST(MockParserTest, OtherCommandsAreNotServed) {
    const MockDocument document =
        parsed("{'/a': {'x-kova-operations': [{'command': 'play', 'path': '/a'}]}}");
    EXPECT_THAT(document.unserved(), ElementsAre("play /a"));
}

struct Row {
    std::string paths;
    char const* message;
};

TEST(MockParserTest, PathThatAMockCannotServeIsRefused) {
    const std::string none = "{'responses': {'204': {}}}";
    for (
        const Row& row : {
            Row{"[]", "paths: expected an object, found an array"},
            {"{'a': {}}", "paths.a: a path begins with '/'"},
            {"{'': {}}", "paths.: a path begins with '/'"},
            {"{'/a': 1}", "paths./a: expected an object, found 1"},
            {"{'/a//b': {}}", "paths./a//b: the segment '' is neither a name nor a parameter"},
            {"{'/a/': {}}", "paths./a/: the segment '' is neither"},
            {"{'/..': {}}", "paths./..: the segment '..' is neither"},
            {"{'/.': {}}", "paths./.: the segment '.' is neither"},
            {"{'/a{b}': {}}", "paths./a{b}: the segment 'a{b}' is neither"},
            {"{'/{}': {}}", "paths./{}: the segment '{}' is neither"},
            {"{'/{a}{b}': {}}", "paths./{a}{b}: the segment '{a}{b}' is neither"},
            {"{'/{a': {}}", "paths./{a: the segment '{a' is neither"},
            {"{'/%': {}}", "paths./%: the segment '%' is neither"},
            {"{'/%4': {}}", "paths./%4: the segment '%4' is neither"},
            {"{'/%4g': {}}", "paths./%4g: the segment '%4g' is neither"},
            {"{'/a%2Fb': {}}", "paths./a%2Fb: the segment 'a%2Fb' is neither"},
            {"{'/{a}': {}, '/{b}': {}}", "paths: /{a} and /{b} match the same requests"},
            {"{'/%61': {}, '/a': {}}", "paths: /a and /a match the same requests"},
            {"{'/a': {'patch': {}}}", "paths./a.patch: the member is not supported"},
            {"{'/a': {'$ref': '#/b'}}", "paths./a.$ref: the member is not supported"},
            {"{'/a': {'parameters': [1]}}",
             "paths./a.parameters[0]: expected a parameter without a reference, found 1"},
            {"{'/a': {'parameters': [{'$ref': '#/b'}]}}",
             "paths./a.parameters[0]: expected a parameter without a reference"},
            {"{'/a': {'parameters': [{'in': 'path', 'name': 'a'}]}}",
             "paths./a.parameters[0].name: expected a name in the path, found \"a\""},
            {"{'/{a}': {'parameters': [{'in': 'path', 'name': 'a', 'schema': {'not': 1}}]}}",
             "paths./{a}.parameters[0].schema.not: the keyword is not supported"},
            {"{'/a': {'get': {'parameters': [1], 'responses': {'204': {}}}}}",
             "paths./a.get.parameters[0]: expected a parameter"},
            {getOf("1"), "paths./a.get: expected an object, found 1"},
            {getOf("{}"),
             "paths./a.get.responses: expected an answer with a code 2XX, found nothing"},
            {getOf("{'responses': {'404': {}, 'default': {}}}"),
             "paths./a.get.responses: expected an answer with a code 2XX, found an object"},
            {getOf("{'responses': {'206': {}}}"),
             "paths./a.get.responses.206: the code is not 200, 201, 202, 204 or 2XX"},
            {getOf("{'responses': {'200': {'$ref': '#/b'}}}"),
             "paths./a.get.responses.200: expected an answer without a reference"},
            {getOf("{'responses': {'200': 1}}"),
             "paths./a.get.responses.200: expected an answer without a reference, found 1"},
            {getOf("{'responses': {'200': {'content': {'image/png': {}}}}}"),
             "paths./a.get.responses.200.content: expected the type application/json"},
            {getOf("{'requestBody': {'$ref': '#/b'}, 'responses': {'204': {}}}"),
             "paths./a.get.requestBody.content: expected the type application/json"},
            {getOf(operation("{'pattern': 'a'}", "")),
             "paths./a.get.requestBody.content.application/json.schema.pattern: the keyword is not "
             "supported"},
            {getOf(operation("", "{'$ref': '#/components/schemas/A'}")),
             "paths./a.get.responses.2XX.content.application/json.schema.$ref: there is no schema"},
            {getOf(operation("", "{'$ref': '#/components/schemas/A'}")), "paths./a.get"},
            {getOf(operation("", "false")),
             "paths./a.get.responses.2XX.content: no value fits: expected no value, found an "
             "object; "
             "an example helps"},
            {getOf("{'responses': {'200': {'content': {'application/json': {'schema': {'type': "
                   "'null'}, 'example': 1}}}}}"),
             "paths./a.get.responses.200.content: the example does not fit the schema: expected "
             "null, found 1"},
        }) {
        EXPECT_THAT(refusalOf(row.paths), StartsWith(row.message)) << row.paths;
    }
    EXPECT_EQ(refusalOf("{}", "{'A': {'not': {}}}"),
              "components.schemas.A.not: the keyword is not supported");
}

TEST(MockParserTest, SegmentsAreBounded) {
    std::string path;
    for (std::size_t i = 0; i < MockDocument::MOST_SEGMENTS; ++i) {
        path += "/a";
    }
    EXPECT_EQ(refusalOf("{'" + path + "': {}}"), "");
    EXPECT_THAT(refusalOf("{'" + path + "/a': {}}"), HasSubstr(": more than 32 segments"));
}

TEST(MockParserTest, PathsAreBounded) {
    std::string paths = "{'/a': {}";
    for (std::size_t i = 1; i < MockDocument::MOST_PATHS; ++i) {
        paths += ", '/b" + std::to_string(i) + "': {}";
    }
    EXPECT_EQ(parsed(paths + "}").paths().size(), MockDocument::MOST_PATHS);
    EXPECT_THAT(refusalOf(paths + ", '/c': {}}"), HasSubstr(": more than 10000 paths"));
}

}  // namespace
}  // namespace kova::tool
