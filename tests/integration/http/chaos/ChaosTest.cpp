// Kills one end of a connection in mid-stream, breaks and delays connections between two ends, and
// changes recorded bytes at random. Checks in each round that every request has one end, and that
// all memory and descriptors are released. KOVA_CHAOS_ROUNDS is the number of rounds, and
// KOVA_CHAOS_SEED selects the random numbers (`tools/chaos`).
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "Chaos.h"
#include "ChaosService.h"
#include "Proxy.h"
#include "client/RemoteService.h"
#include "kova/http/Connect.h"
#include "kova/http/Endpoint.h"
#include "support/SocketClient.h"
#include "support/Watchdog.h"
#include "unit/http/server/Served.h"

namespace kova::http {
namespace {

using namespace std::chrono_literals;
using detail::RemoteService;
using test::awaitRelease;
using test::ChaosService;
using test::CountingHandler;
using test::Dice;
using test::Outcome;
using test::Process;
using test::Proxy;
using test::Resources;
using test::until;

const unsigned long ROUNDS = test::numberOf("KOVA_CHAOS_ROUNDS", 10);
const unsigned long MUTATIONS = 10 * ROUNDS;
constexpr long PUSHES = 40;

void ask(IKovaApi& service, Outcome& outcome, const std::string& path) {
    service.actionRequest(Request("retrieve", path), std::make_unique<CountingHandler>(outcome));
}

/// An endpoint in this process, and a neighbour: a client of it with a pending request, which
/// nothing may disturb.
class ChaosTest : public ::testing::Test {
protected:
    ChaosTest() {
        endpoint = std::make_unique<Endpoint>(service, directory.address());
        neighbour = connect(directory.address()).orThrow();
        ask(*neighbour, held, "/hold/neighbour");
        until([this] { return service.pending("/hold/neighbour") == 1; });
    }
    /// Sends a request of the neighbour and waits for its end. Then waits until only the neighbour
    /// is connected.
    void endRound() {
        ask(*neighbour, served, "/echo");
        ++asked;
        until([this] { return served.ends() == asked; });
        until([this] { return endpoint->connections() == 1 && service.pending() == 1; });
        watchdog.progress();
    }
    void TearDown() override {
        EXPECT_EQ(served.completed, asked);
        EXPECT_EQ(held.ends(), 0);
        EXPECT_EQ(service.pending("/hold/neighbour"), 1U);
        EXPECT_EQ(service.strangers(), 0U);
    }
    /// Returns a client whose connection leads over a bad network.
    std::unique_ptr<RemoteService> clientOf(const Proxy& proxy, bool pings = false) const {
        detail::ClientSettings settings;
        settings.patience = 1ms;
        if (pings) {
            settings.quiet = 5ms;
            settings.pingLimit = 5ms;
        }
        return std::make_unique<RemoteService>(*Address::parse(proxy.address()), settings);
    }

    kova::test::Watchdog watchdog{"connections break"};
    Outcome held;
    Outcome served;
    long asked = 0;
    Dice dice;
    test::SocketDirectory directory;
    ChaosService service;
    std::unique_ptr<Endpoint> endpoint;
    std::unique_ptr<IKovaApi> neighbour;
};

// --- kill -9 -------------------------------------------------------------------------------------

// One client lives in all rounds. Its watcher is subscribed again by each server.
TEST(ChaosOfServers, EachRequestOfAKilledServerEndsOnce) {
    kova::test::Watchdog watchdog("a server is killed");
    Dice dice;
    const test::SocketDirectory directory;
    const Resources before = Resources::now();
    Outcome outcome;
    Outcome watched;
    {
        ConnectOptions options;
        options.patience = 1min;
        const auto client = connect(directory.address(), options).orThrow();
        options.resubscribes = true;
        const auto watcher = connect(directory.address(), options).orThrow();
        ask(*watcher, watched, "/stream/watcher");
        for (unsigned long round = 0; round < ROUNDS; ++round) {
            const long snapshots = watched.values;  // the server may answer the watcher at once
            Process server({CHAOS_PEER, "serve", directory.address()});
            Outcome stream;
            ask(*client, outcome, "/hold/x");
            ask(*client, stream, "/stream/x");
            until([&] { return stream.values != 0 && watched.values != snapshots; });
            for (long i = 0; i < PUSHES; ++i) {
                ask(*client, outcome, "/push");
            }
            const auto seen = static_cast<long>(dice.roll(PUSHES));
            until([&] { return stream.values >= seen; });
            server.kill();
            until([&] { return stream.lost == 1; });
            EXPECT_EQ(stream.ends(), 1);
            EXPECT_EQ(stream.wrong, 0);
            until([&] { return stream.living == 0; });
            watchdog.progress();
        }
        // Requests that were not sent before the end of a server are sent to the next one.
        const Process last({CHAOS_PEER, "serve", directory.address()});
        until([&] { return outcome.ends() == static_cast<long>(ROUNDS) * (PUSHES + 1); });
        EXPECT_EQ(watched.ends(), 0);
        EXPECT_EQ(outcome.wrong + outcome.failed, 0);
        EXPECT_EQ(outcome.values, outcome.completed);
        EXPECT_GE(outcome.lost, static_cast<long>(ROUNDS));
    }
    EXPECT_EQ(outcome.living + watched.living, 0);
    awaitRelease(before);
}

TEST_F(ChaosTest, RequestsOfAKilledClientAreCancelledAndNoOthers) {
    Resources before;
    for (unsigned long round = 0; round < ROUNDS; ++round) {
        const std::string name = std::to_string(round) + "/";
        Process client({CHAOS_PEER, "ask", directory.address(), name});
        until([&] {
            return service.pending("/hold/" + name) == 10 &&
                   service.pending("/stream/" + name) == 5;
        });
        const std::size_t pushes = service.requests() + dice.roll(PUSHES);
        until([&] { return service.requests() >= pushes; });
        client.kill();
        endRound();
        before = round == 0 ? Resources::now() : before;
    }
    awaitRelease(before);
}

// --- Bad networks --------------------------------------------------------------------------------

struct Network {
    char const* name;
    Proxy::Then then;
};

class BadNetwork : public ChaosTest, public ::testing::WithParamInterface<Network> {};

// The two ends exchange more bytes than the network forwards before it fails.
TEST_P(BadNetwork, EachRequestEndsOnceAndIsCancelled) {
    constexpr std::size_t FEWEST_BYTES = 300;
    Resources before;
    for (unsigned long round = 0; round < ROUNDS; ++round) {
        Outcome outcome;
        {
            Proxy proxy(directory.path("s"), GetParam().then, 1 + dice.roll(FEWEST_BYTES - 1));
            const auto client = clientOf(proxy, GetParam().then == Proxy::Then::blackHole);
            for (char const* const path : {"/echo", "/hold/x", "/stream/x", "/push", "/echo"}) {
                ask(*client, outcome, path);
            }
            until([&] { return outcome.ends() == 5; });
        }
        EXPECT_EQ(outcome.wrong + outcome.failed + outcome.living, 0);
        EXPECT_GE(outcome.lost, 2);
        endRound();
        before = round == 0 ? Resources::now() : before;
    }
    awaitRelease(before);
}

INSTANTIATE_TEST_SUITE_P(
    ChaosTest, BadNetwork,
    ::testing::Values(Network{"Closed", Proxy::Then::close},
                      Network{"HalfClosedToTheServer", Proxy::Then::halfCloseServer},
                      Network{"HalfClosedToTheClient", Proxy::Then::halfCloseClient},
                      Network{"BlackHole", Proxy::Then::blackHole}),
    [](const auto& row) { return row.param.name; });

TEST_F(ChaosTest, BytesThatArriveOneByOneAreAnswered) {
    Outcome outcome;
    {
        Proxy proxy(directory.path("s"), Proxy::Then::trickle, 0);
        const auto client = clientOf(proxy);
        for (int i = 0; i < 5; ++i) {
            ask(*client, outcome, "/echo");
        }
        until([&] { return outcome.ends() == 5; });
    }
    EXPECT_EQ(outcome.completed, 5);
    EXPECT_EQ(outcome.values, 5);
    endRound();
}

TEST_F(ChaosTest, ClientThatDoesNotReadDisturbsNobody) {
    Outcome outcome;
    Proxy proxy(directory.path("s"), Proxy::Then::blackHole, 300);
    const auto client = clientOf(proxy);
    for (int i = 0; i < 20; ++i) {
        ask(*client, outcome, "/stream/x");
    }
    for (int i = 0; i < PUSHES; ++i) {
        ask(*neighbour, served, "/push");
        until([&] { return served.ends() == i + 1; });
    }
    asked += PUSHES;
    proxy.stop();
    until([&] { return outcome.ends() == 20; });
    EXPECT_EQ(outcome.lost, 20);
    EXPECT_EQ(outcome.wrong, 0);
    endRound();
}

// --- Mutations -----------------------------------------------------------------------------------

/// The bytes of a connection with three requests.
struct Recorded {
    std::string fromClient;
    std::string fromServer;
};

std::string mutated(std::string bytes, Dice& dice) {
    for (std::size_t count = 1 + dice.roll(3); count != 0 && !bytes.empty(); --count) {
        const std::size_t at = dice.roll(bytes.size() - 1);
        const std::size_t size = 1 + dice.roll(std::min<std::size_t>(16, bytes.size() - at) - 1);
        switch (dice.roll(4)) {
            case 0:
                bytes[at] = static_cast<char>(bytes[at] ^ (1 << dice.roll(7)));
                break;
            case 1:
                bytes[at] = static_cast<char>(dice.roll(255));
                break;
            case 2:
                bytes.erase(at, size);
                break;
            case 3:
                bytes.insert(at, bytes.substr(at, size));
                break;
            default:
                bytes.resize(at);
                break;
        }
    }
    return bytes;
}

class MutationTest : public ChaosTest {
protected:
    MutationTest() {
        Outcome outcome;
        Proxy proxy(directory.path("s"), Proxy::Then::goOn, 0);
        {
            const auto client = clientOf(proxy);
            for (char const* const path : {"/stream/x", "/push", "/echo"}) {
                ask(*client, outcome, path);
            }
            until([&] { return outcome.completed == 2 && outcome.values == 4; });
        }
        proxy.stop();
        recorded = {proxy.fromClient(), proxy.fromServer()};
        endRound();
        // The first request over HTTP/1.1 starts the server that serves all such requests.
        kova::test::SocketClient client(directory.address());
        client.send("GET /echo HTTP/1.0\r\n\r\n");
        client.receiveAll();
    }
    Recorded recorded;
};

TEST_F(MutationTest, BytesOfAClientDisturbNobodyElse) {
    const Resources before = Resources::now();
    for (unsigned long i = 0; i < MUTATIONS; ++i) {
        {
            kova::test::SocketClient client(directory.address());
            client.send(mutated(recorded.fromClient, dice));
            client.halfClose();
            until([&] { return client.receive().empty(); });
        }
        endRound();
    }
    awaitRelease(before);
}

TEST_F(MutationTest, BytesOfAServerEndEachRequestOnce) {
    const Resources before = Resources::now();
    kova::test::UnixListener listener;
    ConnectOptions options;
    options.patience = 1ms;
    for (unsigned long i = 0; i < MUTATIONS; ++i) {
        Outcome outcome;
        listener.listen();
        {
            const auto client = connect(listener.address(), options).orThrow();
            for (char const* const path : {"/stream/x", "/push", "/echo"}) {
                ask(*client, outcome, path);
            }
            const wire::FileDescriptor server(listener.accept());
            listener.close();
            const std::string bytes = mutated(recorded.fromServer, dice);
            ::send(server.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            ::shutdown(server.get(), SHUT_WR);
            until([&] { return outcome.ends() == 3; });
        }
        EXPECT_EQ(outcome.wrong + outcome.living, 0);
        watchdog.progress();
    }
    awaitRelease(before);
}

}  // namespace
}  // namespace kova::http
