// Logins and subject permissions: what a client gets that has the right, and one that has not.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Access.h"
#include "support/TemporaryFolder.h"
#include "support/Watchdog.h"

namespace kova::test {
namespace {

using namespace std::chrono_literals;
using nats::BrokerOptions;

// A pair of keys, and another public key.
constexpr char const* NKEY = "UDXU4RCSJNZOIQHZNWXHXORDPRTGNJAHAHFRGZNEEJCPQTT2M7NLCNF4";
constexpr char const* SEED = "SUACSSL3UAHUDXKFSNVUZRF5UHPMWZ6BFDTJ7M6USDXIEDNPPQYYYCU3VY";
constexpr char const* OTHER_NKEY = "UBUV6RJEP37HQOMCV5NOBHITB5KZ2OWI4ETKICDVQHBLYTWAFHE3I76Q";
constexpr char const* OTHER_SEED = "SUAJ2MR7BWIEN4XMGAYIHOV6P6BHNYX6VSJP6YUUVAG77PRO22O7LRAWYA";

class NatsLoginTest : public ::testing::Test {
protected:
    void begin(const std::string& configuration, const BrokerOptions& right) {
        access.emplace(configuration);
        access->serve(right);
    }
    static BrokerOptions user(const std::string& name, const std::string& password) {
        BrokerOptions options;
        options.user = name;
        options.password = password;
        return options;
    }
    static BrokerOptions token(const std::string& text) {
        BrokerOptions options;
        options.token = text;
        return options;
    }
    BrokerOptions nkey(const std::string& key, const std::string& seed) const {
        BrokerOptions options;
        options.nkey = key;
        options.nkeySeedFile = folder / seed.substr(0, 8);
        writeFile(options.nkeySeedFile, seed);
        return options;
    }
    void expectLoginIsRefused(const BrokerOptions& options) {
        const std::string text = "refuses the login: Authorization Violation";
        expectError(access->ask(options), "error 401", text);
        expectError(access->attemptToServe(options), "401", text);
    }

    Watchdog watchdog{"users log in", 120s};
    const TemporaryFolder folder;
    std::optional<Access> access;
};

TEST_F(NatsLoginTest, UserWithItsPasswordIsAcceptedAndOthersAreRefused) {
    begin("authorization { user: u, password: p }", user("u", "p"));
    EXPECT_EQ(access->ask(user("u", "p")), "completed");
    for (const BrokerOptions& wrong :
         {user("u", "wrong"), user("u", ""), user("v", "p"), token("p"), BrokerOptions()}) {
        expectLoginIsRefused(wrong);
    }
}

TEST_F(NatsLoginTest, LoginOfTheUrlIsUsed) {
    const Broker broker("authorization { user: u, password: p }");
    HeldService service;
    const nats::Server server(service, broker.url("u:p"));
    EXPECT_TRUE(server.waitUntilServing(20s));
    const nats::Server refused(service, broker.url("u:wrong"));
    const kit::Result<void> serving = refused.waitUntilServing(20s);
    ASSERT_FALSE(serving);
    EXPECT_EQ(serving.error().code, 401) << serving.error().message;
    EXPECT_EQ(serving.error().message.find("wrong"), std::string::npos) << serving.error().message;
}

TEST_F(NatsLoginTest, TokenIsAcceptedAndOthersAreRefused) {
    begin("authorization { token: secret }", token("secret"));
    EXPECT_EQ(access->ask(token("secret")), "completed");
    for (const BrokerOptions& wrong : {token("wrong"), user("u", "secret"), BrokerOptions()}) {
        expectLoginIsRefused(wrong);
    }
}

TEST_F(NatsLoginTest, NKeyIsAcceptedAndOthersAreRefused) {
    begin("authorization { users: [ { nkey: " + std::string(NKEY) + " } ] }", nkey(NKEY, SEED));
    EXPECT_EQ(access->ask(nkey(NKEY, SEED)), "completed");
    for (const BrokerOptions& wrong :
         {nkey(OTHER_NKEY, OTHER_SEED), nkey(NKEY, OTHER_SEED), BrokerOptions()}) {
        expectLoginIsRefused(wrong);
    }
}

TEST_F(NatsLoginTest, FileWithoutASeedIsReported) {
    begin("", BrokerOptions());
    BrokerOptions options = nkey(NKEY, SEED);
    options.nkeySeedFile = folder / "missing";
    expectError(access->ask(options, 1s), "error 503", options.nkeySeedFile);
    expectError(access->attemptToServe(options, 1s), "503", options.nkeySeedFile);
}

/// The users have the permissions that docs/nats.md recommends, and others have less.
constexpr char const* PERMISSIONS = R"(authorization { users: [
    { user: server, password: p, permissions: {
        publish: ["_INBOX.>"], subscribe: ["kova.device.>", "kova.@c.>"] } },
    { user: client, password: p, permissions: {
        publish: ["kova.device.>", "kova.@c.>"], subscribe: ["_INBOX.app.>"] } },
    { user: client_of_light, password: p, permissions: {
        publish: ["kova.light.>", "kova.@c.>"], subscribe: ["_INBOX.>"] } },
    { user: client_without_control, password: p, permissions: {
        publish: ["kova.device.>"], subscribe: ["_INBOX.>"] } },
    { user: server_without_answers, password: p, permissions: {
        publish: ["other.>"], subscribe: ["kova.>"] } }
] })";

class NatsPermissionTest : public NatsLoginTest {
protected:
    void beginAs(const std::string& server) { begin(PERMISSIONS, as(server)); }
    static BrokerOptions as(const std::string& name) {
        BrokerOptions options = user(name, "p");
        options.heartbeat = 1s;
        return options;
    }
    static BrokerOptions client() {
        BrokerOptions options = as("client");
        options.inboxPrefix = "_INBOX.app";
        return options;
    }
};

TEST_F(NatsPermissionTest, RecommendedPermissionsSuffice) {
    beginAs("server");
    EXPECT_EQ(access->ask(client()), "completed");
}

TEST_F(NatsPermissionTest, RecommendedPermissionsAllowCancellations) {
    beginAs("server");
    access->service.onRequest = nullptr;
    const auto device = access->connect(client());
    const Inbox inbox;
    void* const request = device->actionRequest(Request("retrieve", "/state"), inbox.handler());
    access->service.waitForRequests(1);
    device->cancelRequest(request);
    EXPECT_EQ(access->service.waitForCancelled(1), std::vector<std::size_t>{1});
}

TEST_F(NatsPermissionTest, ClientOfAnotherServicePathIsRefused) {
    beginAs("server");
    expectError(access->ask(as("client_of_light")), "error 403",
                R"(Permissions Violation for Publish to \"kova.device.@q\")");
}

TEST_F(NatsPermissionTest, ClientDoesNotReadTheAnswersOfOthers) {
    beginAs("server");
    expectError(access->ask(as("client")), "error 403",
                R"(Permissions Violation for Subscription to \"_INBOX.)");
}

TEST_F(NatsPermissionTest, ClientThatMayNotControlItsRequestsIsRefused) {
    beginAs("server");
    access->service.onRequest = nullptr;
    expectError(access->ask(as("client_without_control")), "error 403",
                R"(Permissions Violation for Publish to \"kova.@c.)");
    EXPECT_EQ(access->service.waitForCancelled(1), std::vector<std::size_t>{1});
}

TEST_F(NatsPermissionTest, ClientIsNotPermittedToServe) {
    beginAs("server");
    expectError(access->attemptToServe(client()), "403",
                R"(Permissions Violation for Subscription to "kova.)");
}

TEST_F(NatsPermissionTest, AnswersThatTheServerMayNotSendAreLost) {
    beginAs("server_without_answers");
    expectError(access->ask(client()), "error 503", "lost: the server of '/device' is silent");
}

}  // namespace
}  // namespace kova::test
