#include "nats/client/ClientStream.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "contract/service/Inbox.h"
#include "wire/Records.h"
#include "wire/Repetition.h"

namespace kova::nats::detail {
namespace {

using Events = test::Inbox::Events;

std::string recordOf(unsigned short status, bool isFirst) {
    std::string record;
    wire::appendEvent(record, wire::RecordKind::next, Response(status), isFirst).orThrow();
    return record;
}

std::string errorRecord(unsigned short status, char const* message) {
    std::string record;
    wire::appendEvent(record, wire::RecordKind::error,
                      Response::createErrorResponse(status, message), true)
        .orThrow();
    return record;
}

std::string completed(bool isFirst) {
    std::string record;
    wire::appendCompleted(record, isFirst);
    return record;
}

/// A stream whose window has four values.
class ClientStreamTest : public ::testing::Test {
protected:
    void receive(FrameKind kind, std::uint64_t number, const std::string& records = {}) {
        stream.onFrame({kind, number, 0, records});
    }
    void begin(bool retries, bool resubscribes) {
        const Request request("retrieve", "/");
        repeated.emplace(inbox.handler(), nullptr, "request", 4,
                         wire::Repetition(request, retries, resubscribes));
    }
    void receiveAgain(FrameKind kind, std::uint64_t number, const std::string& records = {}) {
        repeated->onFrame({kind, number, 0, records});
    }
    std::string last() const { return inbox.events().empty() ? "" : inbox.events().back(); }
    bool hasFailedWith(const std::string& text) const {
        return stream.isEnded() && last().find("error " + text.substr(0, 3)) == 0 &&
               last().find(text.substr(4)) != std::string::npos;
    }

    test::Inbox inbox;
    ClientStream stream{inbox.handler(), nullptr, "request", 4};
    std::optional<ClientStream> repeated;  ///< a request that may be sent again
};

TEST_F(ClientStreamTest, RecordsOfMessagesAreDelivered) {
    receive(FrameKind::answer, 1, recordOf(200, true) + recordOf(201, false));
    receive(FrameKind::answer, 2, completed(false));
    EXPECT_EQ(inbox.events().size(), 3U);
    EXPECT_EQ(last(), "completed");
    EXPECT_TRUE(stream.isEnded());
    EXPECT_TRUE(stream.isComplete());
}

TEST_F(ClientStreamTest, MissingMessageIsALoss) {
    receive(FrameKind::answer, 1, recordOf(200, true));
    receive(FrameKind::answer, 4, recordOf(201, false));
    EXPECT_TRUE(hasFailedWith("503 lost: messages 2 to 3 of the answer have not arrived"));
    EXPECT_FALSE(stream.isComplete());
}

TEST_F(ClientStreamTest, HeartbeatRevealsThatTheLatestMessageIsMissing) {
    receive(FrameKind::alive, 0);
    EXPECT_FALSE(stream.isEnded());
    receive(FrameKind::alive, 1);
    EXPECT_TRUE(hasFailedWith("503 lost: messages 1 to 1 of the answer have not arrived"));
}

TEST_F(ClientStreamTest, HeartbeatThatAMessageHasOvertakenIsNoLoss) {
    receive(FrameKind::answer, 1, recordOf(200, true));
    receive(FrameKind::alive, 0);
    EXPECT_FALSE(stream.isEnded());
}

TEST_F(ClientStreamTest, MalformedAnswersEndTheRequest) {
    const struct {
        FrameKind kind;
        std::uint64_t number;
        std::string records;
        char const* reason;
    } rows[] = {
        {FrameKind::answer, 0, "", "message 0 has arrived twice"},
        {FrameKind::answer, 1, recordOf(200, false), "the first record has no version"},
        {FrameKind::answer, 1, recordOf(200, true).substr(0, 9), "ends inside a record"},
        {FrameKind::cancel, 0, "", "it has a message of a client"},
        {FrameKind::here, 0, "a", "it has a message of a client or of a search"},
    };
    for (const auto& row : rows) {
        const test::Inbox own;
        ClientStream other(own.handler(), nullptr, "request", 4);
        other.onFrame({row.kind, row.number, 0, row.records});
        ASSERT_EQ(own.events().size(), 1U) << row.reason;
        EXPECT_EQ(own.events()[0].find("error 502"), 0U) << own.events()[0];
        EXPECT_NE(own.events()[0].find(row.reason), std::string::npos) << own.events()[0];
    }
}

TEST_F(ClientStreamTest, SearchReportsEachInstance) {
    ClientStream search(inbox.handler(), nullptr, "search", 0);
    search.onFrame({FrameKind::here, 0, 0, "a"});
    search.onFrame({FrameKind::answer, 1, 0, completed(true)});
    search.refuse("too short");
    search.onFrame({FrameKind::here, 0, 0, "b"});
    EXPECT_EQ(inbox.events(), (Events{"next 200 '' without payload {\"$instance\":\"a\"}",
                                      "next 200 '' without payload {\"$instance\":\"b\"}"}));
    EXPECT_EQ(search.takeCredit(), 0U);
    search.lose("silent");
    EXPECT_EQ(last().find("error 503"), 0U);
}

TEST_F(ClientStreamTest, RequestRecordInAnAnswerIsRefused) {
    std::string record;
    wire::appendRequest(record, Request("retrieve", "/")).orThrow();
    receive(FrameKind::answer, 1, record);
    EXPECT_TRUE(hasFailedWith("502 malformed answer: it has the record of a request"));
}

TEST_F(ClientStreamTest, CreditIsGrantedForHalfOfTheWindow) {
    receive(FrameKind::answer, 1, recordOf(200, true));
    EXPECT_EQ(stream.takeCredit(), 0U);
    receive(FrameKind::answer, 2, recordOf(200, false));
    EXPECT_EQ(stream.takeCredit(), 2U);
    EXPECT_EQ(stream.takeCredit(), 0U);
}

TEST_F(ClientStreamTest, EachRequestEndsOnce) {
    stream.lose("once");
    stream.lose("twice");
    stream.fail({500, "three times"});
    receive(FrameKind::answer, 1, recordOf(200, true));
    EXPECT_EQ(inbox.events().size(), 1U);
    EXPECT_TRUE(hasFailedWith("503 lost: once"));
}

TEST_F(ClientStreamTest, DroppedRequestGetsNoEvent) {
    stream.drop();
    receive(FrameKind::answer, 1, recordOf(200, true) + completed(false));
    stream.lose("late");
    EXPECT_EQ(inbox.events(), Events{});
}

TEST_F(ClientStreamTest, RequestIsForgottenUnlessItMayBeSentAgain) {
    stream.forgetRequest();
    EXPECT_EQ(stream.request, "");
    begin(true, false);
    repeated->forgetRequest();
    EXPECT_EQ(repeated->request, "request");
    receiveAgain(FrameKind::answer, 1, recordOf(200, true));
    repeated->forgetRequest();
    EXPECT_EQ(repeated->request, "");
}

TEST_F(ClientStreamTest, RequestThatMayBeSentAgainDoesNotEndWithItsLoss) {
    begin(true, false);
    receiveAgain(FrameKind::alive, 1);
    EXPECT_TRUE(repeated->isLost());
    EXPECT_FALSE(repeated->isEnded());
    EXPECT_FALSE(repeated->isComplete());
    receiveAgain(FrameKind::answer, 1, recordOf(200, true) + completed(false));
    EXPECT_EQ(inbox.events(), Events{});
}

TEST_F(ClientStreamTest, AnswerBeginsAnew) {
    begin(false, true);
    receiveAgain(FrameKind::answer, 1, recordOf(299, true));
    receiveAgain(FrameKind::answer, 2, recordOf(299, false));
    EXPECT_TRUE(repeated->hasValue());
    receiveAgain(FrameKind::answer, 4, recordOf(299, false));
    ASSERT_TRUE(repeated->isLost());
    repeated->isSent = true;
    const auto pulse = std::make_shared<Pulse>(nullptr, "control", "", std::chrono::seconds(1));
    repeated->pulse = pulse;
    repeated->beginAgain();
    EXPECT_TRUE(pulse->isOver);
    EXPECT_EQ(repeated->pulse, nullptr);
    EXPECT_FALSE(repeated->isLost());
    EXPECT_FALSE(repeated->isSent);
    EXPECT_FALSE(repeated->hasValue());
    EXPECT_EQ(repeated->takeCredit(), 0U);
    EXPECT_EQ(repeated->request, "request");
    receiveAgain(FrameKind::answer, 1, recordOf(299, true) + completed(false));
    EXPECT_EQ(inbox.events().size(), 4U);
    EXPECT_EQ(last(), "completed");
}

TEST_F(ClientStreamTest, FirstRecordOfANewAnswerNeedsAVersion) {
    begin(false, true);
    receiveAgain(FrameKind::answer, 1, recordOf(299, true));
    receiveAgain(FrameKind::alive, 2);
    ASSERT_TRUE(repeated->isLost());
    repeated->beginAgain();
    receiveAgain(FrameKind::answer, 1, recordOf(299, false));
    EXPECT_TRUE(repeated->isEnded());
    EXPECT_NE(last().find("the first record has no version"), std::string::npos) << last();
}

TEST_F(ClientStreamTest, ServerThatIsLostIsKnownByItsError) {
    const struct {
        unsigned short status;
        char const* message;
        bool isLoss;
    } rows[] = {
        {503, "lost: the server stops", true},
        {503, "lost: the client is silent", true},
        {503, "lost: the client does not read the answer: its queue is full", false},
        {503, "lost: ", false},
        {503, "no server", false},
        {500, "lost: the server stops", false},
    };
    for (const auto& row : rows) {
        begin(true, false);
        const std::size_t before = inbox.events().size();
        receiveAgain(FrameKind::answer, 1,
                     errorRecord(row.status, row.message) + recordOf(200, false));
        EXPECT_EQ(inbox.events().size() - before, row.isLoss ? 0U : 1U) << row.message;
        EXPECT_EQ(repeated->isLost(), row.isLoss) << row.message;
        EXPECT_EQ(repeated->isEnded(), !row.isLoss) << row.message;
        EXPECT_TRUE(repeated->isComplete());
    }
    receive(FrameKind::answer, 1, errorRecord(503, "lost: the server stops"));
    EXPECT_TRUE(hasFailedWith("503 lost: the server stops"));
}

TEST_F(ClientStreamTest, EndedRequestIsNotSentAgain) {
    begin(true, true);
    EXPECT_TRUE(repeated->isRepeatable());
    repeated->drop();
    EXPECT_FALSE(repeated->isRepeatable());
    EXPECT_FALSE(repeated->isPatient());
}

}  // namespace
}  // namespace kova::nats::detail
