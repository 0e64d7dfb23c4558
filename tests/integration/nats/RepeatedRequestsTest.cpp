// Requests that are sent again, at a server that is a peer: it loses them by the heartbeat of a
// message that it has not sent.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "Peer.h"
#include "kova/core/headers.h"
#include "kova/nats/Connect.h"
#include "kova/nats/Server.h"
#include "kova/testing/Recording.h"
#include "support/Broker.h"
#include "support/HeldService.h"
#include "support/Watchdog.h"
#include "wire/Records.h"
#include "wire/Repetition.h"

namespace kova::test {
namespace {

using namespace std::chrono_literals;
using testing::Recording;
using Events = Recording::Events;

constexpr char const* REQUESTS = "kova.device.@q";
constexpr char const* CONTROL = "kova.@c.peer.1";
constexpr char const* LOST = "error 503 lost: messages 1 to 1 of the answer have not arrived";
constexpr char const* NO_SERVER = "error 503 no server of '/device'";

std::string value(unsigned short status) {
    std::string record;
    wire::appendEvent(record, wire::RecordKind::next, Response(status), true).orThrow();
    return record;
}

std::string completed(bool isFirst = true) {
    std::string record;
    wire::appendCompleted(record, isFirst);
    return record;
}

std::string error(unsigned short status, char const* message) {
    std::string record;
    wire::appendEvent(record, wire::RecordKind::error,
                      Response::createErrorResponse(status, message), true)
        .orThrow();
    return record;
}

Request subscription(const std::string& path = "/stream") {
    Request request("retrieve", path);
    headers::appendResponseSemantic(request, headers::PERSISTENT_STREAM);
    return request;
}

/// A client that sends requests again, and a server that loses them. No heartbeat is missed.
class NatsRepeatedRequestsTest : public ::testing::Test {
protected:
    NatsRepeatedRequestsTest() {
        options.broker.heartbeat = 60s;
        options.patience = 60s;
        options.retriesRetrievals = true;
        options.resubscribes = true;
    }

    void serve() {
        peer.emplace(broker.url());
        peer->subscribe("kova.>");
    }
    Recording send(const Request& request) {
        if (!client) {
            client = nats::connect(broker.url(), "/device", "", options).orThrow();
        }
        Recording recording;
        handle = client->actionRequest(request, recording.handler());
        return recording;
    }
    Recording send(const std::string& command = "retrieve") { return send(Request(command, "/x")); }
    /// Waits for a request, which has to be the next message.
    void accept() {
        request = peer->receive();
        EXPECT_EQ(request.subject, REQUESTS);
    }
    bool isFor(const std::string& path) const {
        return request.data.find(path) != std::string::npos;
    }
    /// Sends the first message of the answer, which is not the last one.
    void begin(const std::string& records) {
        peer->send(request.reply, frame(2, 1, records), CONTROL);
    }
    /// Sends the whole answer.
    void answer(const std::string& records) { peer->send(request.reply, frame(2, 1, records)); }
    /// Loses the message with this number, and waits until the client has cancelled the request.
    void lose(std::uint64_t number = 1) {
        peer->send(request.reply, frame(3, number), CONTROL);
        const Peer::Received cancellation = peer->receive();
        EXPECT_EQ(cancellation.subject, CONTROL);
        EXPECT_EQ(cancellation.data, frame(4, 0));
    }

    Watchdog watchdog{"a request is sent again"};
    Broker broker;
    nats::ConnectOptions options;
    std::optional<Peer> peer;
    Peer::Received request;
    void* handle = nullptr;
    std::unique_ptr<IKovaApi> client;
};

TEST_F(NatsRepeatedRequestsTest, RetrievalWithoutAValueIsSentAgainUnchanged) {
    serve();
    const Recording recording = send();
    accept();
    const Peer::Received former = request;
    lose();
    accept();
    EXPECT_EQ(request.data, former.data);
    EXPECT_NE(request.reply, former.reply);
    answer(value(200) + completed(false));
    EXPECT_EQ(recording.waitFor(2), (Events{"value 200", "completed"}));
}

TEST_F(NatsRepeatedRequestsTest, RetrievalIsSentAgainAtMostThreeTimes) {
    serve();
    const Recording recording = send();
    for (int i = 0; i <= wire::Repetition::MOST_RETRIES; ++i) {
        accept();
        lose();
    }
    EXPECT_EQ(recording.waitFor(1), Events{LOST});
    const Recording other = send(Request("retrieve", "/other"));
    accept();
    EXPECT_TRUE(isFor("/other"));
}

TEST_F(NatsRepeatedRequestsTest, RetrievalWithAValueIsNotSentAgain) {
    serve();
    const Recording recording = send();
    accept();
    begin(value(200));
    lose(2);
    EXPECT_EQ(
        recording.waitFor(2),
        (Events{"value 200", "error 503 lost: messages 2 to 2 of the answer have not arrived"}));
}

TEST_F(NatsRepeatedRequestsTest, OnlyRetrievalsAreSentAgain) {
    serve();
    for (char const* const command : {"update", "insert", "delete", "other"}) {
        const Recording recording = send(command);
        accept();
        lose();
        EXPECT_EQ(recording.waitFor(1), Events{LOST}) << command;
    }
}

TEST_F(NatsRepeatedRequestsTest, NothingIsSentAgainByDefault) {
    options.retriesRetrievals = nats::ConnectOptions{}.retriesRetrievals;
    options.resubscribes = nats::ConnectOptions{}.resubscribes;
    serve();
    const Recording recording = send(subscription());
    accept();
    lose();
    EXPECT_EQ(recording.waitFor(1), Events{LOST});
}

TEST_F(NatsRepeatedRequestsTest, RequestForAStreamIsSentAgainBeforeItsFirstValue) {
    options.retriesRetrievals = false;
    serve();
    const Recording recording = send(subscription());
    for (int i = 0; i <= wire::Repetition::MOST_RETRIES; ++i) {
        accept();
        lose();
    }
    accept();
    begin(value(299));
    EXPECT_EQ(recording.waitFor(1), Events{"value 299"});
}

TEST_F(NatsRepeatedRequestsTest, LostStreamGetsAFreshSnapshot) {
    serve();
    const Recording recording = send();
    for (int i = 0; i < 2; ++i) {
        accept();
        begin(value(299));
        lose(2);
    }
    accept();
    answer(value(200) + completed(false));
    EXPECT_EQ(recording.waitFor(4), (Events{"value 299", "value 299", "value 200", "completed"}));
}

TEST_F(NatsRepeatedRequestsTest, LateMessagesOfTheFormerServerAreRefused) {
    serve();
    const Recording recording = send(subscription());
    accept();
    const Peer::Received former = request;
    lose();
    accept();
    peer->send(former.reply, frame(2, 1, value(218)), "kova.@c.former.1");
    const Peer::Received cancellation = peer->receive();
    EXPECT_EQ(cancellation.subject, "kova.@c.former.1");
    EXPECT_EQ(cancellation.data, frame(4, 0));
    answer(value(299) + completed(false));
    EXPECT_EQ(recording.waitFor(2), (Events{"value 299", "completed"}));
}

TEST_F(NatsRepeatedRequestsTest, ErrorOfTheServiceEndsAStream) {
    serve();
    const Recording recording = send(subscription());
    accept();
    lose();
    accept();
    answer(error(404, "no such stream"));
    EXPECT_EQ(recording.waitFor(1), Events{"error 404 no such stream"});
}

TEST_F(NatsRepeatedRequestsTest, ErrorOfAServerThatIsNotLostEndsAStream) {
    serve();
    const Recording recording = send(subscription());
    accept();
    answer(error(503, "lost: the client does not read"));
    EXPECT_EQ(recording.waitFor(1), Events{"error 503 lost: the client does not read"});
}

TEST_F(NatsRepeatedRequestsTest, StreamGoesOnAtTheNextServerWhenItsServerStops) {
    nats::ServerOptions serverOptions;
    serverOptions.servicePath = "/device";
    HeldService service;
    nats::Server server(service, broker.url(), serverOptions);
    server.waitUntilServing(30s).orThrow();
    const Recording stream = send(subscription());
    service.waitForRequests(1);
    service[1].onNext(Response(299));
    stream.waitFor(1);
    HeldService otherService;
    const nats::Server other(otherService, broker.url(), serverOptions);
    other.waitUntilServing(30s).orThrow();
    EXPECT_TRUE(server.stop(0ms).empty());
    otherService.waitForRequests(1);
    otherService.answer(1, Response(299));
    EXPECT_EQ(stream.waitFor(3), (Events{"value 299", "value 299", "completed"}));
}

// The delays of a stream without a value add up to at least 3.6 s, those of one with values to at
// most 0.24 s.
TEST_F(NatsRepeatedRequestsTest, ValueEndsTheGrowthOfTheDelay) {
    constexpr std::size_t LOSSES = 12;
    serve();
    const Recording recording = send(subscription());
    const auto begun = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < LOSSES; ++i) {
        accept();
        begin(value(299));
        lose(2);
    }
    accept();
    EXPECT_LT(std::chrono::steady_clock::now() - begun, 3600ms);
    EXPECT_EQ(recording.events(), Events(LOSSES, "value 299"));
}

// Waiting

// The broker refuses the requests of a client in their order, so the stream was refused, too.
TEST_F(NatsRepeatedRequestsTest, StreamWaitsForAServerWithoutALimit) {
    const Recording stream = send(subscription());
    const Recording other = send();
    EXPECT_EQ(other.waitFor(1), Events{NO_SERVER});
    EXPECT_EQ(stream.events(), Events{});
    serve();
    accept();
    EXPECT_TRUE(isFor("/stream"));
    answer(completed());
    EXPECT_EQ(stream.waitFor(1), Events{"completed"});
}

// The broker refuses the requests of a client in their order, so the retrieval waits for nothing.
TEST_F(NatsRepeatedRequestsTest, RetrievalWithoutAServerIsNotSentAgain) {
    const Recording retrieval = send();
    const Recording change = send("update");
    EXPECT_EQ(change.waitFor(1), Events{NO_SERVER});
    EXPECT_EQ(retrieval.events(), Events{NO_SERVER});
}

// The end of the other request proves that the patience has passed.
TEST_F(NatsRepeatedRequestsTest, StreamWaitsForTheBrokerWithoutALimit) {
    serve();
    options.patience = 10ms;
    const Recording stream = send(subscription());
    accept();
    peer.reset();
    broker.stop();
    const Recording other = send("update");
    EXPECT_EQ(other.waitFor(1).at(0).find("error 503 lost: "), 0U) << other.events().at(0);
    EXPECT_EQ(stream.events(), Events{});
    broker.start();
    serve();
    accept();
    EXPECT_TRUE(isFor("/stream"));
    answer(completed());
    EXPECT_EQ(stream.waitFor(1), Events{"completed"});
}

// The stream waits for the first connection, which may take longer than the patience.
TEST_F(NatsRepeatedRequestsTest, LostRetrievalWaitsForTheBrokerForThePatience) {
    serve();
    options.patience = 10ms;
    const Recording stream = send(subscription());
    accept();
    const Recording retrieval = send();
    accept();
    peer.reset();
    broker.stop();
    EXPECT_EQ(retrieval.waitFor(1).at(0).find("error 503 lost: no connection to nats://"), 0U)
        << retrieval.events().at(0);
    EXPECT_EQ(stream.events(), Events{});
}

TEST_F(NatsRepeatedRequestsTest, CancelledStreamIsNotSentAgain) {
    const Recording stream = send(subscription());
    void* const streamHandle = handle;
    const Recording other = send();
    EXPECT_EQ(other.waitFor(1), Events{NO_SERVER});
    client->cancelRequest(streamHandle);
    EXPECT_TRUE(stream.waitUntilDestroyed());
    EXPECT_EQ(stream.events(), Events{});
    serve();
    for (char const* const path : {"/a", "/b"}) {
        const Recording later = send(subscription(path));
        accept();
        EXPECT_TRUE(isFor(path));
        lose();
        accept();
        EXPECT_TRUE(isFor(path));
        answer(completed());
        EXPECT_EQ(later.waitFor(1), Events{"completed"});
    }
}

TEST_F(NatsRepeatedRequestsTest, StreamThatWasSentAgainCanBeCancelled) {
    serve();
    const Recording stream = send(subscription());
    accept();
    answer(error(503, "lost: the server stops"));
    accept();
    begin(value(299));
    stream.waitFor(1);
    client->cancelRequest(handle);
    const Peer::Received cancellation = peer->receive();
    EXPECT_EQ(cancellation.subject, CONTROL);
    EXPECT_EQ(cancellation.data, frame(4, 0));
    EXPECT_TRUE(stream.waitUntilDestroyed());
    EXPECT_EQ(stream.events(), Events{"value 299"});
}

TEST_F(NatsRepeatedRequestsTest, DestructionDropsAStreamThatWaitsForItsServer) {
    const Recording stream = send(subscription());
    EXPECT_EQ(send().waitFor(1), Events{NO_SERVER});
    client.reset();
    EXPECT_EQ(stream.living(), 0U);
    EXPECT_EQ(stream.events(), Events{});
}

}  // namespace
}  // namespace kova::test
