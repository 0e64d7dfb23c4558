// Each allocation of a thread of the endpoint's process fails once, while a client performs the
// operation of the test row. All other clients are still served.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "kova/http/Endpoint.h"
#include "support/Answerer.h"
#include "support/FailingThread.h"
#include "support/Reports.h"
#include "support/Watchdog.h"
#include "unit/http/server/Served.h"

namespace kova::http {
namespace {

using namespace std::chrono_literals;
using kova::test::Answerer;
using kova::test::FailingThread;
using test::Http2Client;
using test::recordOf;
using test::SocketClient;
using test::SocketDirectory;

const std::string NOW = recordOf(Request("retrieve", "/now"));
constexpr char const* LOOP = Answerer::LOOP;
constexpr char const* SENDER = Answerer::SENDER;
const std::string HEAD = " HTTP/1.1\r\nHost: localhost\r\n";
const std::string LAST = "Connection: close\r\n\r\n";

std::string get(const std::string& path, const std::string& fields = LAST) {
    return "GET " + path + HEAD + fields;
}

/// Sends the texts one by one with HTTP/1.1, and reads all answers. Stops if the connection is
/// closed early.
std::string converse(const std::string& address, const std::vector<std::string>& texts) {
    SocketClient client(address);
    for (const std::string& text : texts) {
        client.send(text);
    }
    return client.receiveAll();
}

int requestInRecords(const std::string& address, const Request& request) {
    Http2Client client(address);
    return client.wait(client.send(recordOf(request))).status;
}

void cancelInRecords(const std::string& address) {
    Http2Client client(address);
    const std::int32_t id = client.send(recordOf(Request("retrieve", "/kept")));
    client.send(NOW);
    client.waitUntil([&] { return client[id].isClosed || client[id + 2].isClosed; });
    client.reset(id);
    client.wait(client.send(NOW));
}

Request withBody(const std::string& path) {
    return {"update", path, Payload::createFromString(std::string(300'000, 'x'))};
}

struct Row {
    char const* name;
    char const* thread;
    std::function<void(const std::string& address)> act;
};

const std::vector<Row> ROWS = {
    {"ConnectionWithoutBytes", LOOP,
     [](const std::string& address) {
         SocketClient client(address);
         client.halfClose();
         client.receiveAll();
     }},
    {"RequestInRecords", LOOP,
     [](const std::string& address) {
         requestInRecords(address, {"retrieve", "/now"});
     }},
    {"LaterAnswerInRecords", LOOP,
     [](const std::string& address) {
         requestInRecords(address, {"retrieve", "/later"});
     }},
    {"BodyInRecords", LOOP,
     [](const std::string& address) { requestInRecords(address, withBody("/now")); }},
    {"CancellationInRecords", LOOP, cancelInRecords},
    {"RefusalOverHttp2", LOOP,
     [](const std::string& address) {
         Http2Client client(address);
         client.wait(client.send(
             {{":method", "GET"}, {":scheme", "http"}, {":path", "/"}, {":authority", "localhost"}},
             ""));
     }},
    {"ValueOverHttp1", LOOP,
     [](const std::string& address) {
         converse(address, {get("/now", "\r\n"), get("/now")});
     }},
    {"LaterValueOverHttp1", LOOP,
     [](const std::string& address) { converse(address, {get("/later")}); }},
    {"BodyOverHttp1", LOOP,
     [](const std::string& address) {
         converse(address, {"PUT /later" + HEAD + "Transfer-Encoding: chunked\r\n" + LAST,
                            "4\r\nabcd\r\n", "3\r\nefg\r\n0\r\n\r\n"});
     }},
    {"RefusalOverHttp1", LOOP,
     [](const std::string& address) { converse(address, {"A" + get("/")}); }},
    {"EventsOverHttp1", LOOP,
     [](const std::string& address) {
         converse(address,
                  {get("/?watch=/later&watch=/now", "Accept: text/event-stream\r\n" + LAST)});
     }},
    {"CancellationOverHttp1", LOOP,
     [](const std::string& address) {
         SocketClient client(address);
         client.send(get("/kept", "Accept: text/event-stream\r\n\r\n"));
         client.receive();
     }},
    {"SentAnswerInRecords", SENDER,
     [](const std::string& address) {
         requestInRecords(address, {"retrieve", "/later"});
     }},
    {"SentValueOverHttp1", SENDER,
     [](const std::string& address) { converse(address, {"PUT /later" + HEAD + LAST}); }},
    {"SentEventsOverHttp1", SENDER,
     [](const std::string& address) {
         converse(address, {get("/later", "Accept: text/event-stream\r\n" + LAST)});
     }},
};

class FailingMemoryOfEndpoint : public ::testing::Test {
protected:
    /// Calls `act` repeatedly: in the first call the first allocation fails, in the second call the
    /// second one, and so on, until none fails. Calls `check` after each call with a failure.
    template <typename Act, typename Check>
    void failEach(Act act, Check check) {
        long count = 0;
        for (;; ++count) {
            watchdog.enter("allocation " + std::to_string(count) + " fails");
            FailingThread::failAfter(count);
            act();
            if (!FailingThread::stop()) {
                break;
            }
            check(count);
        }
        EXPECT_GT(count, 0);
        RecordProperty("allocations", static_cast<int>(count));
    }
    void waitForConnections(const Endpoint& endpoint, std::size_t count) const {
        while (endpoint.connections() != count) {
            std::this_thread::yield();
        }
    }

    kova::test::Watchdog watchdog{"memory fails"};
    const kova::test::Reports reports;
    SocketDirectory directory;
    Answerer service;
    long next_ = 0;
};

class FailingMemory : public FailingMemoryOfEndpoint, public ::testing::WithParamInterface<Row> {};

TEST_P(FailingMemory, OtherClientsAreStillServed) {
    EndpointOptions options;
    // Small, so that the test fails if a request is never subtracted from the count.
    options.requestsOfPeer = 4;
    const Endpoint endpoint(service, directory.address(), options);
    Http2Client neighbour(directory.address());
    neighbour.wait(neighbour.send(recordOf(Request("retrieve", GetParam().thread))));
    SocketClient foreign(directory.address());
    foreign.send(get("/now", "\r\n"));
    foreign.receive();
    failEach(
        [&] {
            GetParam().act(directory.address());
            waitForConnections(endpoint, 2);
        },
        [&](long count) {
            EXPECT_EQ(neighbour.wait(neighbour.send(NOW)).status, 200) << count;
            foreign.send(get("/now", "\r\n"));
            EXPECT_EQ(foreign.receive().substr(9, 3), "200") << count;
            EXPECT_EQ(converse(directory.address(), {get("/now")}).substr(9, 3), "200") << count;
        });
}

// The deadlines of connections that are stalled or idle. There is no client that stays connected,
// because its connection would be idle, too.
TEST_F(FailingMemoryOfEndpoint, StalledAndIdleConnectionsAreClosed) {
    EndpointOptions options;
    options.firstBytes = 20ms;
    options.idle = 20ms;
    const Endpoint endpoint(service, directory.address(), options);
    // Selects the thread of the loop. On a busy machine this client may miss the deadlines, too.
    while (requestInRecords(directory.address(), {"retrieve", LOOP}) != 200) {
    }
    failEach(
        [&] {
            SocketClient silent(directory.address());
            SocketClient slow(directory.address());
            slow.send("GET /now");
            Http2Client stalled(directory.address());
            stalled.send(Http2Client::recordFields(), NOW.substr(0, 10), false);
            SocketClient idle(directory.address());
            idle.send(get("/now", "\r\n"));
            // Waits for an answer or the end; then all four connections have been accepted.
            idle.receive();
            waitForConnections(endpoint, 0);
        },
        [&](long) {
            // On a busy machine this client may itself miss the deadlines, so it tries again.
            while (converse(directory.address(), {get("/now")}).rfind("HTTP/1.1 200 ", 0) != 0) {
            }
            waitForConnections(endpoint, 0);
        });
}

// `stop` also allocates memory.
TEST_F(FailingMemoryOfEndpoint, StopSucceedsIfAnAllocationFails) {
    failEach(
        [&] {
            FailingThread::stop();
            Endpoint endpoint(service, directory.address());
            Http2Client client(directory.address());
            client.wait(client.send(recordOf(Request("retrieve", LOOP))));
            client.send(recordOf(Request("retrieve", "/kept")));
            client.wait(client.send(NOW));
            SocketClient foreign(directory.address());
            foreign.send(get("/kept", "\r\n") + get("/now"));
            converse(directory.address(), {get("/now")});
            FailingThread::failAfter(next_++);
            EXPECT_TRUE(endpoint.stop(0ms).empty());
            EXPECT_EQ(endpoint.connections(), 0U);
        },
        [](long) {});
}

INSTANTIATE_TEST_SUITE_P(Rows, FailingMemory, ::testing::ValuesIn(ROWS),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace kova::http
