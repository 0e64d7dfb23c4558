#include "inspection/OpenApi.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "kova/core/MimeTypes.h"
#include "kova/kit/Command.h"
#include "kova/kit/Schema.h"

namespace kova::kit::detail {
namespace {

struct Entry {
    int level = 0;
};
KOVA_FIELDS(Entry, level)

using Object = std::map<std::string, Payload>;

Operation operation(std::string_view command, std::string path) {
    Operation result;
    result.command = command;
    result.path = std::move(path);
    return result;
}

Object membersOf(const Payload& payload) {
    return fromPayload<Object>(payload).orThrow();
}

std::vector<std::string> namesOf(const Object& object) {
    std::vector<std::string> names;
    for (const auto& member : object) {
        names.push_back(member.first);
    }
    return names;
}

std::string textOf(const Payload& payload) {
    std::string text;
    EXPECT_FALSE(Payload::createStringFrom(payload, text, true));
    return text;
}

class OpenApiTest : public ::testing::Test {
protected:
    Object document() const {
        return membersOf(openApi("player", "1.2.0", mounts, mimetypes::JSON_TYPE).orThrow());
    }
    Object paths() const { return membersOf(document().at("paths")); }
    /// Returns one part of the description of a method as text.
    std::string part(const std::string& path, const std::string& method,
                     const std::string& name) const {
        return textOf(membersOf(membersOf(paths().at(path)).at(method)).at(name));
    }
    void mount(const std::string& path, std::vector<Operation> operations) {
        mounts.push_back({path, std::move(operations)});
    }

    std::vector<MountInfo> mounts;
};

using Names = std::vector<std::string>;

TEST_F(OpenApiTest, DocumentContainsTheServiceNameAndVersion) {
    EXPECT_EQ(textOf(document().at("openapi")), R"("3.1.0")");
    EXPECT_EQ(textOf(document().at("info")), R"({"title":"player","version":"1.2.0"})");
    EXPECT_EQ(textOf(document().at("paths")), "{}");
}

TEST_F(OpenApiTest, CommandsBecomeMethods) {
    mount("/list", {operation(command::retrieve, ""), operation(command::update, ""),
                    operation(command::insert, ""), operation(command::remove, "")});
    EXPECT_EQ(namesOf(membersOf(paths().at("/list"))), (Names{"delete", "get", "post", "put"}));
}

TEST_F(OpenApiTest, NonStandardCommandsAreListedSeparately) {
    mount("/list", {operation("scan", "{id}")});
    EXPECT_EQ(textOf(paths().at("/list/{id}")),
              R"({"x-kova-operations":[{"command":"scan","path":"/list/{id}"}]})");
}

TEST_F(OpenApiTest, OperationOfAPathWithoutNamesHasNoParameters) {
    mount("/list", {operation(command::retrieve, "")});
    EXPECT_EQ(namesOf(membersOf(membersOf(paths().at("/list")).at("get"))), Names{"responses"});
}

struct PathRow {
    char const* name;
    char const* mount;
    char const* below;
    char const* path;
};

constexpr PathRow PATHS[] = {
    {"Root", "/", "", "/"},
    {"BelowTheRoot", "/", "{id}", "/{id}"},
    {"Mount", "/a/b", "", "/a/b"},
    {"Kinds", "/a", "{i:uint}/x/{j:int}/{k:text}/{l:rest}", "/a/{i}/x/{j}/{k}/{l}"},
    {"NamesThatLookTheSame", "/a", "{\xFE}/{\xFF}", "/a/{\xEF\xBF\xBD}/{\xEF\xBF\xBD_}"},
    {"Hostile", "/a\"<script>\xFF{}", "q?#%", "/a%22%3Cscript%3E%FF%7B%7D/q%3F%23%25"},
    {"HostileName", "/a", "{\"<\xFF>}", "/a/{\"<\xEF\xBF\xBD>}"}};

class OpenApiPaths : public OpenApiTest, public ::testing::WithParamInterface<PathRow> {};

TEST_P(OpenApiPaths, MountsAndTemplatesBecomeUrlPaths) {
    mount(GetParam().mount, {operation(command::retrieve, GetParam().below)});
    EXPECT_EQ(namesOf(paths()), Names{GetParam().path});
}

INSTANTIATE_TEST_SUITE_P(OpenApiTest, OpenApiPaths, ::testing::ValuesIn(PATHS),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(OpenApiTest, SchemaOfAParameterDependsOnItsKind) {
    mount("/a", {operation(command::retrieve, "{i:uint}/{j:int}/{k}/{l:rest}")});
    EXPECT_EQ(part("/a/{i}/{j}/{k}/{l}", "get", "parameters"),
              R"([{"name":"i","in":"path","required":true,"schema":)"
              R"({"maximum":18446744073709551615,"minimum":0,"type":"integer"}},)"
              R"({"name":"j","in":"path","required":true,"schema":)"
              R"({"maximum":9223372036854775807,"minimum":-9223372036854775808,"type":"integer"}},)"
              R"({"name":"k","in":"path","required":true,"schema":{"type":"string"}},)"
              R"({"name":"l","in":"path","required":true,)"
              R"("description":"One or more segments of the path","schema":{"type":"string"}}])");
}

TEST_F(OpenApiTest, TemplatesThatOpenApiCannotDistinguishShareAPath) {
    mount("/a", {operation(command::retrieve, "{id:uint}"), operation(command::update, "{name}"),
                 operation(command::retrieve, "{name}")});
    EXPECT_EQ(namesOf(paths()), Names{"/a/{id}"});
    EXPECT_EQ(namesOf(membersOf(paths().at("/a/{id}"))),
              (Names{"get", "put", "x-kova-operations"}));
    EXPECT_EQ(part("/a/{id}", "put", "parameters"),
              R"([{"name":"id","in":"path","required":true,"schema":{"type":"string"}}])");
    EXPECT_EQ(textOf(membersOf(paths().at("/a/{id}")).at("x-kova-operations")),
              R"([{"command":"retrieve","path":"/a/{name}"}])");
}

TEST_F(OpenApiTest, BodyAndValueReferToTheirSchemas) {
    Operation insert = operation(command::insert, "");
    insert.bodySchema = &schemaOf<Entry>;
    insert.valueSchema = &schemaOf<std::vector<Entry>>;
    mount("/list", {insert, insert});
    EXPECT_EQ(part("/list", "post", "requestBody"),
              R"({"required":true,"content":{"application/json":{"schema":)"
              R"({"$ref":"#/components/schemas/Entry"}},"application/vnd.axobin":{"schema":)"
              R"({"$ref":"#/components/schemas/Entry"}}}})");
    const Object components = membersOf(document().at("components"));
    EXPECT_EQ(namesOf(membersOf(components.at("schemas"))), (Names{"Entry", "Problem"}));
}

TEST_F(OpenApiTest, OperationWithoutAValueHasResponse204) {
    mount("/list", {operation(command::remove, "")});
    EXPECT_EQ(
        part("/list", "delete", "responses"),
        R"({"204":{"description":"Completed without a value"},)"
        R"("default":{"description":"The request failed","content":)"
        R"({"application/problem+json":{"schema":{"$ref":"#/components/schemas/Problem"}}}}})");
}

TEST_F(OpenApiTest, StreamIsMarkedWithItsMediaType) {
    Operation watch = operation(command::retrieve, "");
    watch.valueSchema = &schemaOf<bool>;
    mount("/once", {watch});
    watch.streams = true;
    mount("/state", {watch});
    EXPECT_EQ(part("/once", "get", "responses").find("text/event-stream"), std::string::npos);
    EXPECT_NE(part("/state", "get", "responses").find(R"("text/event-stream":{})"),
              std::string::npos);
}

TEST_F(OpenApiTest, BinaryDocumentHasTheSameContent) {
    mount("/list", {operation(command::remove, "{id:uint}")});
    const Payload json = openApi("a", "1", mounts, mimetypes::JSON_TYPE).orThrow();
    const Payload binary = openApi("a", "1", mounts, mimetypes::AXOBIN_TYPE).orThrow();
    EXPECT_EQ(binary.getMimeType(), mimetypes::AXOBIN_TYPE);
    EXPECT_EQ(*fromPayload<Tree>(json).orThrow(), *fromPayload<Tree>(binary).orThrow());
}

TEST_F(OpenApiTest, UnknownFormatIsRejected) {
    EXPECT_FALSE(openApi("a", "1", mounts, "text/yaml").ok());
}

}  // namespace
}  // namespace kova::kit::detail
