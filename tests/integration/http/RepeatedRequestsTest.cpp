#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "client/RemoteService.h"
#include "kova/core/headers.h"
#include "kova/testing/Recording.h"
#include "support/Http2Peer.h"
#include "support/Watchdog.h"
#include "wire/Records.h"
#include "wire/Repetition.h"

namespace kova::http::detail {
namespace {

using namespace std::chrono_literals;
using Events = testing::Recording::Events;
using test::Http2Peer;

std::string value(unsigned short code) {
    std::string record;
    EXPECT_TRUE(wire::appendEvent(record, wire::RecordKind::next, Response(code), true));
    return record;
}

std::string completed(bool isFirst = true) {
    std::string record;
    wire::appendCompleted(record, isFirst);
    return record;
}

std::string error(unsigned short code, char const* message) {
    std::string record;
    EXPECT_TRUE(wire::appendEvent(record, wire::RecordKind::error,
                                  Response::createErrorResponse(code, message), true));
    return record;
}

Request subscription(const std::string& path) {
    Request request("retrieve", path);
    headers::appendResponseSemantic(request, headers::PERSISTENT_STREAM);
    return request;
}

constexpr char const* CLOSED = "error 503 lost: the connection was closed";

/// A client that sends requests again, and a server that loses their connections.
class RepeatedRequestsTest : public ::testing::Test {
protected:
    RepeatedRequestsTest() {
        listener.listen();
        settings.patience = 60s;
        settings.retriesRetrievals = true;
        settings.resubscribes = true;
    }

    testing::Recording send(const Request& request) {
        if (!service) {
            service =
                std::make_unique<RemoteService>(*Address::parse(listener.address()), settings);
        }
        testing::Recording recording;
        handle = service->actionRequest(request, recording.handler());
        return recording;
    }
    testing::Recording send(const std::string& command = "retrieve") {
        return send(Request(command, "/x"));
    }
    /// Waits for a connection and for its first request.
    std::unique_ptr<Http2Peer> accept() {
        auto peer = std::make_unique<Http2Peer>(listener.accept());
        request = peer->waitForRequest();
        return peer;
    }
    /// Returns whether the latest request has this path.
    bool isFor(const std::string& path) const {
        return request.body.find(path) != std::string::npos;
    }

    test::Watchdog watchdog{"a request is sent again"};
    test::UnixListener listener;
    ClientSettings settings;
    Http2Peer::Request request;
    void* handle = nullptr;
    std::unique_ptr<RemoteService> service;
};

TEST_F(RepeatedRequestsTest, RetrievalWithoutAValueIsSentAgainUnchanged) {
    const testing::Recording recording = send();
    accept();
    const std::string first = request.body;
    const auto peer = accept();
    EXPECT_EQ(request.body, first);
    peer->answer(request.number, completed());
    EXPECT_EQ(recording.waitFor(1), (Events{"completed"}));
}

TEST_F(RepeatedRequestsTest, RetrievalIsSentAgainAtMostThreeTimes) {
    const testing::Recording recording = send();
    for (int i = 0; i <= wire::Repetition::MOST_RETRIES; ++i) {
        accept();
    }
    EXPECT_EQ(recording.waitFor(1), (Events{CLOSED}));
}

TEST_F(RepeatedRequestsTest, LongRetrievalIsSentAgain) {
    const std::string path = "/" + std::string(2 * ClientStream::LONGEST_KEPT, 'x');
    const testing::Recording recording = send(Request("retrieve", path));
    accept();
    const auto peer = accept();
    EXPECT_TRUE(isFor(path));
    peer->answer(request.number, completed());
    EXPECT_EQ(recording.waitFor(1), (Events{"completed"}));
}

TEST_F(RepeatedRequestsTest, RetrievalWithAValueIsNotSentAgain) {
    const testing::Recording recording = send();
    auto peer = accept();
    peer->answer(request.number, value(200), false);
    recording.waitFor(1);
    peer.reset();
    EXPECT_EQ(recording.waitFor(2), (Events{"value 200", CLOSED}));
}

TEST_F(RepeatedRequestsTest, OnlyRetrievalsAreSentAgain) {
    for (char const* const command : {"update", "insert", "delete", "other"}) {
        const testing::Recording recording = send(command);
        accept();
        EXPECT_EQ(recording.waitFor(1), (Events{CLOSED})) << command;
    }
}

TEST_F(RepeatedRequestsTest, NothingIsSentAgainByDefault) {
    settings.retriesRetrievals = ClientSettings{}.retriesRetrievals;
    settings.resubscribes = ClientSettings{}.resubscribes;
    const testing::Recording recording = send(subscription("/x"));
    accept();
    EXPECT_EQ(recording.waitFor(1), (Events{CLOSED}));
}

TEST_F(RepeatedRequestsTest, RequestForAStreamIsSentAgainBeforeItsFirstValue) {
    settings.retriesRetrievals = false;
    const testing::Recording recording = send(subscription("/x"));
    for (int i = 0; i <= wire::Repetition::MOST_RETRIES; ++i) {
        accept();
    }
    const auto peer = accept();
    peer->answer(request.number, value(299), false);
    EXPECT_EQ(recording.waitFor(1), (Events{"value 299"}));
}

TEST_F(RepeatedRequestsTest, LostStreamGetsTheValuesOfTheNextConnection) {
    const testing::Recording recording = send();
    auto peer = accept();
    peer->answer(request.number, value(299), false);
    recording.waitFor(1);
    peer.reset();
    peer = accept();
    peer->answer(request.number, value(299) + completed(false));
    EXPECT_EQ(recording.waitFor(3), (Events{"value 299", "value 299", "completed"}));
}

TEST_F(RepeatedRequestsTest, IncompleteValueOfALostConnectionIsDropped) {
    const testing::Recording recording = send();
    auto peer = accept();
    peer->answer(request.number, value(299) + value(299).substr(0, 7), false);
    recording.waitFor(1);
    peer.reset();
    peer = accept();
    peer->answer(request.number, value(299) + completed(false));
    EXPECT_EQ(recording.waitFor(3), (Events{"value 299", "value 299", "completed"}));
}

// The end of the other request proves that the patience has passed.
TEST_F(RepeatedRequestsTest, StreamWaitsForItsServerWithoutALimit) {
    settings.patience = 10ms;
    settings.retriesRetrievals = false;
    const testing::Recording stream = send(subscription("/stream"));
    const auto peer = accept();
    listener.close();
    peer->close();
    const testing::Recording other = send();
    other.waitFor(1);
    EXPECT_EQ(stream.events(), Events{});
    listener.listen();
    const auto successor = accept();
    EXPECT_TRUE(isFor("/stream"));
    successor->answer(request.number, completed());
    EXPECT_EQ(stream.waitFor(1), (Events{"completed"}));
}

TEST_F(RepeatedRequestsTest, CancelledStreamIsNotSentAgain) {
    const testing::Recording stream = send(subscription("/stream"));
    auto peer = accept();
    listener.close();
    peer.reset();
    service->cancelRequest(handle);
    EXPECT_TRUE(stream.waitUntilDestroyed());
    const testing::Recording other = send(Request("retrieve", "/other"));
    listener.listen();
    peer = accept();
    EXPECT_TRUE(isFor("/other"));
    peer->answer(request.number, completed());
    EXPECT_EQ(other.waitFor(1), (Events{"completed"}));
    EXPECT_FALSE(peer->hasRequest());
    EXPECT_EQ(stream.events(), Events{});
}

TEST_F(RepeatedRequestsTest, StreamGoesOnAfterTheErrorOfAServerThatStops) {
    const testing::Recording stream = send(subscription("/stream"));
    const auto peer = accept();
    peer->goAway(request.number);
    peer->answer(request.number, error(503, "lost: the endpoint stops"));
    const auto successor = accept();
    successor->answer(request.number, completed());
    EXPECT_EQ(stream.waitFor(1), (Events{"completed"}));
}

TEST_F(RepeatedRequestsTest, ErrorOfAServerThatDoesNotStopEndsAStream) {
    const testing::Recording stream = send(subscription("/stream"));
    const auto peer = accept();
    peer->answer(request.number, error(503, "lost: the client does not read"));
    EXPECT_EQ(stream.waitFor(1), (Events{"error 503 lost: the client does not read"}));
}

TEST_F(RepeatedRequestsTest, ErrorOfTheServiceEndsAStream) {
    const testing::Recording stream = send(subscription("/stream"));
    accept();
    const auto peer = accept();
    peer->answer(request.number, error(404, "no such stream"));
    EXPECT_EQ(stream.waitFor(1), (Events{"error 404 no such stream"}));
}

TEST_F(RepeatedRequestsTest, DestructionDropsAStreamThatWaitsForItsServer) {
    const testing::Recording stream = send(subscription("/stream"));
    auto peer = accept();
    listener.close();
    peer.reset();
    service.reset();
    EXPECT_EQ(stream.living(), 0U);
    EXPECT_EQ(stream.events(), Events{});
}

}  // namespace
}  // namespace kova::http::detail
