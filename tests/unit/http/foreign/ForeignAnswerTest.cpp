#include "foreign/ForeignAnswer.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "foreign/Fields.h"
#include "support/Watchdog.h"
#include "util/config/Scalars.h"

namespace kova::http::detail {
namespace {

using namespace std::chrono_literals;

class ForeignAnswerTest : public ::testing::Test {
protected:
    ~ForeignAnswerTest() override {
        handler.reset();
        loop->stop();
    }
    /// Starts an answer to a request with one resource.
    void start(ForeignCall::Answer kind, ForeignAnswer::Limits limits = {}) {
        ForeignCall call;
        call.answer = kind;
        call.parts.push_back({std::nullopt, Request("retrieve", "/a")});
        answer = std::make_shared<ForeignAnswer>(call, limits, loop, [this] { ready.set_value(); });
        handler = answer->makeHandler(0);
    }
    void startStream(char const* terms, ForeignAnswer::Limits limits = {}) {
        start(ForeignCall::Answer::events, limits);
        Response first = value(0);
        first.add2header(kit::STREAM_QUEUE, new util::config::ValueString(terms));
        EXPECT_FALSE(handler->onNext(first));
    }
    static Response value(int number) {
        return Response(299, Payload::createFromJSON(std::to_string(number)));
    }
    /// Returns the data of the events that wait.
    std::vector<std::string> take() {
        std::string text;
        answer->takeText(text, SIZE_MAX);
        std::vector<std::string> events;
        for (std::size_t at = 0; (at = text.find("data: ", at)) != std::string::npos;) {
            at += 6;
            events.push_back(text.substr(at, text.find('\n', at) - at));
        }
        return events;
    }
    using Texts = std::vector<std::string>;

    test::Watchdog watchdog{"an answer waits"};
    const std::shared_ptr<wire::EventLoop> loop = wire::EventLoop::start("test-loop");
    std::promise<void> ready;
    std::shared_ptr<ForeignAnswer> answer;
    std::unique_ptr<IResponseHandler<Response>> handler;
};

TEST_F(ForeignAnswerTest, FirstValueThatIsNotProgressIsTheReply) {
    start(ForeignCall::Answer::firstValue);
    EXPECT_FALSE(handler->onNext(Response(298)));
    EXPECT_FALSE(answer->isReady());
    EXPECT_FALSE(answer->takeReply().has_value());
    EXPECT_TRUE(handler->onNext(Response(201)));
    ready.get_future().wait();
    EXPECT_TRUE(answer->isReady());
    EXPECT_TRUE(answer->isEnough(0));
    EXPECT_FALSE(answer->hasEnded(0));
    EXPECT_TRUE(handler->onNext(Response(202)));
    EXPECT_EQ(answer->takeReply()->status, 201);
}

TEST_F(ForeignAnswerTest, LastValueIsTheReplyWhenTheRequestIsCompleted) {
    start(ForeignCall::Answer::lastValue);
    EXPECT_FALSE(handler->onNext(Response(201)));
    EXPECT_FALSE(handler->onNext(Response(202)));
    EXPECT_FALSE(handler->onNext(Response(298)));
    EXPECT_FALSE(answer->isReady());
    handler->onCompleted();
    EXPECT_EQ(answer->takeReply()->status, 202);
    EXPECT_TRUE(answer->hasEnded(0));
}

TEST_F(ForeignAnswerTest, ErrorReplacesTheValues) {
    start(ForeignCall::Answer::lastValue);
    handler->onNext(Response(201));
    handler->onError(Response::createErrorResponse(409, "locked"));
    EXPECT_EQ(answer->takeReply()->status, 409);
}

TEST_F(ForeignAnswerTest, DestroyedHandlerIsADroppedRequest) {
    start(ForeignCall::Answer::lastValue);
    handler.reset();
    EXPECT_EQ(answer->takeReply()->status, 500);
}

TEST_F(ForeignAnswerTest, DroppedRequestOfAStreamIsAnEvent) {
    start(ForeignCall::Answer::events);
    handler->onNext(value(1));
    handler.reset();
    std::string text;
    EXPECT_FALSE(answer->takeReply().has_value());
    EXPECT_TRUE(answer->takeText(text, SIZE_MAX));
    EXPECT_NE(text.find("event: dropped\ndata: {}\n\n"), std::string::npos);
    EXPECT_FALSE(answer->takeText(text, SIZE_MAX));
}

TEST_F(ForeignAnswerTest, TextEndsWithTheEventThatReachesTheSize) {
    start(ForeignCall::Answer::events);
    handler->onNext(value(1));
    handler->onNext(value(2));
    std::string text;
    EXPECT_TRUE(answer->takeText(text, 1));
    EXPECT_EQ(text, "event: next\ndata: {\"status\":299,\"value\":1}\n\n");
    EXPECT_TRUE(answer->isReady());
}

TEST_F(ForeignAnswerTest, ConflatedQueueKeepsTheNewestValue) {
    startStream("2 conflate");
    for (int i = 1; i < 6; ++i) {
        EXPECT_FALSE(handler->onNext(value(i)));
    }
    EXPECT_EQ(take(), (Texts{R"({"status":299,"value":4})", R"({"status":299,"value":5})"}));
}

TEST_F(ForeignAnswerTest, QueueIsThatOfTheFirstValue) {
    startStream("2 conflate");
    Response later = value(1);
    later.add2header(kit::STREAM_QUEUE, new util::config::ValueString("3 conflate"));
    EXPECT_FALSE(handler->onNext(later));
    EXPECT_FALSE(handler->onNext(value(2)));
    EXPECT_FALSE(handler->onNext(value(3)));
    EXPECT_EQ(take().size(), 2U);
}

TEST_F(ForeignAnswerTest, OldestValuesAreDroppedAndCounted) {
    startStream("2 drop-oldest");
    for (int i = 1; i < 6; ++i) {
        EXPECT_FALSE(handler->onNext(value(i)));
    }
    EXPECT_EQ(take(), (Texts{R"({"status":299,"header":{"$stream-lost":4},"value":4})",
                             R"({"status":299,"value":5})"}));
}

TEST_F(ForeignAnswerTest, FullQueueDisconnects) {
    startStream("2 disconnect");
    EXPECT_FALSE(handler->onNext(value(1)));
    EXPECT_TRUE(handler->onNext(value(2)));
    ready.get_future().wait();
    EXPECT_TRUE(answer->isEnough(0));
    const Texts texts = take();
    ASSERT_EQ(texts.size(), 3U);
    EXPECT_NE(texts[2].find("\"status\":503"), std::string::npos);
}

TEST_F(ForeignAnswerTest, SenderWaitsForSpace) {
    ForeignAnswer::Limits limits;
    limits.patience = 45s;
    startStream("1 wait", limits);
    std::thread reader([this] {
        std::string one;
        EXPECT_TRUE(answer->takeText(one, 1));
    });
    EXPECT_FALSE(handler->onNext(value(1)));
    reader.join();
    EXPECT_EQ(take(), Texts{R"({"status":299,"value":1})"});
}

TEST_F(ForeignAnswerTest, SenderThatWaitsTooLongDisconnects) {
    ForeignAnswer::Limits limits;
    limits.patience = 1ms;
    startStream("1 wait", limits);
    EXPECT_TRUE(handler->onNext(value(1)));
    EXPECT_TRUE(answer->isEnough(0));
}

TEST_F(ForeignAnswerTest, ClosedAnswerWakesTheSender) {
    ForeignAnswer::Limits limits;
    limits.patience = 45s;
    startStream("1 wait", limits);
    loop->post([this] { answer->close(); });
    EXPECT_TRUE(handler->onNext(value(1)));
}

TEST_F(ForeignAnswerTest, BytesOfWaitingValuesAreLimited) {
    ForeignAnswer::Limits limits;
    limits.bytes = 3;
    start(ForeignCall::Answer::events, limits);
    EXPECT_FALSE(handler->onNext(value(12345)));  // one value may be larger
    EXPECT_TRUE(handler->onNext(value(1)));
    EXPECT_EQ(take().size(), 2U);
}

class UnknownTerms : public ForeignAnswerTest, public ::testing::WithParamInterface<char const*> {};

TEST_P(UnknownTerms, AreIgnored) {
    startStream(GetParam());
    for (int i = 0; i < 100; ++i) {
        EXPECT_FALSE(handler->onNext(value(i)));
    }
    EXPECT_EQ(take().size(), 101U);
}

INSTANTIATE_TEST_SUITE_P(ForeignAnswerTest, UnknownTerms,
                         ::testing::Values("", "2", "2 ", "2 x", "0 conflate", "-1 conflate",
                                           "x conflate", "2 conflate ", "2  conflate"));

}  // namespace
}  // namespace kova::http::detail
