#include "foreign/Mapping.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <variant>

#include "foreign/JsonText.h"
#include "kova/core/headers.h"

namespace kova::http::detail {
namespace {

using Answer = ForeignCall::Answer;

std::variant<ForeignCall, HttpReply> map(std::string_view method, std::string_view target,
                                         Fields fields = {}, char const* body = nullptr) {
    return toCall({method, target, std::move(fields),
                   body == nullptr ? nullptr : std::make_shared<const std::string>(body)});
}

ForeignCall accepted(std::string_view method, std::string_view target, Fields fields = {},
                     char const* body = nullptr) {
    auto result = map(method, target, std::move(fields), body);
    if (auto* const refusal = std::get_if<HttpReply>(&result)) {
        ADD_FAILURE() << bytesOf(refusal->body);
        return {};
    }
    return std::get<ForeignCall>(std::move(result));
}

HttpReply refused(std::string_view method, std::string_view target, Fields fields = {},
                  char const* body = nullptr) {
    auto result = map(method, target, std::move(fields), body);
    if (std::holds_alternative<ForeignCall>(result)) {
        ADD_FAILURE() << method << ' ' << target << " is accepted";
        return {};
    }
    return std::get<HttpReply>(std::move(result));
}

std::string headerOf(const ForeignCall& call) {
    const util::config::Value& header = call.parts.at(0).request.getHeader();
    return header.isDictionary() ? toAsciiJson(header) : "";
}

struct MethodRow {
    char const* method;
    char const* command;
    Answer answer;
    char const* header;
};

class MappedMethod : public ::testing::TestWithParam<MethodRow> {};

TEST_P(MappedMethod, IsACommand) {
    const MethodRow& row = GetParam();
    const ForeignCall call = accepted(row.method, "/device$/system/memory");
    ASSERT_EQ(call.parts.size(), 1U);
    EXPECT_EQ(call.parts[0].servicePath, "/device");
    EXPECT_EQ(call.parts[0].request.getCommand(), row.command);
    EXPECT_EQ(call.parts[0].request.getPath(), "/system/memory");
    EXPECT_TRUE(call.parts[0].request.getPayload().isEmpty());
    EXPECT_EQ(call.answer, row.answer);
    EXPECT_EQ(headerOf(call), row.header);
}

INSTANTIATE_TEST_SUITE_P(MappingTest, MappedMethod,
                         ::testing::Values(MethodRow{"GET", "retrieve", Answer::firstValue,
                                                     R"({"$response-semantic":"single-response"})"},
                                           MethodRow{"PUT", "update", Answer::lastValue, ""},
                                           MethodRow{"POST", "insert", Answer::lastValue, ""},
                                           MethodRow{"DELETE", "delete", Answer::lastValue, ""}));

class OtherMethod : public ::testing::TestWithParam<char const*> {};

TEST_P(OtherMethod, IsNotAllowed) {
    const HttpReply reply = refused(GetParam(), "/a");
    EXPECT_EQ(reply.status, 405);
    EXPECT_EQ(findField(reply.fields, "Allow"), "GET, PUT, POST, DELETE");
}

INSTANTIATE_TEST_SUITE_P(MappingTest, OtherMethod,
                         ::testing::Values("HEAD", "OPTIONS", "PATCH", "TRACE", "CONNECT", "get",
                                           "", "GETS"));

TEST(MappingTest, MethodIsCheckedBeforeTheTarget) {
    EXPECT_EQ(refused("OPTIONS", "*").status, 405);
}

struct HeaderRow {
    char const* method;
    Fields fields;
    char const* header;
    Answer answer;
};

class MappedFields : public ::testing::TestWithParam<HeaderRow> {};

TEST_P(MappedFields, AreEntriesOfTheHeader) {
    const HeaderRow& row = GetParam();
    const ForeignCall call = accepted(row.method, "/a", row.fields);
    EXPECT_EQ(headerOf(call), row.header);
    EXPECT_EQ(call.answer, row.answer);
}

INSTANTIATE_TEST_SUITE_P(
    MappingTest, MappedFields,
    ::testing::Values(
        HeaderRow{"GET",
                  {{"Accept", "application/cbor"}},
                  R"({"$accept":"application/vnd.axobin","$response-semantic":"single-response"})",
                  Answer::firstValue},
        HeaderRow{"GET",
                  {{"Accept", "text/event-stream"}},
                  R"({"$response-semantic":"persistent-stream"})",
                  Answer::events},
        HeaderRow{"GET",
                  {{"Accept", "application/json;q=0.5"}, {"accept", "application/cbor"}},
                  R"({"$accept":"application/vnd.axobin","$response-semantic":"single-response"})",
                  Answer::firstValue},
        HeaderRow{"PUT", {{"Accept", "text/event-stream"}}, "", Answer::events},
        HeaderRow{"PUT",
                  {{"Authorization", "Bearer  a.b-c=="}},
                  R"({"$auth-token":"a.b-c=="})",
                  Answer::lastValue},
        HeaderRow{
            "PUT", {{"authorization", "bearer x"}}, R"({"$auth-token":"x"})", Answer::lastValue},
        HeaderRow{"PUT", {{"Authorization", "Basic eDp5"}}, "", Answer::lastValue},
        HeaderRow{"PUT",
                  {{"kova-header", R"({"zone":3,"$client-id":"hmi"})"}},
                  R"({"$client-id":"hmi","zone":3})",
                  Answer::lastValue},
        HeaderRow{"PUT", {{"Kova-Header", "{}"}}, "{}", Answer::lastValue},
        HeaderRow{"PUT",
                  {{"Kova-Header", R"({"$accept":"x","$auth-token":1})"},
                   {"Accept", "application/json"},
                   {"Authorization", "Bearer t"}},
                  R"({"$accept":"application/json","$auth-token":"t"})",
                  Answer::lastValue},
        HeaderRow{"GET",
                  {{"Kova-Header", R"({"$response-semantic":"persistent-stream"})"}},
                  R"({"$response-semantic":"single-response"})",
                  Answer::firstValue},
        HeaderRow{"PUT",
                  {{"Kova-Header", R"({"$response-semantic":"empty-response"})"}},
                  R"({"$response-semantic":"empty-response"})",
                  Answer::lastValue}));

struct BodyRow {
    char const* contentType;  // null: no field
    char const* body;         // null: none
    char const* mimeType;
};

class MappedBody : public ::testing::TestWithParam<BodyRow> {};

TEST_P(MappedBody, IsThePayload) {
    const BodyRow& row = GetParam();
    Fields fields;
    if (row.contentType != nullptr) {
        fields.push_back({"Content-Type", row.contentType});
    }
    const Payload payload =
        accepted("PUT", "/a", fields, row.body).parts.at(0).request.getPayload();
    EXPECT_EQ(payload.isEmpty(), row.contentType == nullptr && std::string(row.body).empty());
    EXPECT_EQ(payload.getMimeType(), row.mimeType);
    EXPECT_EQ(bytesOf(payload), row.body == nullptr ? "" : row.body);
}

INSTANTIATE_TEST_SUITE_P(
    MappingTest, MappedBody,
    ::testing::Values(BodyRow{"application/json", "1", "application/json"},
                      BodyRow{"Application/JSON; charset=UTF-8", "1", "application/json"},
                      BodyRow{"application/json;charset=\"utf-8\"", "1", "application/json"},
                      BodyRow{"text/plain", "a", "plain/text"},
                      BodyRow{"text/plain; charset=utf-8", "a", "plain/text"},
                      BodyRow{"plain/text", "a", "plain/text"},
                      BodyRow{"application/cbor", "\x01", "application/vnd.axobin"},
                      BodyRow{"application/vnd.axobin", "\x01", "application/vnd.axobin"},
                      BodyRow{"image/png; a=b", "x", "image/png; a=b"},
                      BodyRow{nullptr, "x", "application/octet-stream"}, BodyRow{nullptr, "", ""},
                      BodyRow{"application/json", "", "application/json"},
                      BodyRow{"application/json", nullptr, "application/json"}));

TEST(MappingTest, EveryMethodMayHaveABody) {
    for (char const* const method : {"GET", "PUT", "POST", "DELETE"}) {
        const ForeignCall call =
            accepted(method, "/a", {{"Content-Type", "application/json"}}, "[1]");
        EXPECT_EQ(bytesOf(call.parts.at(0).request.getPayload()), "[1]") << method;
    }
}

struct RefusedRow {
    char const* method;
    char const* target;
    Fields fields;
    unsigned short status;
    char const* text;
};

class RefusedRequest : public ::testing::TestWithParam<RefusedRow> {};

TEST_P(RefusedRequest, HasStatusAndReason) {
    const RefusedRow& row = GetParam();
    const HttpReply reply = refused(row.method, row.target, row.fields);
    EXPECT_EQ(reply.status, row.status);
    EXPECT_EQ(findField(reply.fields, "Content-Type"), PROBLEM_TYPE);
    EXPECT_NE(bytesOf(reply.body).find(row.text), std::string_view::npos) << bytesOf(reply.body);
}

INSTANTIATE_TEST_SUITE_P(
    MappingTest, RefusedRequest,
    ::testing::Values(
        RefusedRow{"GET", "/a%2Fb", {}, 400, "%2F"}, RefusedRow{"GET", "/%00", {}, 400, "%00"},
        RefusedRow{"GET", "/a?b=c", {}, 400, "query"},
        RefusedRow{"PUT", "/?watch=/a", {}, 400, "only the method GET"},
        RefusedRow{"GET",
                   "/?watch=/a",
                   {{"Accept", "application/json"}},
                   406,
                   "there is: text/event-stream"},
        RefusedRow{"GET", "/a", {{"Kova-Header", "[]"}}, 400, "is not one JSON object"},
        RefusedRow{"GET", "/a", {{"Kova-Header", "3"}}, 400, "is not one JSON object"},
        RefusedRow{"GET", "/a", {{"Kova-Header", "{"}}, 400, "is not one JSON object: "},
        RefusedRow{"GET", "/a", {{"Kova-Header", ""}}, 400, "is not one JSON object"},
        RefusedRow{"GET",
                   "/a",
                   {{"Kova-Header", "{}"}, {"Kova-Header", "{}"}},
                   400,
                   "is not one JSON object"},
        RefusedRow{"GET",
                   "/a",
                   {{"Authorization", "Bearer a"}, {"Authorization", "Bearer b"}},
                   400,
                   "several fields 'Authorization'"},
        RefusedRow{"PUT",
                   "/a",
                   {{"Content-Type", "application/x-www-form-urlencoded"}},
                   415,
                   "a form is not a payload"},
        RefusedRow{"PUT",
                   "/a",
                   {{"Content-Type", "multipart/form-data; boundary=x"}},
                   415,
                   "a form is not a payload"},
        RefusedRow{"PUT", "/a", {{"Content-Type", "text/plain; charset=latin1"}}, 415, "UTF-8"},
        RefusedRow{"PUT", "/a", {{"Content-Encoding", "gzip"}}, 415, "encoded"}));

TEST(MappingTest, EachWatchedPathIsOnePart) {
    const ForeignCall call = accepted("GET", "/?watch=/a&watch=/d$/b");
    EXPECT_EQ(call.answer, Answer::events);
    EXPECT_TRUE(call.isWatch);
    ASSERT_EQ(call.parts.size(), 2U);
    EXPECT_EQ(call.parts[0].servicePath, std::nullopt);
    EXPECT_EQ(call.parts[0].request.getPath(), "/a");
    EXPECT_EQ(call.parts[1].servicePath, "/d");
    EXPECT_EQ(call.parts[1].request.getPath(), "/b");
    EXPECT_NE(&call.parts[0].request.getHeader(), &call.parts[1].request.getHeader());
}

struct OriginRow {
    Fields fields;
    unsigned short status;  // 0: accepted
    bool allowsRemote = false;
};

class CheckedOrigin : public ::testing::TestWithParam<OriginRow> {};

TEST_P(CheckedOrigin, IsThatOfTheEndpoint) {
    const OriginRow& row = GetParam();
    const kit::Result<void> result = checkOrigin(row.fields, std::nullopt, 8080, row.allowsRemote);
    EXPECT_EQ(result.ok() ? 0 : result.error().code, row.status);
}

INSTANTIATE_TEST_SUITE_P(
    MappingTest, CheckedOrigin,
    ::testing::Values(
        OriginRow{{{"Host", "127.0.0.1:8080"}}, 0}, OriginRow{{{"Host", "127.1.2.3:8080"}}, 0},
        OriginRow{{{"Host", "localhost:8080"}}, 0}, OriginRow{{{"host", "LOCALHOST:8080"}}, 0},
        OriginRow{{{"Host", "[::1]:8080"}}, 0}, OriginRow{{}, 400}, OriginRow{{{"Host", ""}}, 400},
        OriginRow{{{"Host", "127.0.0.1"}}, 403}, OriginRow{{{"Host", "127.0.0.1:81"}}, 403},
        OriginRow{{{"Host", "127.0.0.1:8080x"}}, 403},
        OriginRow{{{"Host", "127.0.0.1:108080"}}, 403}, OriginRow{{{"Host", "[::1]"}}, 403},
        OriginRow{{{"Host", "example.org:8080"}}, 403},
        OriginRow{{{"Host", "127.0.0.1.example.org:8080"}}, 403},
        OriginRow{{{"Host", "192.0.2.1:8080"}}, 403}, OriginRow{{{"Host", "::1:8080"}}, 403},
        OriginRow{{{"Host", ":8080"}}, 403}, OriginRow{{{"Host", "example.org"}}, 0, true},
        OriginRow{{}, 400, true},
        OriginRow{{{"Host", "localhost:8080"}, {"Origin", "http://localhost:8080"}}, 0},
        OriginRow{{{"Host", "localhost:8080"}, {"Origin", "http://127.0.0.1:8080"}}, 403},
        OriginRow{{{"Host", "localhost:8080"}, {"Origin", "http://localhost:81"}}, 403},
        OriginRow{{{"Host", "localhost:8080"}, {"Origin", "https://localhost:8080"}}, 403},
        OriginRow{{{"Host", "localhost:8080"}, {"Origin", "null"}}, 403},
        OriginRow{{{"Host", "localhost:8080"}, {"Origin", "http://evil.example"}}, 403},
        OriginRow{{{"Host", "a.example"}, {"Origin", "http://a.example"}}, 0, true},
        OriginRow{{{"Host", "a.example"}, {"Origin", "http://b.example"}}, 403, true}));

TEST(MappingTest, PortOfTheHostMayBeMissingIfItIs80) {
    EXPECT_TRUE(checkOrigin({{"Host", "localhost"}}, std::nullopt, 80, false).ok());
    EXPECT_TRUE(checkOrigin({{"Host", "[::1]"}}, std::nullopt, 80, false).ok());
}

TEST(MappingTest, AuthorityOfTheTargetReplacesTheHost) {
    const Fields fields{{"Host", "localhost:8080"}};
    EXPECT_FALSE(checkOrigin(fields, "example.org:8080", 8080, false).ok());
    EXPECT_TRUE(checkOrigin({{"Host", "example.org"}}, "localhost:8080", 8080, false).ok());
}

struct FramingRow {
    Fields fields;
    bool isAccepted;
};

class CheckedFraming : public ::testing::TestWithParam<FramingRow> {};

TEST_P(CheckedFraming, IsUnambiguous) {
    Fields fields = GetParam().fields;
    if (!findField(fields, "Host")) {
        fields.push_back({"Host", "a"});
    }
    const kit::Result<void> result = checkFraming(fields);
    EXPECT_EQ(result.ok(), GetParam().isAccepted);
    EXPECT_EQ(result.ok() ? 400 : result.error().code, 400);
}

INSTANTIATE_TEST_SUITE_P(
    MappingTest, CheckedFraming,
    ::testing::Values(
        FramingRow{{}, true}, FramingRow{{{"Content-Length", "1"}, {"Host", "a"}}, true},
        FramingRow{{{"Transfer-Encoding", "chunked"}}, true},
        FramingRow{{{"transfer-encoding", "Chunked"}}, true},
        FramingRow{{{"Content-Length", "1"}, {"content-length", "1"}}, false},
        FramingRow{{{"Content-Length", "1"}, {"Content-Length", "2"}}, false},
        FramingRow{{{"Content-Length", "1"}, {"Transfer-Encoding", "chunked"}}, false},
        FramingRow{{{"Transfer-Encoding", "chunked"}, {"Transfer-Encoding", "chunked"}}, false},
        FramingRow{{{"Transfer-Encoding", "gzip, chunked"}}, false},
        FramingRow{{{"Transfer-Encoding", "identity"}}, false},
        FramingRow{{{"Transfer-Encoding", "xchunked"}}, false},
        FramingRow{{{"Host", "a"}, {"Host", "a"}}, false},
        FramingRow{{{"!#$%&'*+-.^_`|~aZ09", "\t\x80\xFF "}}, true}, FramingRow{{{"", "a"}}, false},
        FramingRow{{{"Host ", "a"}, {"Host", "a"}}, false}, FramingRow{{{"X Y", "a"}}, false},
        FramingRow{{{"X(", "a"}}, false}, FramingRow{{{"X", "a\rb"}}, false},
        FramingRow{{{"X", std::string("a\0b", 3)}}, false}, FramingRow{{{"X", "\x7F"}}, false}));

TEST(MappingTest, OnlyHttp10MayOmitTheHost) {
    EXPECT_TRUE(checkFraming({}, "HTTP/1.0").ok());
    EXPECT_FALSE(checkFraming({}, "HTTP/1.1").ok());
}

}  // namespace
}  // namespace kova::http::detail
