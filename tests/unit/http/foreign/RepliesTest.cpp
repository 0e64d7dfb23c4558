#include "foreign/Replies.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "foreign/JsonText.h"
#include "foreign/Mapping.h"
#include "foreign/StatusTexts.h"
#include "kova/core/Errors.h"
#include "kova/core/headers.h"
#include "kova/kit/Answer.h"
#include "kova/kit/StreamOptions.h"
#include "support/Reports.h"
#include "util/config/Scalars.h"

namespace kova::http::detail {
namespace {

std::string field(const HttpReply& reply, char const* name) {
    return std::string(findField(reply.fields, name).value_or("(none)"));
}

std::string body(const HttpReply& reply) {
    return std::string(bytesOf(reply.body));
}

Response value(unsigned short code, const std::string& bytes, const std::string& mimeType) {
    return Response(code, makePayload(std::make_shared<const std::string>(bytes), mimeType));
}

struct ValueRow {
    unsigned short code;
    char const* mimeType;
    unsigned short status;
    char const* type;
    char const* body = "x";
};

class AnsweredValue : public ::testing::TestWithParam<ValueRow> {};

TEST_P(AnsweredValue, HasStatusTypeAndBody) {
    const ValueRow& row = GetParam();
    const HttpReply reply = toReply(value(row.code, "x", row.mimeType));
    EXPECT_EQ(reply.status, row.status);
    EXPECT_EQ(field(reply, "Content-Type"), row.type);
    EXPECT_EQ(body(reply), row.body);
    EXPECT_EQ(field(reply, TREE_FIELD), "(none)");
}

INSTANTIATE_TEST_SUITE_P(
    RepliesTest, AnsweredValue,
    ::testing::Values(ValueRow{200, "application/json", 200, "application/json"},
                      ValueRow{201, "plain/text", 201, "text/plain; charset=utf-8"},
                      ValueRow{200, "application/vnd.axobin", 200, "application/cbor"},
                      ValueRow{200, "image/png; a=b", 200, "image/png; a=b"},
                      ValueRow{200, "", 200, "(none)"},
                      ValueRow{299, "application/json", 299, "application/json"},
                      ValueRow{404, "application/json", 404, "application/json"},
                      ValueRow{599, "application/json", 599, "application/json"},
                      ValueRow{0, "application/json", 500, "application/json"},
                      ValueRow{99, "application/json", 500, "application/json"},
                      ValueRow{199, "application/json", 500, "application/json"},
                      ValueRow{600, "application/json", 500, "application/json"},
                      ValueRow{65535, "application/json", 500, "application/json"},
                      ValueRow{204, "application/json", 204, "(none)", ""},
                      ValueRow{205, "application/json", 205, "(none)", ""},
                      ValueRow{304, "application/json", 304, "(none)", ""}));

TEST(RepliesTest, ValueWithoutPayloadHasNoType) {
    const HttpReply reply = toReply(Response(200));
    EXPECT_TRUE(reply.fields.empty());
    EXPECT_TRUE(reply.body.isEmpty());
}

TEST(RepliesTest, PayloadOfZeroBytesKeepsItsType) {
    const HttpReply reply = toReply(value(200, "", "application/octet-stream"));
    EXPECT_EQ(field(reply, "Content-Type"), "application/octet-stream");
    EXPECT_EQ(reply.body.size(), 0U);
}

TEST(RepliesTest, HeaderTreeIsOneFieldWithoutReservedEntriesOfTheTransport) {
    Response response = value(200, "1", "application/json");
    response.add2header("zone", new util::config::ValueInt(3));
    response.add2header(kit::STREAM_QUEUE, new util::config::ValueString("16 conflate"));
    EXPECT_EQ(field(toReply(response), TREE_FIELD), "{\"zone\":3}");
    EXPECT_FALSE(response.getHeaderValue(kit::STREAM_QUEUE).isUndefined());
}

TEST(RepliesTest, LineBreakInAHeaderEntryIsWrittenAsAnEscape) {
    Response response(200);
    response.add2header("a\r\nX: y", new util::config::ValueString("b\r\nc"));
    EXPECT_EQ(field(toReply(response), TREE_FIELD), R"({"a\r\nX: y":"b\r\nc"})");
}

class BadMimeType : public ::testing::TestWithParam<std::string> {};

TEST_P(BadMimeType, IsReportedAndNotWritten) {
    test::Reports reports;
    const HttpReply reply = toReply(value(200, "x", GetParam()));
    EXPECT_EQ(reply.status, 500);
    EXPECT_EQ(field(reply, "Content-Type"), PROBLEM_TYPE);
    const auto seen = reports.take();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].number, errors::UnexpectedResponse);
    EXPECT_NE(seen[0].reason.find("cannot carry the mime type"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(RepliesTest, BadMimeType,
                         ::testing::Values("a/b\r\nX: y", "a/b\n", "a\r", std::string("a\0b", 3),
                                           "\x7F", "\x1B[0m"));

TEST(RepliesTest, HeaderTreeIsLimited) {
    const std::string empty = "{\"a\":\"\"}";
    Response response(200);
    response.add2header(
        "a", new util::config::ValueString(std::string(MAX_TREE_FIELD - empty.size(), 'x')));
    EXPECT_EQ(toReply(response).status, 200);
    Response error(409);
    error.add2header("a", response.getHeaderValue("a"));
    EXPECT_EQ(toErrorReply(error).status, 409);
    test::Reports reports;
    response.add2header(
        "a", new util::config::ValueString(std::string(MAX_TREE_FIELD - empty.size() + 1, 'x')));
    EXPECT_EQ(toReply(response).status, 500);
    EXPECT_EQ(reports.take().size(), 1U);
    response.setErrorMessage("e");
    EXPECT_EQ(toErrorReply(response).status, 500);
    EXPECT_EQ(reports.take().size(), 1U);
}

struct AcceptRow {
    char const* accept;
    char const* mimeType;
    unsigned short status;
};

class AcceptedValue : public ::testing::TestWithParam<AcceptRow> {};

TEST_P(AcceptedValue, IsAnsweredIfItsTypeIsAccepted) {
    const AcceptRow& row = GetParam();
    const HttpReply reply = toReply(value(200, "1", row.mimeType), Accept(row.accept));
    EXPECT_EQ(reply.status, row.status);
    if (row.status == 406) {
        EXPECT_EQ(body(reply), R"({"title":"Not Acceptable","status":406,"detail":"there is: )" +
                                   toMediaType(row.mimeType) + "\"}");
    }
}

INSTANTIATE_TEST_SUITE_P(
    RepliesTest, AcceptedValue,
    ::testing::Values(AcceptRow{"", "application/json", 200}, AcceptRow{"*/*", "image/png", 200},
                      AcceptRow{"image/*", "image/png", 200},
                      AcceptRow{"image/*", "application/json", 406},
                      AcceptRow{"text/plain", "plain/text", 200},
                      AcceptRow{"application/cbor", "application/json", 406},
                      AcceptRow{"application/json", "application/vnd.axobin", 406},
                      AcceptRow{"image/*", "", 200}));

struct ErrorRow {
    unsigned short code;
    unsigned short status;
    char const* text;
};

class AnsweredError : public ::testing::TestWithParam<ErrorRow> {};

TEST_P(AnsweredError, IsAProblemDocument) {
    const ErrorRow& row = GetParam();
    const HttpReply reply = toErrorReply(Response::createErrorResponse(row.code, "no \"lamp\""));
    EXPECT_EQ(reply.status, row.status);
    EXPECT_EQ(field(reply, "Content-Type"), PROBLEM_TYPE);
    EXPECT_EQ(body(reply), row.text);
    EXPECT_EQ(field(reply, TREE_FIELD), "(none)");
}

INSTANTIATE_TEST_SUITE_P(
    RepliesTest, AnsweredError,
    ::testing::Values(
        ErrorRow{404, 404, R"({"title":"Not Found","status":404,"detail":"no \"lamp\""})"},
        ErrorRow{429, 429, R"({"title":"Too Many Requests","status":429,"detail":"no \"lamp\""})"},
        ErrorRow{418, 418, R"({"status":418,"detail":"no \"lamp\""})"},
        ErrorRow{599, 599, R"({"status":599,"detail":"no \"lamp\""})"},
        ErrorRow{
            200, 500,
            R"({"title":"Internal Server Error","status":500,"detail":"no \"lamp\"","code":200})"},
        ErrorRow{
            204, 500,
            R"({"title":"Internal Server Error","status":500,"detail":"no \"lamp\"","code":204})"},
        ErrorRow{
            65535, 500,
            R"({"title":"Internal Server Error","status":500,"detail":"no \"lamp\"","code":65535})"}));

TEST(RepliesTest, AnswerToMissingCredentialsNamesTheScheme) {
    const HttpReply reply = toReply(kit::Error{401, "who?"});
    EXPECT_EQ(field(reply, "WWW-Authenticate"), "Bearer");
}

TEST(RepliesTest, ErrorKeepsPayloadAndHeader) {
    Response error = value(409, "{\n\"holder\": 7}", "application/json");
    error.setErrorMessage("locked");
    error.add2header("since", new util::config::ValueInt(12));
    const HttpReply reply = toErrorReply(error);
    EXPECT_EQ(body(reply),
              R"({"title":"Conflict","status":409,"detail":"locked","payload":{ "holder": 7}})");
    EXPECT_EQ(field(reply, TREE_FIELD), "{\"since\":12}");
}

TEST(RepliesTest, PayloadOfAnErrorThatIsNotJsonIsLeftOut) {
    for (char const* const type : {"application/json", "text/plain"}) {
        Response error = value(409, type[0] == 't' ? "7" : "{", type);
        error.setErrorMessage("locked");
        EXPECT_EQ(body(toErrorReply(error)),
                  R"({"title":"Conflict","status":409,"detail":"locked"})");
    }
}

TEST(RepliesTest, UnknownFormatIsNotAcceptableIfTheClientAskedForIt) {
    const Response error = kit::catalogued(errors::UndefinedMimeType, "image/png").toResponse();
    Response refused(400);
    refused.setErrorMessage(error.getErrorMessage()->c_str());
    EXPECT_EQ(toErrorReply(refused, Accept("image/png")).status, 406);
    EXPECT_NE(body(toErrorReply(refused, Accept("image/png")))
                  .find("there is: application/json, application/cbor"),
              std::string::npos);
    EXPECT_EQ(toErrorReply(refused, Accept("image/gif")).status, 400);
    EXPECT_EQ(toErrorReply(refused).status, 400);
}

TEST(RepliesTest, CompletionWithoutAValueHasNoContent) {
    EXPECT_EQ(completedReply().status, 204);
    EXPECT_TRUE(completedReply().fields.empty());
    EXPECT_TRUE(completedReply().body.isEmpty());
}

TEST(RepliesTest, DroppedRequestIsAnErrorOfTheService) {
    EXPECT_EQ(droppedError().code, 500);
}

TEST(RepliesTest, StatusesOfTheEndpointHaveTexts) {
    for (const auto& row : OWN_STATUS_TEXTS) {
        EXPECT_STREQ(statusText(row.code), row.text);
        EXPECT_EQ(kova::detail::statusTextOf(row.code), nullptr) << row.code;
    }
    EXPECT_STREQ(statusText(404), "Not Found");
    EXPECT_EQ(statusText(418), nullptr);
}

}  // namespace
}  // namespace kova::http::detail
