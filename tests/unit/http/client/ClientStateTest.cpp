#include "client/ClientState.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "client/RemoteService.h"
#include "kova/core/response_handlers.h"
#include "kova/testing/Recording.h"
#include "support/Http2Peer.h"
#include "support/Watchdog.h"
#include "wire/Records.h"

namespace kova::http::detail {
namespace {

using namespace std::chrono_literals;
using Events = testing::Recording::Events;
using test::Http2Peer;

constexpr auto LONG = 60s;

ClientSettings patient() {
    ClientSettings settings;
    settings.patience = LONG;
    return settings;
}

std::string value(const std::string& text, bool isFirst = true) {
    std::string record;
    const Payload payload = Payload::createFromRaw(
        reinterpret_cast<unsigned char const*>(text.data()), text.size(), "plain/text");
    EXPECT_TRUE(wire::appendEvent(record, wire::RecordKind::next, Response(200, payload), isFirst));
    return record;
}

std::string completed(bool isFirst = true) {
    std::string record;
    wire::appendCompleted(record, isFirst);
    return record;
}

/// A response handler that calls a function with each value.
std::unique_ptr<IResponseHandler<Response>> onValue(std::function<bool(const Response&)> function) {
    return std::make_unique<responsehandlers::FuncResponseHandler<Response>>(
        std::move(function), [](const Response&) {}, [] {});
}

class ClientStateTest : public ::testing::Test {
protected:
    ClientStateTest() { listener.listen(); }

    void start(const ClientSettings& settings = patient()) {
        service = std::make_unique<RemoteService>(*Address::parse(listener.address()), settings);
    }
    testing::Recording send(const std::string& path = "/x") {
        testing::Recording recording;
        handle = service->actionRequest(Request("retrieve", path), recording.handler());
        return recording;
    }
    /// Waits until the thread of the client rests.
    void beginDriving() {
        while (!service->beginDriving()) {
            std::this_thread::yield();
        }
    }
    std::unique_ptr<Http2Peer> accept() { return std::make_unique<Http2Peer>(listener.accept()); }
    /// Accepts a connection whose client knows of the limit of concurrent streams.
    std::unique_ptr<Http2Peer> acceptLimited(std::uint32_t streams) {
        auto peer = std::make_unique<Http2Peer>(listener.accept(), streams);
        peer->waitForSettings();
        return peer;
    }

    test::Watchdog watchdog{"a client waits"};
    test::UnixListener listener;
    void* handle = nullptr;
    std::unique_ptr<RemoteService> service;
};

// --- Requests and answers ------------------------------------------------------------------------

TEST_F(ClientStateTest, RequestIsOneRecordInAPost) {
    ClientSettings settings = patient();
    settings.path = "/device";
    start(settings);
    const testing::Recording recording = send("/system/memory");
    const auto peer = accept();
    const Http2Peer::Request request = peer->waitForRequest();
    EXPECT_EQ(request.fields, (std::map<std::string, std::string>{
                                  {":method", "POST"},
                                  {":scheme", "http"},
                                  {":authority", "kova"},
                                  {":path", "/device"},
                                  {"content-type", "application/vnd.kova.events"}}));
    std::string expected;
    ASSERT_TRUE(wire::appendRequest(expected, Request("retrieve", "/system/memory")));
    EXPECT_EQ(request.body, expected);
    peer->answer(request.number, value("a") + completed(false));
    EXPECT_EQ(recording.waitFor(2), (Events{"value 200 a", "completed"}));
    EXPECT_TRUE(recording.waitUntilDestroyed());
}

TEST_F(ClientStateTest, RequestsOfOneConnectionAreAnsweredInAnyOrder) {
    start();
    const testing::Recording first = send("/1");
    const auto peer = accept();
    const std::int32_t one = peer->waitForRequest().number;
    const testing::Recording second = send("/2");
    const std::int32_t two = peer->waitForRequest().number;
    peer->answer(two, completed());
    EXPECT_EQ(second.waitFor(1), (Events{"completed"}));
    EXPECT_EQ(first.events(), Events());
    peer->answer(one, completed());
    EXPECT_EQ(first.waitFor(1), (Events{"completed"}));
}

TEST_F(ClientStateTest, RequestFromInsideAResponseHandlerIsSent) {
    start();
    testing::Recording inner;
    service->actionRequest(Request("retrieve", "/1"), onValue([&](const Response&) {
                               service->actionRequest(Request("retrieve", "/2"), inner.handler());
                               return true;
                           }));
    const auto peer = accept();
    peer->answer(peer->waitForRequest().number, value("a") + completed(false));
    peer->answer(peer->waitForRequest().number, completed());
    EXPECT_EQ(inner.waitFor(1), (Events{"completed"}));
}

TEST_F(ClientStateTest, BodyLargerThanTheWindowsIsSentAsTheServerReads) {
    start();
    const std::string large(1'000'000, 'x');
    testing::Recording recording;
    service->actionRequest(
        Request("update", "/x",
                Payload::createFromRaw(reinterpret_cast<unsigned char const*>(large.data()),
                                       large.size(), "plain/text")),
        recording.handler());
    const auto peer = accept();
    const Http2Peer::Request request = peer->waitForRequest();
    EXPECT_EQ(request.body.substr(request.body.size() - large.size()), large);
    peer->answer(request.number, value(large) + completed(false));
    peer->waitUntilSent(request.number);
    EXPECT_EQ(recording.waitFor(2), (Events{"value 200 " + large, "completed"}));
}

TEST_F(ClientStateTest, AnswerBeforeTheEndOfTheBodyStopsTheBody) {
    start();
    testing::Recording recording;
    service->actionRequest(
        Request("update", "/x",
                Payload::createFromRaw(std::vector<unsigned char>(1'000'000).data(), 1'000'000,
                                       "plain/text")),
        recording.handler());
    const auto peer = accept();
    const std::int32_t number = peer->waitForHeader().number;
    peer->answer(number, "too long", true, "413", "text/plain");
    EXPECT_EQ(recording.waitFor(1), (Events{"error 413 too long"}));
    EXPECT_EQ(peer->waitForReset(number), static_cast<std::uint32_t>(NGHTTP2_CANCEL));
    EXPECT_FALSE(peer->hasRequest());
}

TEST_F(ClientStateTest, RequestThatCannotBeEncodedFailsAtOnce) {
    start();
    util::config::Dictionary* inner = nullptr;
    auto header = std::make_shared<util::config::Dictionary>();
    util::config::Dictionary* outer = header.get();
    for (int depth = 0; depth < 300; ++depth) {
        inner = new util::config::Dictionary;
        outer->add("x", inner);
        outer = inner;
    }
    testing::Recording recording;
    EXPECT_EQ(service->actionRequest(Request("retrieve", "/x", header), recording.handler()),
              IKovaApi::UNDEFINED_REQUEST_HANDLE);
    EXPECT_EQ(recording.events(), (Events{"error 400 the header is nested too deeply"}));
}

// --- A thread that waits for an answer -----------------------------------------------------------

TEST_F(ClientStateTest, WaitingThreadReadsItsAnswer) {
    start();
    beginDriving();
    std::optional<std::thread::id> thread;
    service->actionRequest(Request("retrieve", "/x"), onValue([&](const Response&) {
                               thread = std::this_thread::get_id();
                               return false;
                           }));
    const auto peer = accept();
    peer->answer(peer->waitForRequest().number, value("a") + completed(false));
    while (!thread) {
        EXPECT_TRUE(service->drive(std::chrono::steady_clock::time_point::max()));
    }
    service->endDriving();
    EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(ClientStateTest, RequestOfAnotherThreadEndsTheDriving) {
    start();
    beginDriving();
    const testing::Recording first = send("/1");
    const auto peer = accept();
    const std::int32_t one = peer->waitForRequest().number;
    testing::Recording second;
    std::thread other([&] { service->actionRequest(Request("retrieve", "/2"), second.handler()); });
    while (service->drive(std::chrono::steady_clock::time_point::max())) {
    }
    service->endDriving();
    other.join();
    peer->answer(peer->waitForRequest().number, completed());
    peer->answer(one, completed());
    EXPECT_EQ(first.waitFor(1), (Events{"completed"}));
    EXPECT_EQ(second.waitFor(1), (Events{"completed"}));
}

TEST_F(ClientStateTest, RequestThatIsOpenAfterTheDrivingIsAnswered) {
    start();
    beginDriving();
    const testing::Recording recording = send();
    service->endDriving();
    EXPECT_FALSE(service->beginDriving());
    const auto peer = accept();
    peer->answer(peer->waitForRequest().number, completed());
    EXPECT_EQ(recording.waitFor(1), (Events{"completed"}));
}

TEST_F(ClientStateTest, InterruptionEndsTheDriving) {
    start();
    beginDriving();
    std::thread other([this] { service->interruptDriving(); });
    while (service->drive(std::chrono::steady_clock::time_point::max())) {
    }
    service->endDriving();
    other.join();
    beginDriving();
    EXPECT_TRUE(service->drive({}));
    service->endDriving();
}

// --- Ends of a stream ----------------------------------------------------------------------------

TEST_F(ClientStateTest, AnswerWithoutItsEndIsLost) {
    start();
    const testing::Recording recording = send();
    const auto peer = accept();
    peer->answer(peer->waitForRequest().number, value("a"));
    EXPECT_EQ(recording.waitFor(2),
              (Events{"value 200 a", "error 503 lost: the answer has no end"}));
}

TEST_F(ClientStateTest, ResetStreamIsLostAndOthersGoOn) {
    start();
    const testing::Recording first = send("/1");
    const testing::Recording second = send("/2");
    const auto peer = accept();
    peer->reset(peer->waitForRequest().number, NGHTTP2_REFUSED_STREAM);
    EXPECT_EQ(first.waitFor(1), (Events{"error 503 lost: the stream was reset: REFUSED_STREAM"}));
    peer->answer(peer->waitForRequest().number, completed());
    EXPECT_EQ(second.waitFor(1), (Events{"completed"}));
}

TEST_F(ClientStateTest, MalformedRecordResetsTheStreamAndOthersGoOn) {
    start();
    const testing::Recording first = send("/1");
    const testing::Recording second = send("/2");
    const auto peer = accept();
    const std::int32_t number = peer->waitForRequest().number;
    peer->answer(number, value("a") + std::string("\0\0\0\0", 4), false);
    EXPECT_EQ(first.waitFor(2),
              (Events{"value 200 a",
                      "error 502 malformed answer: record of 0 bytes, not 1 to 67108864"}));
    EXPECT_EQ(peer->waitForReset(number), static_cast<std::uint32_t>(NGHTTP2_PROTOCOL_ERROR));
    peer->answer(peer->waitForRequest().number, completed());
    EXPECT_EQ(second.waitFor(1), (Events{"completed"}));
}

TEST_F(ClientStateTest, AnswerOfAnotherTypeIsRefusedBeforeItsBody) {
    start();
    const testing::Recording recording = send();
    const auto peer = accept();
    const std::int32_t number = peer->waitForRequest().number;
    peer->answer(number, "", false, "200", "text/html");
    EXPECT_EQ(recording.waitFor(1),
              (Events{"error 502 malformed answer: the answer has the type 'text/html'"}));
    EXPECT_EQ(peer->waitForReset(number), static_cast<std::uint32_t>(NGHTTP2_PROTOCOL_ERROR));
}

TEST_F(ClientStateTest, ReceiverThatWantsNoMoreValuesResetsTheStream) {
    start();
    int values = 0;
    service->actionRequest(Request("retrieve", "/x"), onValue([&](const Response&) {
                               ++values;
                               return true;
                           }));
    const auto peer = accept();
    const std::int32_t number = peer->waitForRequest().number;
    peer->answer(number, value("a") + value("b", false), false);
    EXPECT_EQ(peer->waitForReset(number), static_cast<std::uint32_t>(NGHTTP2_CANCEL));
    service.reset();
    EXPECT_EQ(values, 1);
}

TEST_F(ClientStateTest, InformationalAnswerIsIgnored) {
    start();
    const testing::Recording recording = send();
    const auto peer = accept();
    const std::int32_t number = peer->waitForRequest().number;
    peer->inform(number, "103");
    peer->answer(number, completed());
    EXPECT_EQ(recording.waitFor(1), (Events{"completed"}));
}

// --- Cancellation --------------------------------------------------------------------------------

TEST_F(ClientStateTest, CancelledRequestIsResetAndSilent) {
    start();
    const testing::Recording recording = send();
    const auto peer = accept();
    const std::int32_t number = peer->waitForRequest().number;
    peer->answer(number, value("a"), false);
    recording.waitFor(1);
    service->cancelRequest(handle);
    EXPECT_EQ(peer->waitForReset(number), static_cast<std::uint32_t>(NGHTTP2_CANCEL));
    EXPECT_TRUE(recording.waitUntilDestroyed());
    EXPECT_EQ(recording.events(), (Events{"value 200 a"}));
}

// The response handler blocks the thread of the client, so the client reads the cancellation of the
// second request only after the end of the first one, which lets the client send another one.
TEST_F(ClientStateTest, RequestThatIsCancelledBeforeItIsSentIsNotSent) {
    start();
    std::promise<void> entered;
    std::promise<void> goOn;
    testing::Recording first;
    first.onEvent([&](const std::string& event) {
        if (event == "value 200 b") {
            entered.set_value();
            goOn.get_future().wait();
        }
    });
    service->actionRequest(Request("retrieve", "/1"), first.handler());
    const auto peer = acceptLimited(1);
    const std::int32_t number = peer->waitForRequest().number;
    const testing::Recording second = send("/2");
    peer->answer(number, value("a"), false);
    first.waitFor(1);
    peer->send(number, value("b", false) + completed(false), true);
    entered.get_future().wait();
    service->cancelRequest(handle);
    const testing::Recording third = send("/3");
    goOn.set_value();
    const Http2Peer::Request request = peer->waitForRequest();
    std::string expected;
    ASSERT_TRUE(wire::appendRequest(expected, Request("retrieve", "/3")));
    EXPECT_EQ(request.body, expected);
    EXPECT_EQ(second.events(), Events());
    EXPECT_TRUE(first.waitUntilDestroyed());  // the handler uses the variables above
}

TEST_F(ClientStateTest, SecondAndLateCancellationsAreIgnored) {
    start();
    const testing::Recording recording = send();
    void* const first = handle;
    const auto peer = accept();
    peer->answer(peer->waitForRequest().number, completed());
    recording.waitFor(1);
    service->cancelRequest(first);
    const testing::Recording second = send();
    service->cancelRequest(first);
    peer->answer(peer->waitForRequest().number, completed());
    EXPECT_EQ(second.waitFor(1), (Events{"completed"}));
}

// --- Limits of the server ------------------------------------------------------------------------

TEST_F(ClientStateTest, RequestsBeyondTheLimitWaitForAFreeStream) {
    start();
    std::vector<testing::Recording> recordings{send("/1")};
    const auto peer = acceptLimited(2);
    const std::int32_t first = peer->waitForRequest().number;
    recordings.push_back(send("/2"));
    recordings.push_back(send("/3"));
    const std::int32_t second = peer->waitForRequest().number;
    peer->answer(first, completed());
    const std::int32_t third = peer->waitForRequest().number;
    peer->answer(second, completed());
    peer->answer(third, completed());
    for (const testing::Recording& recording : recordings) {
        EXPECT_EQ(recording.waitFor(1), (Events{"completed"}));
    }
}

TEST_F(ClientStateTest, RaisedLimitSendsTheRequestsThatWait) {
    start();
    const testing::Recording first = send("/1");
    const auto peer = acceptLimited(1);
    peer->waitForRequest();
    const testing::Recording second = send("/2");
    peer->limitStreams(2);
    EXPECT_EQ(peer->waitForRequest().number, 3);
}

TEST_F(ClientStateTest, WaitForAFreeStreamIsNotLimitedByThePatience) {
    ClientSettings settings;
    settings.patience = 100ms;
    start(settings);
    const testing::Recording first = send("/1");
    const auto peer = acceptLimited(1);
    const std::int32_t number = peer->waitForRequest().number;
    const testing::Recording second = send("/2");
    // A third request of another client without a server shows that the time has passed.
    RemoteService other(*Address::parse("unix:/nowhere"), settings);
    testing::Recording expired;
    other.actionRequest(Request("retrieve", "/"), expired.handler());
    expired.waitFor(1);
    EXPECT_EQ(second.events(), Events());
    peer->answer(number, completed());
    peer->answer(peer->waitForRequest().number, completed());
    EXPECT_EQ(second.waitFor(1), (Events{"completed"}));
}

TEST_F(ClientStateTest, UsedUpConnectionIsReplacedWhileItsLastRequestsEnd) {
    ClientSettings settings = patient();
    settings.lastStream = 3;
    start(settings);
    const testing::Recording first = send("/1");
    const testing::Recording second = send("/2");
    const testing::Recording third = send("/3");
    const auto peer = accept();
    const std::int32_t one = peer->waitForRequest().number;
    const std::int32_t two = peer->waitForRequest().number;
    const auto successor = accept();
    successor->answer(successor->waitForRequest().number, completed());
    EXPECT_EQ(third.waitFor(1), (Events{"completed"}));
    peer->answer(one, completed());
    peer->answer(two, completed());
    EXPECT_EQ(second.waitFor(1), (Events{"completed"}));
    peer->waitForClose();
}

// --- Lost connections ----------------------------------------------------------------------------

TEST_F(ClientStateTest, ClosedConnectionEndsEachPendingRequestOnce) {
    start();
    std::vector<testing::Recording> recordings;
    for (int i = 0; i < 3; ++i) {
        recordings.push_back(send());
    }
    auto peer = accept();
    peer->answer(peer->waitForRequest().number, value("a"), false);
    peer->waitForRequest();
    peer->waitForRequest();
    recordings[0].waitFor(1);
    peer->close();
    for (const testing::Recording& recording : recordings) {
        EXPECT_TRUE(recording.waitUntilDestroyed());
        EXPECT_EQ(recording.events().back(), "error 503 lost: the connection was closed");
    }
    EXPECT_EQ(recordings[0].events().size(), 2U);
    EXPECT_EQ(recordings[1].events().size(), 1U);
}

TEST_F(ClientStateTest, NextRequestConnectsAgain) {
    start();
    const testing::Recording first = send("/1");
    accept()->waitForRequest();
    EXPECT_EQ(first.waitFor(1), (Events{"error 503 lost: the connection was closed"}));
    const testing::Recording second = send("/2");
    const auto peer = accept();
    peer->answer(peer->waitForRequest().number, completed());
    EXPECT_EQ(second.waitFor(1), (Events{"completed"}));
}

// Nobody reads from the connection when the server closes it.
TEST_F(ClientStateTest, RequestAfterAConnectionWasClosedUnnoticedGoesToTheNextOne) {
    for (const std::size_t size : {std::size_t{0}, ClientStream::LONGEST_KEPT}) {
        start();
        const testing::Recording first = send("/1");
        auto peer = accept();
        peer->answer(peer->waitForRequest().number, completed());
        EXPECT_EQ(first.waitFor(1), (Events{"completed"}));
        beginDriving();
        peer.reset();
        const testing::Recording second = send("/" + std::string(size, 'x'));
        service->endDriving();
        peer = accept();
        peer->answer(peer->waitForRequest().number, completed());
        EXPECT_EQ(second.waitFor(1), (Events{"completed"}));
    }
}

TEST_F(ClientStateTest, RequestsThatWereNotSentGoToTheNextConnection) {
    start();
    const testing::Recording first = send("/1");
    auto peer = acceptLimited(1);
    peer->waitForRequest();
    const testing::Recording second = send("/2");
    peer.reset();
    EXPECT_EQ(first.waitFor(1), (Events{"error 503 lost: the connection was closed"}));
    peer = accept();
    peer->answer(peer->waitForRequest().number, completed());
    EXPECT_EQ(second.waitFor(1), (Events{"completed"}));
}

TEST_F(ClientStateTest, GoAwayLosesTheRequestsBeyondItsLastStream) {
    start();
    const testing::Recording first = send("/1");
    const testing::Recording second = send("/2");
    const auto peer = accept();
    const std::int32_t one = peer->waitForRequest().number;
    peer->waitForRequest();
    peer->goAway(one);
    EXPECT_EQ(second.waitFor(1), (Events{"error 503 lost: the stream was reset: REFUSED_STREAM"}));
    const testing::Recording third = send("/3");
    const auto successor = accept();
    successor->answer(successor->waitForRequest().number, completed());
    EXPECT_EQ(third.waitFor(1), (Events{"completed"}));
    peer->answer(one, completed());
    EXPECT_EQ(first.waitFor(1), (Events{"completed"}));
    peer->waitForClose();
}

TEST_F(ClientStateTest, ErrorOfTheConnectionIsTheReason) {
    start();
    const testing::Recording recording = send();
    auto peer = accept();
    const std::int32_t number = peer->waitForRequest().number;
    peer->goAway(number, NGHTTP2_ENHANCE_YOUR_CALM);
    peer->close();
    EXPECT_EQ(recording.waitFor(1),
              (Events{"error 503 lost: the server ended the connection: ENHANCE_YOUR_CALM"}));
}

TEST_F(ClientStateTest, ServerThatSpeaksAnotherProtocolIsLost) {
    start();
    const testing::Recording recording = send();
    const auto peer = accept();
    peer->sendRaw("HTTP/1.1 400 Bad Request\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(recording.waitFor(1).front().substr(0, 40),
              "error 503 lost: the server violated HTTP");
}

// --- No connection -------------------------------------------------------------------------------

TEST_F(ClientStateTest, RequestThatHasWaitedLongerThanThePatienceIsLost) {
    listener.close();
    ClientSettings settings;
    settings.patience = 50ms;
    start(settings);
    const auto begin = std::chrono::steady_clock::now();
    const testing::Recording recording = send();
    EXPECT_EQ(recording.waitFor(1), (Events{"error 503 lost: no connection to " +
                                            listener.address() + ": No such file or directory"}));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 50ms);
}

// The pause is longer than the longest delay between two attempts.
TEST_F(ClientStateTest, ClientWithoutRequestsDoesNotConnect) {
    listener.close();
    ClientSettings settings;
    settings.patience = 20ms;
    start(settings);
    const testing::Recording lost = send();
    lost.waitFor(1);
    listener.listen();
    std::this_thread::sleep_for(1200ms);
    EXPECT_FALSE(listener.hasConnection());
    const testing::Recording next = send();
    const auto peer = accept();
    peer->answer(peer->waitForRequest().number, completed());
    EXPECT_EQ(next.waitFor(1), (Events{"completed"}));
}

TEST_F(ClientStateTest, RequestWaitsForAServerThatStartsLater) {
    listener.close();
    start();
    const testing::Recording recording = send();
    listener.listen();
    const auto peer = accept();
    peer->answer(peer->waitForRequest().number, completed());
    EXPECT_EQ(recording.waitFor(1), (Events{"completed"}));
}

TEST_F(ClientStateTest, PatienceOfZeroSufficesForAServerThatListens) {
    ClientSettings settings;
    settings.patience = 0ms;
    start(settings);
    const testing::Recording recording = send();
    const auto peer = accept();
    peer->answer(peer->waitForRequest().number, completed());
    EXPECT_EQ(recording.waitFor(1), (Events{"completed"}));
}

TEST_F(ClientStateTest, RequestCancelledBeforeAConnectionExistsIsNeverSent) {
    listener.close();
    start();
    const testing::Recording first = send();
    service->cancelRequest(handle);
    EXPECT_TRUE(first.waitUntilDestroyed());
    const testing::Recording second = send();
    listener.listen();
    const auto peer = accept();
    peer->answer(peer->waitForRequest().number, completed());
    EXPECT_EQ(second.waitFor(1), (Events{"completed"}));
    EXPECT_FALSE(peer->hasRequest());
}

// --- A server that is gone -----------------------------------------------------------------------

TEST_F(ClientStateTest, SilentServerIsLostAfterAPing) {
    ClientSettings settings = patient();
    settings.quiet = 20ms;
    settings.pingLimit = 20ms;
    start(settings);
    const testing::Recording recording = send();
    const auto peer = accept();
    EXPECT_EQ(recording.waitFor(1), (Events{"error 503 lost: no answer to a PING for 20 ms"}));
}

TEST_F(ClientStateTest, ClientWaitsForAServerThatAnswersPings) {
    ClientSettings settings = patient();
    settings.quiet = 5ms;
    settings.pingLimit = LONG;
    start(settings);
    const testing::Recording recording = send();
    const auto peer = accept();
    const std::int32_t number = peer->waitForRequest().number;
    peer->waitForPings(3);
    peer->answer(number, completed());
    EXPECT_EQ(recording.waitFor(1), (Events{"completed"}));
}

// The pauses are long enough for many PINGs. On a slow machine a PING may be sent while a request
// is pending, so that not each round has to be without one.
TEST_F(ClientStateTest, IdleConnectionHasNoPings) {
    ClientSettings settings = patient();
    settings.quiet = 20ms;
    settings.pingLimit = LONG;
    start(settings);
    std::unique_ptr<Http2Peer> peer;
    int former = 0;
    int pings = 0;
    for (int round = 0; round < 20 && (round < 2 || pings != former); ++round) {
        const testing::Recording recording = send();
        peer = peer ? std::move(peer) : accept();
        const std::int32_t number = peer->waitForRequest().number;
        former = std::exchange(pings, peer->pings());
        peer->answer(number, completed());
        EXPECT_EQ(recording.waitFor(1), (Events{"completed"}));
        std::this_thread::sleep_for(100ms);
    }
    EXPECT_EQ(pings, former);
}

// The answer to the PING and the next value wait in the socket while the response handler blocks.
TEST_F(ClientStateTest, BlockedResponseHandlerDoesNotLoseTheConnection) {
    ClientSettings settings = patient();
    settings.quiet = 5ms;
    settings.pingLimit = 1s;
    start(settings);
    std::promise<void> entered;
    std::promise<void> goOn;
    testing::Recording recording;
    recording.onEvent([&](const std::string& event) {
        if (event == "value 200 a") {
            entered.set_value();
            goOn.get_future().wait();
        }
    });
    service->actionRequest(Request("retrieve", "/x"), recording.handler());
    const auto peer = accept();
    const std::int32_t number = peer->waitForRequest().number;
    peer->answer(number, value("a"), false);
    entered.get_future().wait();
    // A client without a server shows that more than both times have passed.
    ClientSettings impatient;
    impatient.patience = 1100ms;
    RemoteService other(*Address::parse("unix:/nowhere"), impatient);
    testing::Recording expired;
    other.actionRequest(Request("retrieve", "/"), expired.handler());
    expired.waitFor(1);
    peer->send(number, completed(false), true);
    goOn.set_value();
    EXPECT_EQ(recording.waitFor(2), (Events{"value 200 a", "completed"}));
    EXPECT_TRUE(recording.waitUntilDestroyed());  // the handler uses the variables above
}

// --- Flow control --------------------------------------------------------------------------------

TEST_F(ClientStateTest, BlockedResponseHandlerStopsTheServerAtTheWindow) {
    ClientSettings settings = patient();
    settings.window = 20'000;
    start(settings);
    std::promise<void> entered;
    std::promise<void> goOn;
    testing::Recording recording;
    bool isFirst = true;
    recording.onEvent([&](const std::string&) {
        if (std::exchange(isFirst, false)) {
            entered.set_value();
            goOn.get_future().wait();
        }
    });
    service->actionRequest(Request("retrieve", "/x"), recording.handler());
    const auto peer = accept();
    const std::int32_t number = peer->waitForRequest().number;
    peer->answer(number, value("a"), false);
    entered.get_future().wait();
    const std::size_t first = value("a").size();
    const std::string large(100'000, 'x');
    const std::string rest = value(large, false) + completed(false);
    peer->send(number, rest, true);
    EXPECT_EQ(peer->unsent(number), first + rest.size() - 20'000);
    goOn.set_value();
    peer->waitUntilSent(number);
    EXPECT_EQ(recording.waitFor(3), (Events{"value 200 a", "value 200 " + large, "completed"}));
    EXPECT_TRUE(recording.waitUntilDestroyed());  // the handler uses the variables above
}

// --- Destruction ---------------------------------------------------------------------------------

TEST_F(ClientStateTest, DestructionCancelsPendingRequests) {
    start();
    const testing::Recording first = send("/1");
    const auto peer = acceptLimited(1);
    peer->waitForRequest();
    const testing::Recording second = send("/2");
    service.reset();
    EXPECT_EQ(first.living() + second.living(), 0U);
    EXPECT_EQ(first.events(), Events());
    EXPECT_EQ(second.events(), Events());
    peer->waitForClose();
}

TEST_F(ClientStateTest, ClientMayBeDestroyedFromInsideAResponseHandler) {
    start();
    std::promise<void> destroyed;
    int values = 0;
    service->actionRequest(Request("retrieve", "/x"), onValue([&](const Response&) {
                               ++values;
                               service.reset();
                               destroyed.set_value();
                               return false;
                           }));
    const auto peer = accept();
    peer->answer(peer->waitForRequest().number, value("a") + value("b", false) + completed(false));
    destroyed.get_future().wait();
    peer->waitForClose();
    EXPECT_EQ(values, 1);
}

// Another thread would wait for the response handler for up to a second, which this one must not
// do.
TEST_F(ClientStateTest, DestructionFromInsideAResponseHandlerDoesNotWait) {
    start();
    std::promise<std::chrono::steady_clock::duration> duration;
    service->actionRequest(Request("retrieve", "/x"), onValue([&](const Response&) {
                               const auto begin = std::chrono::steady_clock::now();
                               service.reset();
                               duration.set_value(std::chrono::steady_clock::now() - begin);
                               return false;
                           }));
    const auto peer = accept();
    peer->answer(peer->waitForRequest().number, value("a"), false);
    EXPECT_LT(duration.get_future().get(), 1s);
    peer->waitForClose();
}

TEST_F(ClientStateTest, DestructionWaitsForAResponseHandlerOfAnotherThread) {
    start();
    std::promise<void> entered;
    bool isOver = false;
    service->actionRequest(Request("retrieve", "/x"), onValue([&](const Response&) {
                               entered.set_value();
                               std::this_thread::yield();
                               isOver = true;
                               return false;
                           }));
    const auto peer = accept();
    peer->answer(peer->waitForRequest().number, value("a"), false);
    entered.get_future().wait();
    service.reset();
    EXPECT_TRUE(isOver);
}

TEST_F(ClientStateTest, ResponseHandlersMayDestroyTheClientsOfEachOther) {
    start();
    test::UnixListener otherListener;
    otherListener.listen();
    auto other =
        std::make_unique<RemoteService>(*Address::parse(otherListener.address()), patient());
    std::promise<void> inFirst;
    std::promise<void> inSecond;
    std::promise<void> firstIsOver;
    std::promise<void> secondIsOver;
    service->actionRequest(Request("retrieve", "/x"), onValue([&](const Response&) {
                               inFirst.set_value();
                               inSecond.get_future().wait();
                               other.reset();
                               firstIsOver.set_value();
                               return false;
                           }));
    other->actionRequest(Request("retrieve", "/x"), onValue([&](const Response&) {
                             inSecond.set_value();
                             inFirst.get_future().wait();
                             service.reset();
                             secondIsOver.set_value();
                             return false;
                         }));
    const auto peer = accept();
    Http2Peer otherPeer(otherListener.accept());
    peer->answer(peer->waitForRequest().number, value("a"), false);
    otherPeer.answer(otherPeer.waitForRequest().number, value("a"), false);
    firstIsOver.get_future().wait();
    secondIsOver.get_future().wait();
    peer->waitForClose();
    otherPeer.waitForClose();
}

}  // namespace
}  // namespace kova::http::detail
