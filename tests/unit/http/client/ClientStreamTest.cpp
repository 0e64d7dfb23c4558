#include "client/ClientStream.h"

#include <gtest/gtest.h>
#include <nghttp2/nghttp2.h>

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kova/core/response_handlers.h"
#include "kova/testing/Recording.h"
#include "wire/Records.h"

namespace kova::http::detail {
namespace {

using namespace std::string_literals;
using Events = testing::Recording::Events;

std::string next(unsigned short code, bool isFirst = true) {
    std::string record;
    EXPECT_TRUE(wire::appendEvent(record, wire::RecordKind::next, Response(code), isFirst));
    return record;
}

std::string error(unsigned short code, char const* message, bool isFirst = true) {
    std::string record;
    EXPECT_TRUE(wire::appendEvent(record, wire::RecordKind::error,
                                  Response::createErrorResponse(code, message), isFirst));
    return record;
}

std::string completed(bool isFirst = true) {
    std::string record;
    wire::appendCompleted(record, isFirst);
    return record;
}

std::string request() {
    std::string record;
    EXPECT_TRUE(wire::appendRequest(record, Request("retrieve", "/")));
    return record;
}

class ClientStreamTest : public ::testing::Test {
protected:
    void begin(std::string_view status = "200", std::string_view type = wire::RECORDS_TYPE) {
        stream.onHeader(":status", status);
        stream.onHeader("content-type", type);
        stream.onHeaderEnd();
    }

    testing::Recording recording;
    ClientStream stream{recording.handler(), "the request", 1024};
};

TEST_F(ClientStreamTest, RequestIsReadInPieces) {
    std::array<std::uint8_t, 8> bytes{};
    EXPECT_EQ(stream.read(bytes.data(), bytes.size()), 8U);
    EXPECT_FALSE(stream.isSent());
    EXPECT_EQ(stream.read(bytes.data(), bytes.size()), 3U);
    EXPECT_TRUE(stream.isSent());
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 3), "est");
}

TEST_F(ClientStreamTest, ShortRequestCanBeReadAgain) {
    std::array<std::uint8_t, 16> bytes{};
    EXPECT_TRUE(stream.isKept());
    EXPECT_EQ(stream.read(bytes.data(), bytes.size()), 11U);
    stream.rewind();
    EXPECT_FALSE(stream.isSent());
    EXPECT_EQ(stream.read(bytes.data(), bytes.size()), 11U);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 11), "the request");
    EXPECT_TRUE(stream.isSent());
}

TEST_F(ClientStreamTest, BytesOfRequestsAreKeptUpToALimit) {
    const std::string longest(ClientStream::LONGEST_KEPT, 'x');
    EXPECT_TRUE(ClientStream(recording.handler(), longest, 1024).isKept());
    EXPECT_FALSE(ClientStream(recording.handler(), longest + 'x', 1024).isKept());
}

TEST_F(ClientStreamTest, RecordsAreDeliveredFromBytesInAnyPieces) {
    begin();
    for (const char byte : next(200) + next(204, false) + completed(false)) {
        stream.onData({&byte, 1});
    }
    EXPECT_EQ(recording.events(), (Events{"value 200", "value 204", "completed"}));
    EXPECT_TRUE(stream.isEnded());
    EXPECT_FALSE(stream.refusal());
    EXPECT_EQ(recording.living(), 0U);
}

TEST_F(ClientStreamTest, ErrorArrivesUnchanged) {
    begin();
    stream.onData(error(65535, "all \xFF wrong"));
    stream.onEnd();
    EXPECT_EQ(recording.events(), (Events{"error 65535 all \xFF wrong"}));
}

TEST_F(ClientStreamTest, InformationalHeaderBeforeTheAnswerIsIgnored) {
    begin("103", "text/html");
    begin();
    stream.onData(completed());
    EXPECT_EQ(recording.events(), (Events{"completed"}));
}

TEST_F(ClientStreamTest, ReceiverThatWantsNoMoreValuesIsCompleted) {
    int values = 0;
    int ends = 0;
    ClientStream single{std::make_unique<responsehandlers::FuncResponseHandler<Response>>(
                            [&](const Response&) { return ++values == 2; },
                            [](const Response&) { FAIL(); }, [&] { ++ends; }),
                        "r", 1024};
    single.onHeader(":status", "200");
    single.onHeader("content-type", wire::RECORDS_TYPE);
    single.onHeaderEnd();
    single.onData(next(200) + next(200, false) + next(200, false) + error(500, "x", false));
    EXPECT_EQ(values, 2);
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(single.refusal(), std::optional<std::uint32_t>(NGHTTP2_CANCEL));
}

TEST_F(ClientStreamTest, BytesAfterTheEndAreRefused) {
    begin();
    stream.onData(completed());
    stream.onData("x");
    EXPECT_EQ(stream.refusal(), std::optional<std::uint32_t>(NGHTTP2_CANCEL));
    stream.onEnd();
    EXPECT_EQ(recording.events(), (Events{"completed"}));
}

TEST_F(ClientStreamTest, NoEventFollowsDrop) {
    begin();
    stream.drop();
    stream.onData(next(200));
    stream.onEnd();
    stream.lose("late");
    EXPECT_EQ(recording.events(), Events());
    EXPECT_EQ(recording.living(), 0U);
}

TEST_F(ClientStreamTest, OnlyTheFirstLossEndsTheRequest) {
    stream.lose("the server is gone");
    stream.lose("again");
    EXPECT_EQ(recording.events(), (Events{"error 503 lost: the server is gone"}));
}

struct Answer {
    std::string bytes;
    std::string event;
};

class AnswerWithoutItsEnd : public ClientStreamTest,
                            public ::testing::WithParamInterface<Answer> {};

TEST_P(AnswerWithoutItsEnd, IsLost) {
    begin();
    stream.onData(GetParam().bytes);
    EXPECT_FALSE(stream.isEnded());
    stream.onEnd();
    EXPECT_EQ(recording.events().back(), GetParam().event);
    EXPECT_FALSE(stream.refusal());
}

INSTANTIATE_TEST_SUITE_P(
    ClientStream, AnswerWithoutItsEnd,
    ::testing::Values(Answer{"", "error 503 lost: the answer has no end"},
                      Answer{next(200), "error 503 lost: the answer has no end"},
                      Answer{completed().substr(0, completed().size() - 1),
                             "error 503 lost: the answer ends inside a record"},
                      Answer{next(200) + "\0"s,
                             "error 503 lost: the answer ends inside a record"}));

class MalformedAnswer : public ClientStreamTest, public ::testing::WithParamInterface<Answer> {};

TEST_P(MalformedAnswer, EndsTheRequestWith502) {
    begin();
    stream.onData(GetParam().bytes);
    EXPECT_EQ(recording.events().back(), "error 502 malformed answer: " + GetParam().event);
    EXPECT_EQ(stream.refusal(), std::optional<std::uint32_t>(NGHTTP2_PROTOCOL_ERROR));
    stream.onData(completed());
    stream.onEnd();
    EXPECT_EQ(recording.events().back(), "error 502 malformed answer: " + GetParam().event);
}

INSTANTIATE_TEST_SUITE_P(
    ClientStream, MalformedAnswer,
    ::testing::Values(Answer{request(), "the answer has the record of a request"},
                      Answer{next(200, false),
                             "the first record has no version, expected version 1"},
                      Answer{std::string("\0\0\0\0", 4), "record of 0 bytes, not 1 to 1024"},
                      Answer{std::string("\0\0\4\1", 4), "record of 1025 bytes, not 1 to 1024"},
                      Answer{next(200) + std::string("\0\0\0\7\2\5\0\0\0\1\xFF", 11),
                             "field 'header' is not a dictionary in binary form"}));

struct TextAnswer {
    std::string status;
    std::string type;
    std::string body;
    std::string event;
};

class AnswerWithoutRecords : public ClientStreamTest,
                             public ::testing::WithParamInterface<TextAnswer> {};

TEST_P(AnswerWithoutRecords, IsAnError) {
    begin(GetParam().status, GetParam().type);
    stream.onData(GetParam().body);
    stream.onEnd();
    EXPECT_EQ(recording.events(), (Events{GetParam().event}));
}

INSTANTIATE_TEST_SUITE_P(
    ClientStream, AnswerWithoutRecords,
    ::testing::Values(
        TextAnswer{"404", "text/plain", "no such service", "error 404 no such service"},
        TextAnswer{"413", "text/plain; charset=utf-8", "too long\nby far", "error 413 too long"},
        TextAnswer{"404", "text/html", "<html>", "error 404 Not Found"},
        TextAnswer{"404", "text/plain", "", "error 404 Not Found"},
        TextAnswer{"204", "text/plain", "", "error 204 No Content"},
        TextAnswer{"500", "text/plain", std::string(ClientStream::LONGEST_TEXT, 'x'),
                   "error 500 " + std::string(ClientStream::LONGEST_TEXT, 'x')},
        TextAnswer{"500", "text/plain", std::string(ClientStream::LONGEST_TEXT + 1, 'x'),
                   "error 500 " + std::string(ClientStream::LONGEST_TEXT, 'x')},
        TextAnswer{"200", "text/html", "<html>",
                   "error 502 malformed answer: the answer has the type 'text/html'"}));

}  // namespace
}  // namespace kova::http::detail
