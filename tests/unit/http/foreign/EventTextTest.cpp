#include "foreign/EventText.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "foreign/Replies.h"
#include "util/config/Scalars.h"

namespace kova::http::detail {
namespace {

struct Row {
    unsigned short status;
    char const* mimeType;
    char const* bytes;
    char const* data;
};

class EventOfAValue : public ::testing::TestWithParam<Row> {};

TEST_P(EventOfAValue, IsOneLineOfJson) {
    const Row& row = GetParam();
    std::string out;
    appendNext(out,
               Response(row.status,
                        makePayload(std::make_shared<const std::string>(row.bytes), row.mimeType)),
               "");
    EXPECT_EQ(out, std::string("event: next\ndata: ") + row.data + "\n\n");
}

INSTANTIATE_TEST_SUITE_P(
    EventTextTest, EventOfAValue,
    ::testing::Values(
        Row{299, "application/json", "{\"on\":true}", R"({"status":299,"value":{"on":true}})"},
        Row{200, "application/json", "[1,\r\n2]", R"({"status":200,"value":[1,  2]})"},
        Row{65535, "application/json", "{",
            R"({"status":65535,"type":"application/json","text":"{"})"},
        Row{200, "application/json", "\xFF",
            R"({"status":200,"type":"application/json","base64":"/w=="})"},
        Row{200, "plain/text", "a\nb", R"({"status":200,"type":"text/plain","text":"a\u000ab"})"},
        Row{200, "plain/text", "\xFF", R"({"status":200,"type":"text/plain","base64":"/w=="})"},
        Row{200, "application/vnd.axobin", "\x01",
            R"({"status":200,"type":"application/cbor","base64":"AQ=="})"},
        Row{200, "a\r\nb", "", R"({"status":200,"type":"a\u000d\u000ab","base64":""})"}));

TEST(EventTextTest, ValueWithoutPayloadHasStatusAndHeader) {
    Response value(0);
    value.add2header("$stream-lost", new util::config::ValueInt(2));
    std::string out;
    appendNext(out, value, "");
    EXPECT_EQ(out, "event: next\ndata: {\"status\":0,\"header\":{\"$stream-lost\":2}}\n\n");
}

TEST(EventTextTest, EventsNameTheWatchedPath) {
    std::string out;
    appendNext(out, Response(200), "/a\n");
    appendError(out, Response::createErrorResponse(404, "no"), "/b");
    appendCompleted(out, "/c");
    appendDropped(out, "/d");
    EXPECT_EQ(out,
              "event: next\ndata: {\"path\":\"/a\\u000a\",\"status\":200}\n\n"
              "event: error\ndata: {\"path\":\"/b\",\"title\":\"Not Found\",\"status\":404,"
              "\"detail\":\"no\"}\n\n"
              "event: completed\ndata: {\"path\":\"/c\"}\n\n"
              "event: dropped\ndata: {\"path\":\"/d\"}\n\n");
}

TEST(EventTextTest, EventsOfOneResourceNameNoPath) {
    std::string out;
    appendError(out, Response::createErrorResponse(0, "no"), "");
    appendCompleted(out, "");
    appendDropped(out, "");
    EXPECT_EQ(out,
              "event: error\ndata: {\"title\":\"Internal Server Error\",\"status\":500,"
              "\"detail\":\"no\",\"code\":0}\n\n"
              "event: completed\ndata: {}\n\nevent: dropped\ndata: {}\n\n");
}

}  // namespace
}  // namespace kova::http::detail
