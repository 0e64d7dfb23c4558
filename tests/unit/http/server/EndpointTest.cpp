#include "kova/http/Endpoint.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "Served.h"
#include "kova/kit/Peer.h"
#include "support/HeldService.h"
#include "support/OtherUser.h"
#include "support/Watchdog.h"

namespace kova::http {
namespace {

using namespace std::chrono_literals;
using kova::test::HeldService;
using test::eventsOf;
using test::Http2Client;
using test::recordOf;
using test::SocketClient;
using test::SocketDirectory;
using Events = std::vector<std::string>;

const std::string GET = recordOf(Request("retrieve", "/state"));

/// Returns the number of threads of this process that have a name.
std::size_t countThreads(const std::string& name) {
    std::size_t count = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string found;
        std::getline(std::ifstream(thread.path() / "comm"), found);
        count += found == name ? 1 : 0;
    }
    return count;
}

/// An endpoint over a Unix socket, whose requests a test answers.
class EndpointTest : public ::testing::Test {
protected:
    Endpoint& serve(const EndpointOptions& options = {}) {
        endpoint = std::make_unique<Endpoint>(service, directory.address(), options);
        return *endpoint;
    }
    /// Sends a request and waits until the service has it.
    std::int32_t request(Http2Client& client, std::size_t number = 1) {
        const std::int32_t id = client.send(GET);
        service.waitForRequests(number);
        return id;
    }
    void answerAtOnce() {
        service.onRequest = [this](std::size_t number) { service.answer(number); };
    }
    /// Waits until the endpoint has this many connections.
    void waitForConnections(std::size_t count) const {
        while (endpoint->connections() != count) {
            std::this_thread::yield();
        }
    }

    kova::test::Watchdog watchdog{"an endpoint is used"};
    SocketDirectory directory;
    HeldService service;
    std::unique_ptr<Endpoint> endpoint;
};

TEST_F(EndpointTest, RequestReachesTheServiceAndItsAnswerTheClient) {
    serve();
    Http2Client client(directory.address());
    const std::int32_t id = request(client);
    EXPECT_EQ(service.request(1).getCommand(), "retrieve");
    EXPECT_EQ(service.request(1).getPath(), "/state");
    service.answer(1, Response(201));
    EXPECT_EQ(client.wait(id).status, 200);
    EXPECT_EQ(client[id].fields["content-type"], "application/vnd.kova.events");
    EXPECT_EQ(eventsOf(client[id].body), (Events{"next 201", "completed"}));
}

TEST_F(EndpointTest, AnswerInsideActionRequestIsDelivered) {
    answerAtOnce();
    serve();
    Http2Client client(directory.address());
    for (int i = 0; i < 10; ++i) {
        const std::int32_t id = client.send(GET);
        EXPECT_EQ(eventsOf(client.wait(id).body), (Events{"next 200", "completed"}));
    }
}

TEST_F(EndpointTest, ValuesOfAStreamArriveInTheirOrder) {
    serve();
    Http2Client client(directory.address());
    const std::int32_t id = request(client);
    std::thread sender([&] {
        for (unsigned short code = 0; code < 1000; ++code) {
            service[1].onNext(Response(code));
        }
        service[1].onError(Response::createErrorResponse(410, "gone"));
    });
    const Events events = eventsOf(client.wait(id).body);
    sender.join();
    ASSERT_EQ(events.size(), 1001U);
    for (std::size_t i = 0; i < 1000; ++i) {
        EXPECT_EQ(events[i], "next " + std::to_string(i));
    }
    EXPECT_EQ(events.back(), "error 410 gone");
}

TEST_F(EndpointTest, LargePayloadsTravelBothWays) {
    const std::string bytes(16U << 20U, 'x');
    service.onRequest = [&](std::size_t number) {
        const Payload payload = service.request(number).getPayload();
        service.answer(number, Response(200, payload));
    };
    serve();
    Http2Client client(directory.address());
    const Payload payload = Payload::createFromRaw(
        reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size(), "a/b");
    const std::int32_t id = client.send(recordOf(Request("update", "/state", payload)));
    nghttp2_session_set_local_window_size(client.session(), 0, id, 1 << 30);
    EXPECT_EQ(eventsOf(client.wait(id).body), (Events{"next 200", "completed"}));
    EXPECT_NE(client[id].body.find(bytes), std::string::npos);
}

TEST_F(EndpointTest, ServiceThatRefusesARequestIsAnError) {
    service.rejects = true;
    serve();
    Http2Client client(directory.address());
    const std::int32_t id = client.send(GET);
    EXPECT_EQ(eventsOf(client.wait(id).body), Events{"error 503 the service refuses requests"});
}

TEST_F(EndpointTest, ServiceThatThrowsIsAnErrorOfItsRequest) {
    service.onRequest = [](std::size_t number) {
        if (number == 1) {
            throw std::runtime_error("broken");
        }
    };
    serve();
    Http2Client client(directory.address());
    const std::int32_t first = client.send(GET);
    const Events events = eventsOf(client.wait(first).body);
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].find("error 500"), 0U) << events[0];
    const std::int32_t second = request(client, 2);
    service.answer(2);
    EXPECT_EQ(eventsOf(client.wait(second).body), (Events{"next 200", "completed"}));
}

TEST_F(EndpointTest, PeerOfARequestIsTheProcessOfTheClient) {
    kit::Peer peer;
    service.onRequest = [&](std::size_t number) {
        peer = kit::peerOf(service.request(number));
        service.answer(number);
    };
    serve();
    Http2Client client(directory.address());
    client.wait(client.send(GET));
    EXPECT_EQ(peer.uid, static_cast<long>(::getuid()));
    EXPECT_EQ(peer.gid, static_cast<long>(::getgid()));
    EXPECT_EQ(peer.pid, static_cast<long>(::getpid()));
    EXPECT_EQ(peer.address, "unix:");
}

TEST_F(EndpointTest, PeerOfATcpRequestIsItsAddress) {
    kit::Peer peer;
    service.onRequest = [&](std::size_t number) {
        peer = kit::peerOf(service.request(number));
        service.answer(number);
    };
    const Endpoint tcp(service, "tcp:127.0.0.1:0");
    Http2Client client(tcp.address());
    client.wait(client.send(GET));
    EXPECT_EQ(peer.uid, -1);
    EXPECT_EQ(peer.address.find("127.0.0.1:"), 0U) << peer.address;
}

TEST_F(EndpointTest, PortZeroBecomesThePortThatTheSystemChose) {
    const Endpoint tcp(service, "tcp:127.0.0.1:0");
    EXPECT_EQ(tcp.address().find("tcp:127.0.0.1:"), 0U);
    EXPECT_NE(tcp.address(), "tcp:127.0.0.1:0");
}

TEST_F(EndpointTest, AddressOfOtherMachinesNeedsPermission) {
    EXPECT_THROW(Endpoint(service, "tcp:0.0.0.0:0"), std::invalid_argument);
    EndpointOptions options;
    options.allowsRemote = true;
    EXPECT_NO_THROW(Endpoint(service, "tcp:0.0.0.0:0", options));
}

TEST_F(EndpointTest, MalformedAddressAndMissingServiceAreRejected) {
    EXPECT_THROW(Endpoint(service, "nowhere"), std::invalid_argument);
    EXPECT_THROW(Endpoint(std::map<std::string, IKovaApi*>{}, directory.address()),
                 std::invalid_argument);
    EXPECT_THROW(Endpoint(std::map<std::string, IKovaApi*>{{"/a", nullptr}}, directory.address()),
                 std::invalid_argument);
}

TEST_F(EndpointTest, ServicesAreFoundByTheirPath) {
    HeldService other;
    other.onRequest = [&](std::size_t number) { other.answer(number, Response(299)); };
    answerAtOnce();
    const Endpoint both({{"/a", &service}, {"/b c", &other}}, directory.address());
    Http2Client client(directory.address());
    EXPECT_EQ(eventsOf(client.wait(client.send(GET, "/a")).body)[0], "next 200");
    EXPECT_EQ(eventsOf(client.wait(client.send(GET, "/b%20c")).body)[0], "next 299");
    EXPECT_EQ(client.wait(client.send(GET, "/")).status, 404);
    EXPECT_EQ(client.wait(client.send(GET, "/c")).status, 404);
    EXPECT_EQ(client.wait(client.send(GET, "/a%2")).status, 404);
}

// Cancellation

TEST_F(EndpointTest, ResetStreamCancelsItsRequest) {
    serve();
    Http2Client client(directory.address());
    const std::int32_t id = request(client);
    client.reset(id);
    EXPECT_EQ(service.waitForCancelled(1), std::vector<std::size_t>{1});
    service[1].onNext(Response(200));  // ignored
}

TEST_F(EndpointTest, ClosedConnectionCancelsItsRequests) {
    serve();
    {
        Http2Client client(directory.address());
        request(client, 1);
        request(client, 2);
    }
    EXPECT_EQ(service.waitForCancelled(2).size(), 2U);
    waitForConnections(0);
}

TEST_F(EndpointTest, HalfClosedConnectionCancelsItsRequests) {
    serve();
    Http2Client client(directory.address());
    request(client);
    client.socket().halfClose();
    EXPECT_EQ(service.waitForCancelled(1), std::vector<std::size_t>{1});
}

TEST_F(EndpointTest, RequestThatHasEndedIsNotCancelled) {
    serve();
    {
        Http2Client client(directory.address());
        const std::int32_t first = request(client, 1);
        // When the second request has arrived, `actionRequest` has returned for the first one.
        request(client, 2);
        service.answer(1);
        client.wait(first);
    }
    EXPECT_EQ(service.waitForCancelled(1), std::vector<std::size_t>{2});
    waitForConnections(0);
    EXPECT_EQ(service.cancelled(), std::vector<std::size_t>{2});
}

// Refused requests

struct RefusedRow {
    char const* name;
    Http2Client::Fields fields;
    std::string body;
    int status;
};

Http2Client::Fields with(const std::string& name, const std::string& value) {
    Http2Client::Fields fields = Http2Client::recordFields();
    for (auto& field : fields) {
        if (field.first == name) {
            field.second = value;
            return fields;
        }
    }
    fields.emplace_back(name, value);
    return fields;
}

class RefusedRequest : public EndpointTest, public ::testing::WithParamInterface<RefusedRow> {};

TEST_P(RefusedRequest, HasAStatusAndATextAndLeavesTheConnectionUsable) {
    answerAtOnce();
    serve();
    Http2Client client(directory.address());
    const std::int32_t id = client.send(GetParam().fields, GetParam().body);
    EXPECT_EQ(client.wait(id).status, GetParam().status);
    EXPECT_EQ(client[id].fields["content-type"], "text/plain");
    EXPECT_EQ(client[id].body.empty(), GetParam().fields[0].second == "HEAD");
    EXPECT_EQ(eventsOf(client.wait(client.send(GET)).body), (Events{"next 200", "completed"}));
}

INSTANTIATE_TEST_SUITE_P(
    EndpointTest, RefusedRequest,
    ::testing::Values(
        RefusedRow{"Get", with(":method", "GET"), "", 405},
        RefusedRow{"Head", with(":method", "HEAD"), "", 405},
        RefusedRow{"Put", with(":method", "PUT"), GET, 405},
        RefusedRow{"Json", with("content-type", "application/json"), GET, 415},
        RefusedRow{"NoType", with("content-type", ""), GET, 415},
        RefusedRow{"LongerType", with("content-type", "application/vnd.kova.events2"), GET, 415},
        RefusedRow{"Path", with(":path", "/other"), GET, 404},
        RefusedRow{"Empty", Http2Client::recordFields(), "", 400},
        RefusedRow{"Garbage", Http2Client::recordFields(), "garbage that is no record", 400},
        RefusedRow{"Cut", Http2Client::recordFields(), GET.substr(0, GET.size() - 1), 400},
        RefusedRow{"Two", Http2Client::recordFields(), GET + GET, 400},
        RefusedRow{"Trailing", Http2Client::recordFields(), GET + "x", 400},
        RefusedRow{"Answer", Http2Client::recordFields(),
                   std::string("\0\0\0\x07\x04\x01\0\0\0\x01\x01", 11), 400}),
    [](const auto& row) { return row.param.name; });

TEST_F(EndpointTest, AnswerToAForbiddenMethodNamesTheAllowedOne) {
    serve();
    Http2Client client(directory.address());
    const std::int32_t id = client.send(with(":method", "PUT"), "");
    client.wait(id);
    EXPECT_EQ(client[id].fields["allow"], "POST");
}

TEST_F(EndpointTest, ParametersOfTheMediaTypeAreIgnored) {
    answerAtOnce();
    serve();
    Http2Client client(directory.address());
    const auto fields = with("content-type", "application/vnd.kova.events ; v=1");
    EXPECT_EQ(client.wait(client.send(fields, GET)).status, 200);
}

// Limits, at the value and one past it

TEST_F(EndpointTest, LongestBodyIsAcceptedAndALongerOneIs413) {
    answerAtOnce();
    EndpointOptions options;
    options.bodyBytes = GET.size();
    serve(options);
    Http2Client client(directory.address());
    EXPECT_EQ(client.wait(client.send(GET)).status, 200);
    EXPECT_EQ(client.wait(client.send(GET + "x")).status, 413);
    const std::int32_t endless = client.send(Http2Client::recordFields(), GET + "x", false);
    EXPECT_EQ(client.wait(endless).status, 413);
    EXPECT_EQ(client.wait(client.send(GET)).status, 200);
}

TEST_F(EndpointTest, UnfinishedBodiesOfAConnectionMayHaveTwiceTheLimitOfOneBody) {
    answerAtOnce();
    EndpointOptions options;
    options.bodyBytes = GET.size();
    serve(options);
    Http2Client client(directory.address());
    client.send(Http2Client::recordFields(), GET, false);
    client.send(Http2Client::recordFields(), GET, false);
    const std::int32_t empty = client.send(Http2Client::recordFields(), "", false);
    const std::int32_t past = client.send(Http2Client::recordFields(), "x", false);
    EXPECT_EQ(client.wait(past).status, 429);
    EXPECT_FALSE(client[empty].isClosed);
    Http2Client other(directory.address());
    EXPECT_EQ(other.wait(other.send(GET)).status, 200);
}

TEST_F(EndpointTest, LongestHeaderIsAcceptedAndALongerOneIs431) {
    answerAtOnce();
    EndpointOptions options;
    std::size_t bytes = 0;
    for (const auto& [name, value] : with("a", "")) {
        bytes += name.size() + value.size() + 32;
    }
    options.headerBytes = bytes + 100;
    serve(options);
    Http2Client client(directory.address());
    EXPECT_EQ(client.wait(client.send(with("a", std::string(100, 'x')), GET)).status, 200);
    EXPECT_EQ(client.wait(client.send(with("a", std::string(101, 'x')), GET)).status, 431);
}

TEST_F(EndpointTest, RequestsOfAPeerAreLimitedAcrossItsConnections) {
    EndpointOptions options;
    options.requestsOfPeer = 2;
    serve(options);
    Http2Client one(directory.address());
    Http2Client other(directory.address());
    const std::int32_t first = request(one, 1);
    request(other, 2);
    EXPECT_EQ(other.wait(other.send(GET)).status, 429);
    service.answer(1);
    one.wait(first);
    const std::int32_t third = request(other, 3);
    service.answer(3);
    EXPECT_EQ(other.wait(third).status, 200);
}

TEST_F(EndpointTest, RequestsOfAConnectionAreLimited) {
    EndpointOptions options;
    options.requestsOfConnection = 2;
    serve(options);
    Http2Client client(directory.address());
    client.flush();
    EXPECT_TRUE(client.waitUntil([&] {
        return nghttp2_session_get_remote_settings(client.session(),
                                                   NGHTTP2_SETTINGS_MAX_CONCURRENT_STREAMS) == 2;
    }));
    const std::int32_t first = request(client, 1);
    request(client, 2);
    // nghttp2 keeps the third request back until one of the others has ended.
    const std::int32_t third = client.send(GET);
    service.answer(1);
    client.wait(first);
    service.waitForRequests(3);
    service.answer(3);
    EXPECT_EQ(client.wait(third).status, 200);
}

TEST_F(EndpointTest, RequestPastTheLimitOfAConnectionIsRefused) {
    EndpointOptions options;
    options.requestsOfConnection = 2;
    serve(options);
    Http2Client client(directory.address());
    const std::int32_t first = client.send(GET);
    const std::int32_t second = client.send(GET);
    const std::int32_t third = client.send(GET);  // before the client knows the limit
    EXPECT_EQ(client.wait(third).error, std::uint32_t{NGHTTP2_REFUSED_STREAM});
    service.waitForRequests(2);
    service.answer(1);
    service.answer(2);
    EXPECT_EQ(client.wait(first).status, 200);
    EXPECT_EQ(client.wait(second).status, 200);
}

TEST_F(EndpointTest, ConnectionsAreLimitedAndTheNextOneWaits) {
    answerAtOnce();
    EndpointOptions options;
    options.connections = 2;
    serve(options);
    auto first = std::make_unique<Http2Client>(directory.address());
    Http2Client second(directory.address());
    EXPECT_EQ(first->wait(first->send(GET)).status, 200);
    EXPECT_EQ(second.wait(second.send(GET)).status, 200);
    Http2Client third(directory.address());
    const std::int32_t id = third.send(GET);
    EXPECT_EQ(third.socket().receive(50ms), "");
    EXPECT_EQ(endpoint->connections(), 2U);
    first.reset();
    EXPECT_EQ(third.wait(id).status, 200);
}

TEST_F(EndpointTest, ConnectionWithoutItsFirstBytesIsCountedAndEndsWithTheEndpoint) {
    EndpointOptions options;
    options.firstBytes = 1h;
    serve(options);
    SocketClient silent(directory.address());
    waitForConnections(1);
    EXPECT_TRUE(endpoint->stop(20s).empty());
    EXPECT_EQ(silent.receive(), "");
    EXPECT_EQ(endpoint->connections(), 0U);
}

TEST_F(EndpointTest, ConnectionWithoutItsFirstBytesIsClosed) {
    EndpointOptions options;
    options.firstBytes = 50ms;
    serve(options);
    SocketClient silent(directory.address());
    SocketClient slow(directory.address());
    slow.send("PR");
    SocketClient unfinished(directory.address());
    unfinished.send("PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n");
    EXPECT_TRUE(silent.isClosedByPeer());
    EXPECT_TRUE(slow.isClosedByPeer());
    EXPECT_TRUE(unfinished.isClosedByPeer());
    waitForConnections(0);
}

TEST_F(EndpointTest, PrefaceMayArriveByteByByte) {
    answerAtOnce();
    serve();
    Http2Client client(directory.address());
    std::uint8_t const* bytes = nullptr;
    const ssize_t size = nghttp2_session_mem_send(client.session(), &bytes);
    for (ssize_t i = 0; i < size; ++i) {
        client.socket().send({reinterpret_cast<char const*>(bytes) + i, 1});
        std::this_thread::yield();
    }
    EXPECT_EQ(client.wait(client.send(GET)).status, 200);
}

TEST_F(EndpointTest, BodyThatStallsIsReset) {
    answerAtOnce();
    EndpointOptions options;
    options.firstBytes = 500ms;
    serve(options);
    Http2Client client(directory.address());
    const std::int32_t stalled = client.send(Http2Client::recordFields(), GET, false);
    EXPECT_EQ(client.wait(stalled).error, std::uint32_t{NGHTTP2_CANCEL});
    EXPECT_EQ(client.wait(client.send(GET)).status, 200);
}

TEST_F(EndpointTest, IdleConnectionIsClosedAndABusyOneIsNot) {
    EndpointOptions options;
    options.idle = 500ms;
    serve(options);
    Http2Client idle(directory.address());
    Http2Client busy(directory.address());
    const std::int32_t id = request(busy);
    idle.flush();
    EXPECT_FALSE(idle.waitUntil([] { return false; }));
    EXPECT_EQ(idle.goAway(), NGHTTP2_NO_ERROR);
    waitForConnections(1);
    service.answer(1);
    EXPECT_EQ(busy.wait(id).status, 200);
}

// HTTP/1.1

TEST_F(EndpointTest, SameSocketServesHttp11) {
    service.onRequest = [this](std::size_t number) {
        service.answer(number, Response(200, Payload::createFromJSON("7")));
    };
    serve();
    SocketClient client(directory.address());
    client.send("GET /state HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    const std::string answer = client.receiveAll();
    EXPECT_EQ(answer.find("HTTP/1.1 200 OK\r\n"), 0U) << answer;
    EXPECT_EQ(answer.substr(answer.find("\r\n\r\n")), "\r\n\r\n7");
    EXPECT_EQ(service.request(1).getCommand(), "retrieve");
    EXPECT_EQ(service.request(1).getPath(), "/state");
    waitForConnections(0);
}

TEST_F(EndpointTest, ModeOfTheSocketDecidesWhichUsersMayConnect) {
    KOVA_SKIP_UNLESS_ROOT();
    ASSERT_EQ(::chmod(directory.path("").c_str(), 0755), 0);
    EndpointOptions options;
    options.mode = 0600;
    serve(options);
    const kova::test::OtherUser alice(kova::test::OtherUser::ALICE);
    EXPECT_THROW(SocketClient(directory.address()), std::runtime_error);
}

TEST_F(EndpointTest, OtherUsersThatMayConnectAreRefusedTheInspection) {
    KOVA_SKIP_UNLESS_ROOT();
    ASSERT_EQ(::chmod(directory.path("").c_str(), 0755), 0);
    EndpointOptions options;
    options.mode = 0666;
    service.rejects = true;  // a request that is forwarded is answered with 503
    serve(options);
    for (char const* const path : {"/.kova", "/.kova/metrics", "/state"}) {
        std::unique_ptr<SocketClient> client;
        {
            const kova::test::OtherUser alice(kova::test::OtherUser::ALICE);
            client = std::make_unique<SocketClient>(directory.address());
        }
        client->send(std::string("GET ") + path +
                     " HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n");
        const bool isPublic = path == std::string("/state");
        EXPECT_EQ(client->receiveAll().substr(9, 3), isPublic ? "503" : "403") << path;
    }
}

TEST_F(EndpointTest, PeerOfARequestOverHttp11IsTheProcessOfTheClient) {
    kit::Peer peer;
    service.onRequest = [&](std::size_t number) {
        peer = kit::peerOf(service.request(number));
        service.answer(number);
    };
    serve();
    SocketClient client(directory.address());
    client.send("GET /state HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n");
    client.receiveAll();
    EXPECT_EQ(peer.uid, static_cast<long>(::getuid()));
    EXPECT_EQ(peer.gid, static_cast<long>(::getgid()));
    EXPECT_EQ(peer.pid, static_cast<long>(::getpid()));
    EXPECT_EQ(peer.address, "unix:");
}

TEST_F(EndpointTest, ServiceThatThrowsIsAnswered500OverHttp11AndServesOthers) {
    service.onRequest = [](std::size_t number) {
        if (number == 1) {
            throw std::runtime_error("broken");
        }
    };
    serve();
    SocketClient client(directory.address());
    client.send("GET /state HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    service.waitForRequests(1);
    service.take(1).reset();
    EXPECT_EQ(client.receiveAll().find("HTTP/1.1 500 "), 0U);
    Http2Client other(directory.address());
    const std::int32_t id = request(other, 2);
    service.answer(2);
    EXPECT_EQ(other.wait(id).status, 200);
}

TEST_F(EndpointTest, RequestsOfAPeerAreCountedOverBothProtocols) {
    EndpointOptions options;
    options.requestsOfPeer = 1;
    serve(options);
    Http2Client client(directory.address());
    const std::int32_t id = request(client);
    SocketClient other(directory.address());
    other.send("GET /state HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(other.receiveAll().find("HTTP/1.1 429 "), 0U);
    service.answer(1);
    EXPECT_EQ(client.wait(id).status, 200);
}

TEST_F(EndpointTest, StopEndsRequestsOverHttp11AndClosesTheirConnections) {
    serve();
    SocketClient waiting(directory.address());
    waiting.send("GET /state HTTP/1.1\r\nHost: localhost\r\n\r\n");
    service.waitForRequests(1);
    endpoint->stop(0ms);  // the handler may not have returned yet
    EXPECT_EQ(waiting.receiveAll().find("HTTP/1.1 503 "), 0U);
    EXPECT_EQ(service.waitForCancelled(1), std::vector<std::size_t>{1});
    EXPECT_TRUE(endpoint->stop(10s).empty());
}

// The answer is larger than what the system buffers, and the client reads it after the stop has
// begun.
TEST_F(EndpointTest, StopWaitsForTheRestOfAnAnswerOverHttp11) {
    const std::string text(1'000'000, 'x');
    std::promise<void> answered;
    service.onRequest = [&](std::size_t number) {
        service.answer(number, Response(200, Payload::createFromString(text)));
        answered.set_value();
    };
    serve();
    SocketClient client(directory.address());
    client.send("GET /state HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    answered.get_future().wait();
    auto stopped = std::async(std::launch::async, [&] { return endpoint->stop(0ms); });
    while (::access(directory.path("s").c_str(), F_OK) == 0) {
        std::this_thread::yield();
    }
    EXPECT_GT(client.receiveAll().size(), text.size());
    EXPECT_TRUE(stopped.get().empty());
}

TEST_F(EndpointTest, ConnectionKeptAliveWithoutARequestDoesNotDelayAStop) {
    service.onRequest = [this](std::size_t number) { service.answer(number); };
    serve();
    SocketClient idle(directory.address());
    idle.send("GET /state HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_FALSE(idle.receive().empty());
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(endpoint->stop(1min).empty());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 30s);
    EXPECT_TRUE(idle.isClosedByPeer());
}

// Stopping and destroying

TEST_F(EndpointTest, ClientThatSendsGoAwayGetsItsAnswer) {
    serve();
    Http2Client client(directory.address());
    const std::int32_t id = request(client);
    nghttp2_submit_goaway(client.session(), NGHTTP2_FLAG_NONE, 0, NGHTTP2_NO_ERROR, nullptr, 0);
    client.flush();
    service.answer(1);
    EXPECT_EQ(eventsOf(client.wait(id).body), (Events{"next 200", "completed"}));
    EXPECT_TRUE(client.socket().isClosedByPeer());
    waitForConnections(0);
}

/// Limits the descriptors of the process to those that it has, and `further` more.
class DescriptorLimit {
public:
    explicit DescriptorLimit(unsigned further) {
        ::getrlimit(RLIMIT_NOFILE, &former_);
        const int next = ::dup(0);
        ::close(next);
        const rlimit lowered{static_cast<rlim_t>(next) + further, former_.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &lowered);
    }
    ~DescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &former_); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    rlimit former_{};
};

TEST_F(EndpointTest, ExhaustedDescriptorsDelayNewConnectionsOnly) {
    answerAtOnce();
    serve();
    Http2Client neighbour(directory.address());
    neighbour.wait(neighbour.send(GET));
    std::unique_ptr<Http2Client> client;
    std::int32_t id = 0;
    {
        const DescriptorLimit limit(1);
        client = std::make_unique<Http2Client>(directory.address());
        id = client->send(GET);
        const std::clock_t begin = std::clock();
        EXPECT_EQ(client->socket().receive(300ms), "");
        EXPECT_LT(std::clock() - begin, CLOCKS_PER_SEC / 10) << "the loop spins";
        EXPECT_EQ(neighbour.wait(neighbour.send(GET)).status, 200);
        EXPECT_EQ(endpoint->connections(), 1U);
    }
    EXPECT_EQ(client->wait(id).status, 200);
}

// Flow control does not stop this answer, and the client sends nothing while it reads. The endpoint
// has to notice by itself that the socket takes bytes again.
TEST_F(EndpointTest, AnswerGoesOnWhenTheClientReads) {
    constexpr std::int32_t LARGEST = 0x7FFFFFFF;
    const std::string text(8'000'000, 'x');
    serve();
    Http2Client client(directory.address());
    const nghttp2_settings_entry window{NGHTTP2_SETTINGS_INITIAL_WINDOW_SIZE, LARGEST};
    ASSERT_EQ(nghttp2_submit_settings(client.session(), NGHTTP2_FLAG_NONE, &window, 1), 0);
    ASSERT_EQ(
        nghttp2_session_set_local_window_size(client.session(), NGHTTP2_FLAG_NONE, 0, LARGEST), 0);
    const std::int32_t id = request(client);
    service.answer(1, Response(200, Payload::createFromString(text)));
    EXPECT_NE(client.wait(id).body.find(text), std::string::npos);
}

TEST_F(EndpointTest, StopWaitsForPendingRequests) {
    serve();
    Http2Client client(directory.address());
    const std::int32_t id = request(client);
    auto stopped = std::async(std::launch::async, [&] { return endpoint->stop(20s); });
    client.waitUntil([&] { return client.goAway() >= 0; });
    service.answer(1);
    EXPECT_EQ(eventsOf(client.wait(id).body), (Events{"next 200", "completed"}));
    EXPECT_TRUE(stopped.get().empty());
    EXPECT_EQ(endpoint->connections(), 0U);
}

TEST_F(EndpointTest, StopEndsRequestsWith503AfterItsTimeLimit) {
    serve();
    Http2Client client(directory.address());
    const std::int32_t id = request(client);
    auto stopped = std::async(std::launch::async, [&] { return endpoint->stop(20ms); });
    EXPECT_EQ(eventsOf(client.wait(id).body), Events{"error 503 lost: the endpoint stops"});
    EXPECT_TRUE(client.socket().isClosedByPeer());
    EXPECT_TRUE(stopped.get().empty());
    EXPECT_EQ(service.waitForCancelled(1), std::vector<std::size_t>{1});
}

TEST_F(EndpointTest, StopReturnsTheRequestsWhoseHandlersHaveNotReturned) {
    std::promise<void> release;
    service.onRequest = [&](std::size_t) { release.get_future().wait(); };
    serve();
    Http2Client client(directory.address());
    request(client);
    const std::vector<kit::CallInfo> stuck = endpoint->stop(10ms);
    ASSERT_EQ(stuck.size(), 1U);
    EXPECT_EQ(stuck[0].path, "/state");
    EXPECT_EQ(stuck[0].phase, kit::CallInfo::Phase::inService);
    release.set_value();
    EXPECT_TRUE(endpoint->stop(10s).empty());
}

TEST_F(EndpointTest, StopRemovesTheFileAndAcceptsNoConnection) {
    serve();
    endpoint->stop(0ms);
    EXPECT_NE(::access(directory.path("s").c_str(), F_OK), 0);
    EXPECT_THROW(SocketClient{directory.address()}, std::runtime_error);
    EXPECT_TRUE(endpoint->stop(0ms).empty());  // again
}

TEST_F(EndpointTest, EndpointCanBeStoppedFromInsideAHandler) {
    service.onRequest = [&](std::size_t) {
        EXPECT_TRUE(endpoint->stop(0ms).empty());  // the request of the handler is not stuck
    };
    serve();
    Http2Client client(directory.address());
    client.send(GET);
    EXPECT_TRUE(client.socket().isClosedByPeer());
}

TEST_F(EndpointTest, EndpointCanBeDestroyedFromInsideAHandler) {
    service.onRequest = [&](std::size_t) { endpoint.reset(); };
    serve();
    Http2Client client(directory.address());
    client.send(GET);
    EXPECT_TRUE(client.socket().isClosedByPeer());
    // No thread joins the endpoint's thread here. If the test ended first, the memory of that
    // thread would be reported as leaked.
    while (countThreads("kova-endpoint") != 0) {
        std::this_thread::yield();
    }
}

TEST_F(EndpointTest, HandlerMayAnswerAfterTheEndpointIsGone) {
    serve();
    Http2Client client(directory.address());
    request(client);
    endpoint.reset();
    const HeldService::Handler handler = service.take(1);
    handler->onNext(Response(200));
    handler->onCompleted();
}

// Clients that do not read

TEST_F(EndpointTest, ClientThatDoesNotReadIsDisconnectedAndDelaysNobody) {
    EndpointOptions options;
    options.queuedBytes = 10'000;
    serve(options);
    Http2Client slow(directory.address());
    Http2Client other(directory.address());
    request(slow, 1);
    const Response value(200, Payload::createFromString(std::string(1000, 'x')));
    while (!service[1].onNext(value)) {
    }
    EXPECT_EQ(service.waitForCancelled(1), std::vector<std::size_t>{1});
    const std::int32_t id = request(other, 2);
    service.answer(2);
    EXPECT_EQ(other.wait(id).status, 200);
    const Events events = eventsOf(slow.wait(1).body);
    EXPECT_EQ(events.back(),
              "error 503 lost: the client does not read the answer: its queue is full");
    EXPECT_GE(events.size(), 10U);  // the values that fit into the queue, and the end
}

TEST_F(EndpointTest, SingleValueMayBeLongerThanTheQueue) {
    EndpointOptions options;
    options.queuedBytes = 10;
    serve(options);
    Http2Client client(directory.address());
    const std::int32_t id = request(client);
    service.answer(1, Response(200, Payload::createFromString(std::string(100'000, 'x'))));
    EXPECT_EQ(eventsOf(client.wait(id).body), (Events{"next 200", "completed"}));
}

}  // namespace
}  // namespace kova::http
