// Users with credentials files at a broker in operator mode (foreign/credentials.js makes them).
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

#include "Access.h"
#include "support/TemporaryFolder.h"
#include "support/Watchdog.h"

namespace kova::test {
namespace {

using namespace std::chrono_literals;

/// An operator, its accounts and their users.
class Users {
public:
    Users() {
        const std::string command =
            "cd '" KOVA_FOREIGN "' && node credentials.js '" + folder_.path() + "'";
        if (std::system(command.c_str()) != 0) {
            throw std::runtime_error(command);
        }
    }
    /// Returns the configuration of a broker that knows them.
    std::string configuration() const { return readFile(folder_ / "broker.conf"); }
    std::string fileOf(const std::string& name) const { return folder_ / (name + ".creds"); }
    nats::BrokerOptions operator[](const std::string& name) const {
        nats::BrokerOptions options;
        options.credentialsFile = fileOf(name);
        return options;
    }

private:
    const TemporaryFolder folder_;
};

/// A broker, and a server that has logged in.
class NatsCredentialsTest : public ::testing::Test {
protected:
    static const Users& shared() {
        static const Users users;  // making them takes seconds
        return users;
    }
    NatsCredentialsTest() { begin(users); }
    void begin(const Users& known) {
        access.emplace(known.configuration());
        access->serve(known["server"]);
    }
    void expectLoginIsRefused(const nats::BrokerOptions& options) {
        const std::string text = "refuses the login: Authorization Violation";
        expectError(access->ask(options), "error 401", text);
        expectError(access->attemptToServe(options), "401", text);
    }

    Watchdog watchdog{"users log in with credentials", 120s};
    const Users& users = shared();
    std::optional<Access> access;
};

TEST_F(NatsCredentialsTest, UserOfTheAccountIsServed) {
    EXPECT_EQ(access->ask(users["client"]), "completed");
}

TEST_F(NatsCredentialsTest, UserWithoutPermissionForTheServicePathIsRefused) {
    expectError(access->ask(users["client_of_light"]), "error 403",
                R"(Permissions Violation for Publish to \"kova.device.@q\")");
}

TEST_F(NatsCredentialsTest, ClientIsNotPermittedToServe) {
    expectError(access->attemptToServe(users["client"]), "403",
                R"(Permissions Violation for Subscription to "kova.)");
}

TEST_F(NatsCredentialsTest, UserOfAnotherAccountDoesNotFindTheServer) {
    expectError(access->ask(users["neighbour"]), "error 503", "no server of '/device'");
}

TEST_F(NatsCredentialsTest, ExpiredUserIsRefused) {
    expectLoginIsRefused(users["expired"]);
}

TEST_F(NatsCredentialsTest, UserOfAnotherOperatorIsRefused) {
    expectLoginIsRefused(users["stranger"]);
}

TEST_F(NatsCredentialsTest, JwtWithTheKeyOfAnotherUserIsRefused) {
    expectLoginIsRefused(users["key_of_another_user"]);
}

TEST_F(NatsCredentialsTest, OtherLoginsAreRefused) {
    nats::BrokerOptions options;
    expectLoginIsRefused(options);
    options.user = options.password = "client";
    expectLoginIsRefused(options);
}

TEST_F(NatsCredentialsTest, FileThatCannotBeUsedIsReported) {
    const struct {
        char const* name;
        char const* reason;
    } rows[] = {
        {"missing", "cannot be read: No such file or directory"},
        {"without_key", "no nkey user seed found in "},
    };
    for (const auto& row : rows) {
        for (const std::string& text : {std::string(row.reason), users.fileOf(row.name)}) {
            expectError(access->ask(users[row.name], 1s), "error 503", text);
            expectError(access->attemptToServe(users[row.name], 1s), "503", text);
        }
    }
}

TEST_F(NatsCredentialsTest, FileIsReadAtEachAttemptToConnect) {
    const TemporaryFolder folder;
    nats::BrokerOptions options;
    options.credentialsFile = folder / "user.creds";
    const auto client = access->connect(options, 60s);
    const Inbox inbox;
    client->actionRequest(Request("retrieve", "/state"), inbox.handler());
    expectError(access->ask(options, 1s), "error 503", "cannot be read");
    std::filesystem::copy_file(users.fileOf("client"), folder / "copy");
    std::filesystem::rename(folder / "copy", options.credentialsFile);
    EXPECT_EQ(inbox.waitForLast().back(), "completed");
}

// The broker closes the connection of a user whose JWT expires. If this happens before the request
// is sent, the request ends as the later ones do. The broker compares whole seconds, so it may
// accept the user once more.
TEST_F(NatsCredentialsTest, ConnectedUserIsRefusedWhenItsJwtExpires) {
    const Users fresh;
    begin(fresh);
    std::atomic<bool> answers{false};
    access->service.onRequest = [&](std::size_t number) {
        if (answers) {
            access->service.answer(number);
        }
    };
    const auto client = access->connect(fresh["expires_soon"]);
    const std::string pending = Access::ask(*client);
    EXPECT_TRUE(pending.find("User Authentication Expired") != std::string::npos ||
                pending.find("error 401") == 0)
        << pending;
    answers = true;
    std::string later;
    while (later.find("error 401") != 0) {
        later = Access::ask(*client);
    }
    expectError(later, "error 401", "refuses the login: ");
    std::filesystem::copy_file(fresh.fileOf("client"), fresh.fileOf("expires_soon"),
                               std::filesystem::copy_options::overwrite_existing);
    while (later != "completed") {
        later = Access::ask(*client);
    }
}

}  // namespace
}  // namespace kova::test
