// Connections of earlier releases, with today's endpoint and today's client.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "kova/http/Connect.h"
#include "kova/http/Endpoint.h"
#include "support/Documents.h"
#include "support/Http2Peer.h"
#include "support/SocketClient.h"
#include "upgrade/RecordedConnection.h"

namespace kova::test {
namespace {

constexpr char const* RECORDED = "tests/upgrade/recorded";

/// Returns the releases with a recorded connection.
std::vector<std::string> releases() {
    std::vector<std::string> names;
    for (const std::string& file : filesBelow(RECORDED, ".txt")) {
        names.push_back(std::filesystem::path(file).stem().string());
    }
    return names;
}

std::string nameOf(const ::testing::TestParamInfo<std::string>& info) {
    return "Release" + std::regex_replace(info.param, std::regex(R"(\W)"), "_");
}

/// Returns the events of answers, without their header fields.
std::vector<std::vector<std::string>> eventsOf(std::vector<std::vector<std::string>> answers) {
    for (std::vector<std::string>& answer : answers) {
        answer.erase(answer.begin(), answer.begin() + 2);
    }
    return answers;
}

/// Receives until a further request is complete.
void receiveRequest(SocketClient& server, Decoder& sent) {
    const int before = sent.complete();
    while (sent.complete() == before) {
        const std::string bytes = server.receive();
        if (bytes.empty()) {
            throw std::runtime_error("the client sends no request");
        }
        sent.add(bytes);
    }
}

class RecordedConnectionsTest : public ::testing::TestWithParam<std::string> {
protected:
    RecordedConnectionsTest()
        : turns_(
              readTurns(std::string(KOVA_SOURCE_DIR "/") + RECORDED + "/" + GetParam() + ".txt")) {
        Decoder requests(true);
        for (const Turn& turn : turns_) {
            if (turn.isOfClient) {
                requests.add(turn.bytes);
            }
        }
        requests_ = requests.messages();
        Decoder answers(false, count());
        for (const Turn& turn : turns_) {
            if (!turn.isOfClient) {
                answers.add(turn.bytes);
            }
        }
        answers_ = answers.messages();
    }

    int count() const { return static_cast<int>(requests_.size()); }

    std::vector<Turn> turns_;
    std::vector<std::vector<std::string>> requests_;
    std::vector<std::vector<std::string>> answers_;
};

TEST_P(RecordedConnectionsTest, RecordingContainsRequestsWithTheirAnswers) {
    EXPECT_GE(count(), 7);
    EXPECT_EQ(requests_.size(), answers_.size());
    for (const std::vector<std::string>& answer : answers_) {
        ASSERT_GE(answer.size(), 3U);
        EXPECT_EQ(answer.front(), ":status: 200");
    }
}

TEST_P(RecordedConnectionsTest, EndpointAnswersTheClientOfTheReleaseAsItsOwnEndpointDid) {
    SampleService service;
    const http::Endpoint endpoint(service, "tcp:127.0.0.1:0");
    SocketClient client(endpoint.address());
    Decoder recorded(false, count());
    Decoder replayed(false, count());
    for (const Turn& turn : turns_) {
        if (turn.isOfClient) {
            ASSERT_TRUE(client.send(turn.bytes));
            continue;
        }
        recorded.add(turn.bytes);
        while (replayed.complete() < recorded.complete() ||
               replayed.settings() < recorded.settings()) {
            const std::string bytes = client.receive();
            ASSERT_NE(bytes, "") << "after " << replayed.complete() << " answers";
            replayed.add(bytes);
        }
    }
    EXPECT_EQ(replayed.messages(), answers_);
}

TEST_P(RecordedConnectionsTest, ClientGetsTheEventsOfTheEndpointOfTheRelease) {
    UnixListener listener;
    listener.listen();
    const auto api = http::connect(listener.address()).orThrow();
    const std::vector<Request> requests = sampleRequests();
    ASSERT_GE(requests.size(), requests_.size());
    Decoder recorded(true);
    Decoder sent(true);
    std::vector<std::vector<std::string>> ended;
    std::optional<Events> events;
    std::optional<SocketClient> server;
    for (const Turn& turn : turns_) {
        if (!turn.isOfClient) {
            ASSERT_TRUE(server && server->send(turn.bytes));
            continue;
        }
        recorded.add(turn.bytes);
        while (sent.complete() < recorded.complete()) {
            // As in the recording, a request follows the end of the one before.
            if (events) {
                ended.push_back(events->wait());
            }
            events.emplace(*api, requests.at(static_cast<std::size_t>(sent.complete())));
            if (!server) {
                server.emplace(listener.accept());
            }
            receiveRequest(*server, sent);
        }
    }
    ASSERT_TRUE(events);
    ended.push_back(events->wait());
    EXPECT_EQ(sent.messages(), requests_);
    EXPECT_EQ(ended, eventsOf(answers_));
}

INSTANTIATE_TEST_SUITE_P(Releases, RecordedConnectionsTest, ::testing::ValuesIn(releases()),
                         nameOf);

TEST(RecordedReleasesTest, EachReleaseOfTheChangelogHasARecordedConnection) {
    const std::string changes = read("CHANGELOG.md");
    const std::regex heading("## ([0-9.]+)");
    std::vector<std::string> versions;
    for (std::sregex_iterator at(changes.begin(), changes.end(), heading), end; at != end; ++at) {
        versions.push_back((*at)[1]);
    }
    std::sort(versions.begin(), versions.end());
    EXPECT_GE(versions.size(), 1U);
    EXPECT_EQ(releases(), versions);
}

}  // namespace
}  // namespace kova::test
