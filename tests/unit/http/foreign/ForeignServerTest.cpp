#include "foreign/ForeignServer.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "kova/kit/StreamOptions.h"
#include "unit/http/foreign/ForeignFixture.h"

namespace kova::http::detail {
namespace {

using namespace std::chrono_literals;
using ::testing::Test;

const std::string HEAD = " HTTP/1.1\r\nHost: localhost:8080\r\n";
const std::string LAST = "Connection: close\r\n\r\n";

class ForeignServerTest : public Test {
protected:
    ForeignFixture fixture;
    test::HeldService& held = fixture.held;
};

ForeignTerms withOptions(const EndpointOptions& options) {
    ForeignTerms terms;
    terms.options = options;
    return terms;
}

bool contains(const std::string& text, std::string_view part) {
    return text.find(part) != std::string::npos;
}

// --- Answers -------------------------------------------------------------------------------------

TEST_F(ForeignServerTest, RequestReachesTheServiceWithItsPeer) {
    const std::string uid = std::to_string(::geteuid());
    EXPECT_EQ(
        statusAndBody(fixture.get("/device$/echo", "Authorization: Bearer t\r\n")),
        "200 retrieve  '' {\"$auth-token\":\"t\",\"$response-semantic\":\"single-response\"} " +
            uid);
    EXPECT_EQ(statusAndBody(fixture.exchange("PUT /echo" + HEAD +
                                             "Content-Type: application/json\r\n"
                                             "Content-Length: 3\r\n" +
                                             LAST + "[1]")),
              "200 update application/json '[1]'  " + uid);
    EXPECT_EQ(statusAndBody(fixture.exchange("POST /echo" + HEAD +
                                             "Content-Type: text/plain\r\n"
                                             "Transfer-Encoding: chunked\r\n" +
                                             LAST + "2\r\nab\r\n1\r\nc\r\n0\r\n\r\n")),
              "200 insert plain/text 'abc'  " + uid);
}

TEST_F(ForeignServerTest, AnswerHasFields) {
    const std::string answer = fixture.get("/echo");
    EXPECT_EQ(answer.rfind("HTTP/1.1 200 OK\r\n", 0), 0U) << answer;
    EXPECT_TRUE(contains(answer, "\r\nContent-Type: text/plain; charset=utf-8\r\n"));
    EXPECT_TRUE(contains(answer, "\r\nContent-Length: "));
}

TEST_F(ForeignServerTest, CompletionWithoutAValueHasNoBody) {
    const std::string answer = fixture.exchange("DELETE /empty" + HEAD + LAST);
    EXPECT_EQ(statusAndBody(answer), "204 ");
    EXPECT_FALSE(contains(answer, "Content-Type"));
}

TEST_F(ForeignServerTest, ErrorIsAProblemDocument) {
    const std::string answer = fixture.get("/missing");
    EXPECT_EQ(statusAndBody(answer),
              R"(404 {"title":"Not Found","status":404,"detail":"no such lamp"})");
    EXPECT_TRUE(contains(answer, "\r\nContent-Type: application/problem+json\r\n"));
}

TEST_F(ForeignServerTest, ConnectionServesSeveralRequests) {
    TestSocket socket = fixture.connect();
    for (int i = 0; i < 3; ++i) {
        socket.send("GET /missing" + HEAD + "\r\n");
        EXPECT_TRUE(contains(socket.readUntil("lamp\"}"), "404")) << i;
    }
}

TEST_F(ForeignServerTest, PipelinedRequestsAreAnsweredInTheirOrder) {
    EXPECT_EQ(fixture.connections(), 0U);
    const std::string answers =
        fixture.exchange("GET /missing" + HEAD + "\r\nDELETE /empty" + HEAD + LAST);
    EXPECT_TRUE(contains(answers, "lamp\"}HTTP/1.1 204 ")) << answers;
}

TEST_F(ForeignServerTest, LaterAnswerOfAnotherThreadArrives) {
    TestSocket socket = fixture.connect();
    socket.send("GET /lamp" + HEAD + LAST);
    held.waitForRequests(1);
    held[1].onNext(Response(298, Payload::createFromString("progress")));
    held[1].onNext(Response(200, Payload::createFromString("on")));
    EXPECT_EQ(statusAndBody(socket.readAll()), "200 on");
    EXPECT_EQ(held.waitForCancelled(1).size(), 1U);
}

TEST_F(ForeignServerTest, ChangeIsAnsweredWithItsLastValueWhenItIsCompleted) {
    TestSocket socket = fixture.connect();
    socket.send("PUT /lamp" + HEAD + LAST);
    held.waitForRequests(1);
    held[1].onNext(Response(200, Payload::createFromString("first")));
    held.answer(1, Response(201, Payload::createFromString("last")));
    EXPECT_EQ(statusAndBody(socket.readAll()), "201 last");
}

TEST_F(ForeignServerTest, DroppedRequestIsAnswered) {
    TestSocket socket = fixture.connect();
    socket.send("GET /lamp" + HEAD + LAST);
    held.waitForRequests(1);
    held.take(1).reset();
    EXPECT_EQ(socket.readAll().rfind("HTTP/1.1 500 ", 0), 0U);
}

TEST_F(ForeignServerTest, RejectedRequestIsAnsweredWith503) {
    held.rejects = true;
    EXPECT_EQ(fixture.get("/lamp").rfind("HTTP/1.1 503 ", 0), 0U);
}

TEST_F(ForeignServerTest, LargeValueArrivesWhole) {
    TestSocket socket = fixture.connect();
    socket.send("GET /lamp" + HEAD + LAST);
    held.waitForRequests(1);
    const std::string large(3'000'000, 'x');
    held.answer(1, Response(200, Payload::createFromString(large)));
    EXPECT_TRUE(statusAndBody(socket.readAll()) == "200 " + large);
}

TEST_F(ForeignServerTest, AbsoluteTargetIsServed) {
    EXPECT_EQ(fixture.get("http://localhost:8080/missing").substr(9, 3), "404");
}

// --- A client that leaves ------------------------------------------------------------------------

TEST_F(ForeignServerTest, ClientThatLeavesCancelsItsRequest) {
    TestSocket socket = fixture.connect();
    socket.send("GET /lamp" + HEAD + "\r\n");
    held.waitForRequests(1);
    socket.close();
    EXPECT_EQ(held.waitForCancelled(1).size(), 1U);
    while (fixture.connections() != 0) {
        std::this_thread::yield();
    }
}

TEST_F(ForeignServerTest, ClientThatClosesItsSideCancelsItsRequest) {
    TestSocket socket = fixture.connect();
    socket.send("GET /lamp" + HEAD + "\r\n");
    held.waitForRequests(1);
    ::shutdown(socket.number(), SHUT_WR);
    EXPECT_EQ(held.waitForCancelled(1).size(), 1U);
    EXPECT_EQ(socket.readAll(), "");
}

TEST_F(ForeignServerTest, ClientThatLeavesAQuietStreamCancelsItsRequest) {
    TestSocket socket = fixture.connect();
    socket.send("GET /lamp" + HEAD + "Accept: text/event-stream\r\n\r\n");
    EXPECT_TRUE(contains(socket.readUntil("\r\n\r\n"), "Content-Type: text/event-stream"));
    socket.close();
    EXPECT_EQ(held.waitForCancelled(1).size(), 1U);
}

TEST_F(ForeignServerTest, ConnectionOfAClientThatLeavesAQuietStreamIsClosed) {
    {
        TestSocket socket = fixture.connect();
        socket.send("GET /lamp" + HEAD + "Accept: text/event-stream\r\n\r\n");
        held.waitForRequests(1);
        held[1].onNext(Response(299));
        socket.readUntil("\n\n\r\n");
    }
    held.waitForCancelled(1);
    while (fixture.connections() != 0) {
        std::this_thread::yield();
    }
    EXPECT_EQ(held.cancelled().size(), 1U);
}

TEST_F(ForeignServerTest, DescriptorsOfClientsThatLeftAreUsedAgain) {
    for (std::size_t i = 1; i <= 200; ++i) {
        TestSocket socket = fixture.connect();
        socket.send("GET /lamp" + HEAD + "\r\n");
        held.waitForRequests(i);
        socket.close();
    }
    EXPECT_EQ(held.waitForCancelled(200).size(), 200U);
    EXPECT_EQ(fixture.get("/missing").substr(9, 3), "404");
}

TEST_F(ForeignServerTest, CloseCancelsRequestsAndClosesConnections) {
    TestSocket pending = fixture.connect();
    pending.send("GET /lamp" + HEAD + "\r\n");
    TestSocket stream = fixture.connect();
    stream.send("GET /lamp" + HEAD + "Accept: text/event-stream\r\n\r\n");
    TestSocket idle = fixture.connect();
    held.waitForRequests(2);
    fixture.onLoop([&] { fixture.server->close(); });
    EXPECT_EQ(held.waitForCancelled(2).size(), 2U);
    EXPECT_EQ(pending.readAll(), "");
    stream.readAll();
    EXPECT_EQ(idle.readAll(), "");
    EXPECT_EQ(fixture.connections(), 0U);
}

TEST_F(ForeignServerTest, StoppingServerRefusesFurtherRequests) {
    TestSocket pending = fixture.connect();
    pending.send("GET /lamp" + HEAD + LAST);
    held.waitForRequests(1);
    fixture.onLoop([&] { fixture.server->refuse(); });
    EXPECT_EQ(fixture.get("/echo").substr(9, 3), "503");
    held.answer(1, Response(200, Payload::createFromString("on")));
    EXPECT_EQ(statusAndBody(pending.readAll()), "200 on");
}

// --- Streams -------------------------------------------------------------------------------------

TEST_F(ForeignServerTest, StreamHasEventsUntilItsEnd) {
    TestSocket socket = fixture.connect();
    socket.send("GET /lamp" + HEAD + "Accept: text/event-stream\r\n" + LAST);
    held.waitForRequests(1);
    socket.readUntil("\r\n\r\n");
    held[1].onNext(Response(299, Payload::createFromJSON("true")));
    const std::string next = socket.readUntil("\n\n\r\n");
    EXPECT_TRUE(contains(next, "event: next\ndata: {\"status\":299,\"value\":true}\n\n")) << next;
    held[1].onCompleted();
    const std::string rest = socket.readAll();
    EXPECT_TRUE(contains(rest, "event: completed\ndata: {}\n\n")) << rest;
}

TEST_F(ForeignServerTest, StreamThatBeginsWithAnErrorHasTheStatusOfTheError) {
    EXPECT_EQ(fixture.get("/missing", "Accept: text/event-stream\r\n").substr(9, 3), "404");
}

TEST_F(ForeignServerTest, SeveralPathsShareAStream) {
    TestSocket socket = fixture.connect();
    socket.send("GET /?watch=/a&watch=/device$/b&watch=/missing" + HEAD + LAST);
    held.waitForRequests(2);
    held.answer(2, Response(200, Payload::createFromJSON("2")));
    held.answer(1, Response(200, Payload::createFromJSON("1")));
    const std::string text = socket.readAll();
    for (char const* const part : {R"(event: next
data: {"path":"/a","status":200,"value":1})",
                                   R"(event: next
data: {"path":"/device$/b","status":200,"value":2})",
                                   R"(event: error
data: {"path":"/missing","title":"Not Found","status":404,"detail":"no such lamp"})",
                                   R"(event: completed
data: {"path":"/a"})"}) {
        EXPECT_TRUE(contains(text, part)) << text;
    }
}

TEST_F(ForeignServerTest, StalledReaderEndsItsStreamAndKeepsBoundedMemory) {
    TestSocket socket = fixture.connect();
    socket.send("GET /lamp" + HEAD + "Accept: text/event-stream\r\n" + LAST);
    held.waitForRequests(1);
    const Response value(299, Payload::createFromString(std::string(4096, 'x')));
    std::size_t sent = 0;
    while (!held[1].onNext(value)) {
        ++sent;
        ASSERT_LT(sent, 10'000U);
    }
    EXPECT_EQ(held.waitForCancelled(1).size(), 1U);
    const std::string text = socket.readAll();
    EXPECT_TRUE(contains(text, "\"status\":503,\"detail\":\"lost: ")) << text.size();
}

TEST_F(ForeignServerTest, StalledPathEndsWithoutTheOthersOfItsStream) {
    TestSocket socket = fixture.connect();
    socket.send("GET /?watch=/a&watch=/b" + HEAD + LAST);
    held.waitForRequests(2);
    const Response value(299, Payload::createFromString(std::string(4096, 'x')));
    std::size_t sent = 0;
    while (!held[2].onNext(value)) {
        ++sent;
        ASSERT_LT(sent, 10'000U);
    }
    EXPECT_EQ(held.waitForCancelled(1), (std::vector<std::size_t>{2}));
    held.take(1)->onCompleted();
    const std::string text = socket.readAll();
    EXPECT_TRUE(contains(text, "\"status\":503,\"detail\":\"lost: ")) << text.size();
    EXPECT_TRUE(contains(text, "event: completed\ndata: {\"path\":\"/a\"}")) << text.size();
}

ForeignTerms withComments() {
    ForeignTerms terms;
    terms.commentInterval = 1ms;
    return terms;
}

TEST(ForeignServerOptionsTest, QuietStreamHasComments) {
    ForeignFixture fixture(withComments());
    TestSocket socket = fixture.connect();
    socket.send("GET /lamp" + HEAD + "Accept: text/event-stream\r\n\r\n");
    EXPECT_TRUE(contains(socket.readUntil(":\n\n\r\n"), ":\n\n"));
    EXPECT_TRUE(contains(socket.readUntil(":\n\n\r\n"), ":\n\n"));
}

// --- Limits --------------------------------------------------------------------------------------

TEST_F(ForeignServerTest, HeaderHasALimit) {
    const std::string line = "X: \r\n";
    const std::string head = "GET /missing" + HEAD;
    const std::size_t rest =
        EndpointOptions().headerBytes - head.size() - LAST.size() - line.size();
    EXPECT_EQ(fixture.get("/missing", "X: " + std::string(rest, 'x') + "\r\n").substr(9, 3), "404");
    EXPECT_EQ(fixture.get("/missing", "X: " + std::string(rest + 1, 'x') + "\r\n").substr(9, 3),
              "431");
    EXPECT_EQ(fixture.get("/missing", "X: " + std::string(100'000, 'x') + "\r\n").substr(9, 3),
              "431");
}

TEST(ForeignServerOptionsTest, BodyHasALimit) {
    EndpointOptions options;
    options.bodyBytes = 4;
    ForeignFixture fixture(withOptions(options));
    const auto put = [&](const std::string& fields, const std::string& body) {
        return fixture.exchange("PUT /echo" + HEAD + fields + LAST + body).substr(9, 3);
    };
    EXPECT_EQ(put("Content-Length: 4\r\n", "1234"), "200");
    EXPECT_EQ(put("Content-Length: 5\r\n", "12345"), "413");
    EXPECT_EQ(put("Content-Length: 18446744073709551615\r\n", ""), "413");
    EXPECT_EQ(put("Transfer-Encoding: chunked\r\n", "4\r\n1234\r\n0\r\n\r\n"), "200");
    EXPECT_EQ(put("Transfer-Encoding: chunked\r\n", "4\r\n1234\r\n1\r\n5\r\n0\r\n\r\n"), "413");
}

TEST(ForeignServerOptionsTest, PeerWithTooManyRequestsGets429) {
    std::atomic<int> pending{0};
    ForeignTerms terms;
    terms.beginRequest = [&](const kit::Peer&) {
        if (pending == 1) {
            return false;
        }
        ++pending;
        return true;
    };
    terms.endRequest = [&](const kit::Peer&) { --pending; };
    ForeignFixture fixture(terms);
    TestSocket socket = fixture.connect();
    socket.send("GET /lamp" + HEAD + LAST);
    fixture.held.waitForRequests(1);
    EXPECT_EQ(fixture.get("/missing").substr(9, 3), "429");
    fixture.held.answer(1);
    socket.readAll();
    EXPECT_EQ(fixture.get("/missing").substr(9, 3), "404");
    fixture.onLoop([] {});  // the request ends after its connection
    EXPECT_EQ(pending, 0);
}

TEST(ForeignServerOptionsTest, SlowSenderIsAnsweredWith408) {
    EndpointOptions options;
    options.firstBytes = 20ms;
    ForeignFixture fixture(withOptions(options));
    const kit::Peer peer = ForeignFixture::unixPeer();
    TestSocket head = fixture.connect(peer, "GET /missing HTTP/1.1\r\nHost: loc");
    TestSocket body = fixture.connect(peer, "PUT /echo" + HEAD + "Content-Length: 3\r\n\r\n1");
    TestSocket nothing = fixture.connect();
    for (TestSocket* const socket : {&head, &body, &nothing}) {
        const std::string answer = socket->readAll();
        EXPECT_EQ(answer.rfind("HTTP/1.1 408 Request Timeout\r\n", 0), 0U) << answer;
    }
}

TEST(ForeignServerOptionsTest, PendingAnswerHasNoDeadline) {
    EndpointOptions options;
    options.firstBytes = 5ms;
    ForeignFixture fixture(withOptions(options));
    TestSocket socket = fixture.connect(ForeignFixture::unixPeer(), "GET /lamp" + HEAD + LAST);
    fixture.held.waitForRequests(1);
    std::promise<void> later;
    fixture.onLoop([&] { fixture.loop->after(20ms, [&] { later.set_value(); }); });
    later.get_future().wait();
    fixture.held.answer(1);
    EXPECT_EQ(socket.readAll().substr(9, 3), "200");
}

TEST(ForeignServerOptionsTest, IdleConnectionIsClosed) {
    EndpointOptions options;
    options.idle = 5ms;
    ForeignFixture fixture(withOptions(options));
    TestSocket socket = fixture.connect(ForeignFixture::unixPeer(), "GET /missing" + HEAD + "\r\n");
    EXPECT_EQ(socket.readAll().substr(9, 3), "404");
}

// --- Safety --------------------------------------------------------------------------------------

TEST(ForeignServerOptionsTest, HostAndOriginAreCheckedOverTcp) {
    ForeignTerms terms;
    terms.port = 8080;
    ForeignFixture fixture(terms);
    const kit::Peer tcp = ForeignFixture::tcpPeer();
    EXPECT_EQ(fixture.get("/missing", "", tcp).substr(9, 3), "404");
    EXPECT_EQ(fixture.get("/missing", "Origin: http://localhost:8080\r\n", tcp).substr(9, 3),
              "404");
    EXPECT_EQ(fixture.get("/missing", "Origin: http://evil.example\r\n", tcp).substr(9, 3), "403");
    EXPECT_EQ(fixture.get("http://evil.example/missing", "", tcp).substr(9, 3), "403");
    EXPECT_EQ(fixture.exchange("GET /missing HTTP/1.1\r\nHost: evil.example:8080\r\n" + LAST, tcp)
                  .substr(9, 3),
              "403");
    EXPECT_EQ(fixture.get("/missing", "Origin: http://evil.example\r\n").substr(9, 3), "404");
}

TEST(ForeignServerOptionsTest, InspectionIsForTheOwnUserOverAUnixSocket) {
    ForeignTerms terms;
    terms.port = 8080;
    ForeignFixture fixture(terms);
    kit::Peer other = ForeignFixture::unixPeer();
    other.uid += 1;
    kit::Peer root = ForeignFixture::unixPeer();
    root.uid = 0;
    fixture.held.rejects = true;  // a request that is forwarded is answered with 503
    for (char const* const path : {"/.kova", "/.kova/metrics", "//.kova/", "/%2Ekova"}) {
        EXPECT_EQ(fixture.get(path).substr(9, 3), "503") << path;
        EXPECT_EQ(fixture.get(path, "", root).substr(9, 3), "503") << path;
        EXPECT_EQ(fixture.get(path, "", other).substr(9, 3), "403") << path;
        EXPECT_EQ(fixture.get(path, "", ForeignFixture::tcpPeer()).substr(9, 3), "403") << path;
    }
    EXPECT_EQ(fixture.get("/.kovax", "", other).substr(9, 3), "503");
}

TEST(ForeignServerOptionsTest, InspectionOverTcpCanBeSwitchedOn) {
    ForeignTerms terms;
    terms.port = 8080;
    terms.options.inspectsOverTcp = true;
    ForeignFixture fixture(terms);
    fixture.held.rejects = true;
    EXPECT_EQ(fixture.get("/.kova", "", ForeignFixture::tcpPeer()).substr(9, 3), "503");
}

TEST(ForeignServerOptionsTest, SeveralServicesAreFoundByTheirPaths) {
    EchoService other;
    ForeignTerms terms;
    terms.services = {{"/a", &other}, {"/b/c", &other}};
    ForeignFixture fixture(terms);
    EXPECT_EQ(fixture.get("/a$/missing").substr(9, 3), "404");
    EXPECT_EQ(fixture.get("/b/c$/echo").substr(9, 3), "200");
    EXPECT_EQ(statusAndBody(fixture.get("/echo")),
              R"(404 {"title":"Not Found","status":404,)"
              R"("detail":"the services of this endpoint are: /a$, /b/c$"})");
    EXPECT_EQ(fixture.get("/c$/echo").substr(9, 3), "404");
}

struct RawRow {
    std::string bytes;
    char const* status;  // "" if the connection is closed without an answer
};

class RawRequest : public ::testing::TestWithParam<RawRow> {};

// An answer to the second request would mean that it was smuggled in the body of the first.
TEST_P(RawRequest, IsRefusedAndTheConnectionIsClosed) {
    ForeignFixture fixture;
    TestSocket other = fixture.connect();
    other.send("GET /lamp" + HEAD + LAST);
    fixture.held.waitForRequests(1);
    const std::string answer = fixture.exchange(GetParam().bytes);
    fixture.held.answer(1);
    EXPECT_EQ(statusAndBody(other.readAll()), "200 ");
    EXPECT_EQ(answer.size() < 12 ? "" : answer.substr(9, 3), GetParam().status) << answer;
    EXPECT_FALSE(contains(answer, "no such lamp")) << answer;
    EXPECT_EQ(fixture.get("/missing").substr(9, 3), "404");
}

const std::string NEXT = "GET /missing HTTP/1.1\r\nHost: a\r\nConnection: close\r\n\r\n";

INSTANTIATE_TEST_SUITE_P(
    ForeignServerTest, RawRequest,
    ::testing::Values(
        RawRow{
            "PUT /echo HTTP/1.1\r\nHost: a\r\nContent-Length: 3\r\nContent-Length: 4\r\n\r\nabc" +
                NEXT,
            "400"},
        RawRow{"PUT /echo HTTP/1.1\r\nHost: a\r\nContent-Length: 3\r\nTransfer-Encoding: chunked"
               "\r\n\r\n0\r\n\r\n" +
                   NEXT,
               "400"},
        RawRow{"PUT /echo HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: gzip\r\n\r\nabc" + NEXT, "400"},
        RawRow{"PUT /echo HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\nx\r\n" + NEXT,
               "400"},
        RawRow{"PUT /echo HTTP/1.1\r\nHost: a\r\nContent-Length: -1\r\n\r\n" + NEXT, "400"},
        RawRow{"PUT /echo HTTP/1.1\r\nHost: a\r\nContent-Length: 1x\r\n\r\n1" + NEXT, "400"},
        RawRow{"PUT /echo HTTP/1.1\r\nHost: a\r\nContent-Length: 3, 3\r\n\r\nabc" + NEXT, "400"},
        RawRow{"GET /echo HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n" + NEXT, "400"},
        RawRow{"GET /echo HTTP/1.1\r\n\r\n" + NEXT, "400"},
        RawRow{"GET /echo HTTP/1.1\r\nHost : a\r\n\r\n" + NEXT, "400"},
        RawRow{"GET /echo HTTP/1.1\r\nHost: a\r\nX Y: z\r\n\r\n" + NEXT, "400"},
        RawRow{"GET /echo HTTP/1.1\r\nHost: a\r\nno colon\r\n\r\n" + NEXT, "400"},
        RawRow{std::string("GET /echo HTTP/1.1\r\nHost: a\r\nX\0: y\r\n\r\n", 39) + NEXT, "400"},
        RawRow{"PUT /echo HTTP/1.1\r\nHost: a\r\nContent-Length : 3\r\n\r\nabc" + NEXT, "400"},
        RawRow{
            "PUT /echo HTTP/1.1\r\nHost: a\r\nContent-Length: 3\r\nTransfer-Encoding:\r\n chunked"
            "\r\n\r\n0\r\n" +
                NEXT,
            "400"},
        RawRow{"PUT /echo HTTP/1.1\r\nHost: a\r\nContent-Length: 3\r\n 4\r\n\r\nabc" + NEXT, "400"},
        RawRow{"PUT /echo HTTP/1.1\r\nHost: a\r\nContent-Length:\r\n\t3\r\n\r\nabc" + NEXT, "400"},
        RawRow{"GET /echo HTTP/1.1\r\nHost: a\r\nX: y\r\n z\r\n\r\n" + NEXT, "400"},
        RawRow{"GET /echo HTTP/1.1\r\nX: y\r\n \r\nHost: a\r\n\r\n" + NEXT, "400"},
        RawRow{"GET http://b/echo HTTP/1.1\r\n\r\n" + NEXT, "400"},
        RawRow{"nonsense\r\n\r\n", ""}));

// RFC 9112, section 2.2, allows it.
TEST_F(ForeignServerTest, BareLineFeedEndsALine) {
    const std::string answer = fixture.exchange(
        "PUT /echo HTTP/1.1\nHost: a\nContent-Length: 3\nConnection: close\n\nabc");
    EXPECT_TRUE(contains(statusAndBody(answer), "200 update")) << answer;
    EXPECT_TRUE(contains(answer, "'abc'")) << answer;
}

}  // namespace
}  // namespace kova::http::detail
