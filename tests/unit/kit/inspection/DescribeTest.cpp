#include "kova/kit/Describe.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "kova/core/MimeTypes.h"
#include "kova/core/headers.h"
#include "support/Reports.h"
#include "util/config/Scalars.h"

namespace kova::kit {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using util::config::ValueInt;
using util::config::ValueString;

TEST(Describe, RequestTextContainsCommandPathHeaderAndPayload) {
    EXPECT_EQ(describe(Request("retrieve", "/r")), "retrieve /r");
    Request request("update", "/r", Payload::createFromJSON("[1, 2]"));
    request.add2header("$note", new ValueInt(5));
    EXPECT_EQ(describe(request),
              "update /r\n"
              "      header  {\"$note\":5}\n"
              "      payload application/json, 6 bytes: [1, 2]");
}

TEST(Describe, ResponseTextContainsCodeMessageHeaderAndPayload) {
    EXPECT_EQ(describe(Response(204)), "204 No Content");
    EXPECT_EQ(describe(Response::createErrorResponse(409, "no space")),
              "409 Conflict: no space\n      header  {\"$errorMsg\":\"no space\"}");
    Response response(200, Payload::createFromJSON(""));
    response.add2header("$note", new ValueInt(5));
    EXPECT_EQ(describe(response),
              "200 Ok\n      header  {\"$note\":5}\n      payload application/json, 0 bytes: ");
}

TEST(Describe, TextMasksTheTokenWithoutChangingTheMessage) {
    Request request("retrieve", "/r");
    request.add2header(headers::AUTH_TOKEN, new ValueString("secret"));
    request.add2header(headers::CLIENT_ID, new ValueString("me"));
    EXPECT_EQ(describe(request),
              "retrieve /r\n"
              "      header  {\"$auth-token\":\"(not shown)\",\"$client-id\":\"me\"}");
    EXPECT_EQ(request.getHeaderValue(headers::AUTH_TOKEN).toJson(true), "\"secret\"");
}

Payload binary(const std::string& bytes) {
    return Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                  bytes.size(), mimetypes::AXOBIN_TYPE);
}

TEST(Describe, BinaryPayloadIsShownInHexadecimalAndJson) {
    EXPECT_THAT(describe(Response(200, binary("\x82\x01\xf5"))),
                EndsWith("payload application/vnd.axobin, 3 bytes: 82 01 f5 = [1,true]"));
    EXPECT_THAT(describe(Response(200, binary("\x78\x20" + std::string(32, 'a')))),
                HasSubstr("34 bytes: 78 20 61 61 61 61 61 61 61 61 61 61 61 61 "
                          "61 61 61 61 61 61 61 61 61 61 … = \"aaaa"));
    EXPECT_THAT(describe(Response(200, binary("\xff\xfe"))), EndsWith("2 bytes: ff fe = <failed>"));
    EXPECT_THAT(describe(Response(200, binary(""))), EndsWith("0 bytes: = <failed>"));
}

TEST(Describe, PayloadsOfOtherFormatsAreShownByMimeTypeAndSize) {
    unsigned char const byte = 1;
    EXPECT_THAT(
        describe(Response(200, Payload::createFromRaw(&byte, 1, "application/octet-stream"))),
        EndsWith("application/octet-stream, 1 bytes: <binary>"));
    EXPECT_THAT(describe(Response(200, Payload::createFromRaw(&byte, 1, "x/y"))),
                EndsWith("x/y, 1 bytes: <unknown>"));
}

TEST(PlainText, ConvertsBinaryPayloadsToJson) {
    EXPECT_EQ(plainText(Payload()), "");
    EXPECT_EQ(plainText(Payload::createFromJSON("[1, 2]")), "[1, 2]");
    EXPECT_EQ(plainText(Payload::createFromString("<empty>")), "<empty>");
    EXPECT_EQ(plainText(binary("\x82\x01\xf5")), "[1,true]");
    EXPECT_EQ(plainText(binary("\xff\xfe")), std::nullopt);
    const std::string bytes("a\0b", 3);
    EXPECT_EQ(plainText(Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                               bytes.size(), "application/octet-stream")),
              bytes);
}

}  // namespace
}  // namespace kova::kit
