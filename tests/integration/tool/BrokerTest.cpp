// The words of the program kova with a service at a broker.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "RunningTool.h"
#include "kova/http/Endpoint.h"
#include "kova/kit/Inspection.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "kova/nats/Server.h"
#include "support/Broker.h"
#include "support/Documents.h"
#include "support/TemporaryFolder.h"
#include "support/Watchdog.h"

namespace kova::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using Strings = std::vector<std::string>;

/// A service with a level and tracks at a broker, for the user "device" or everybody.
class ToolBrokerTest : public testing::Test {
protected:
    explicit ToolBrokerTest(const std::string& configuration = {},
                            const nats::BrokerOptions& access = {})
        : broker(configuration) {
        level.onWrite([](const int&) { return kit::Result<void>(); });
        tracks.on(kit::command::insert, "", [](const kit::Ask&, const std::string&) {
            return kit::created(std::string("/tracks/1"));
        });
        tracks.on(kit::command::remove, "{id:uint}", [](const kit::Ask&, unsigned) {});
        kit::ServiceBuilder builder;
        builder.mount("/level", level).mount("/tracks", tracks);
        kit::InspectionOptions inspection;
        inspection.isAllowed = [](const kit::Peer&) { return true; };
        service = builder.inspect(inspection).build();
        nats::ServerOptions options;
        options.servicePath = "/player";
        options.broker = access;
        server = std::make_unique<nats::Server>(*service, broker.url(), options);
        server->waitUntilServing(std::chrono::seconds(30)).orThrow();
    }

    // Runs the program, and returns its exit status.
    int run(const Strings& words) {
        RunningTool tool(words);
        const int status = tool.wait();
        out = tool.out;
        err = tool.err;
        return status;
    }
    std::string at(const std::string& path) const { return broker.url() + "/player$" + path; }

    Watchdog watchdog{"the program talks to the broker"};
    Broker broker;
    kit::Observable<int> level{30};
    kit::Resource tracks;
    std::unique_ptr<kit::Service> service;
    std::unique_ptr<nats::Server> server;
    std::string out;
    std::string err;
};

TEST_F(ToolBrokerTest, RequestsAreAnswered) {
    EXPECT_EQ(run({"get", at("/level")}), 0) << err;
    EXPECT_EQ(out, "30\n");
    EXPECT_EQ(run({"put", at("/level"), "44"}), 0) << err;
    EXPECT_EQ(level.get(), 44);
    EXPECT_EQ(run({"insert", at("/tracks"), "\"blue\""}), 0) << err;
    EXPECT_EQ(out, "\"/tracks/1\"\n");
    EXPECT_EQ(run({"delete", at("/tracks/1")}), 0) << err;
    EXPECT_EQ(run({"get", "--to", broker.url() + "/player", "/level"}), 0) << err;
    EXPECT_EQ(out, "44\n");
    EXPECT_EQ(run({"get", at("/nowhere")}), 4);
    EXPECT_THAT(err, StartsWith("kova: 404 Not Found"));
}

TEST_F(ToolBrokerTest, StreamsAreWatched) {
    RunningTool tool({"watch", at("/level"), "--count", "2"});
    tool.awaitOutput("30\n");
    level.set(31);
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_EQ(tool.out, "30\n31\n");
}

// A stream of all instances names the instance of each value, and survives the loss of one.
TEST_F(ToolBrokerTest, InstancesAreWatched) {
    nats::ServerOptions options;
    options.servicePath = "/player";
    options.instance = "one";
    const nats::Server stays(*service, broker.url(), options);
    stays.waitUntilServing(std::chrono::seconds(30)).orThrow();
    options.instance = "two";
    auto leaves = std::make_unique<nats::Server>(*service, broker.url(), options);
    leaves->waitUntilServing(std::chrono::seconds(30)).orThrow();

    RunningTool tool({"watch", broker.url() + "/player/*$/level", "--count", "4"});
    tool.awaitOutput(R"({"instance":"one","value":30})");
    tool.awaitOutput(R"({"instance":"two","value":30})");
    leaves.reset();
    tool.awaitOutput(R"({"instance":"two","error":"503 Service Unavailable: lost: )");
    level.set(31);
    EXPECT_EQ(tool.wait(), 0) << tool.err;
    EXPECT_THAT(tool.out, EndsWith("{\"instance\":\"one\",\"value\":31}\n"));
}

TEST_F(ToolBrokerTest, ServiceIsDescribed) {
    EXPECT_EQ(run({"tree", broker.url() + "/player"}), 0) << err;
    EXPECT_THAT(out, HasSubstr("/level"));
    EXPECT_EQ(run({"describe", at("/tracks/1")}), 0) << err;
    EXPECT_THAT(out, HasSubstr("/tracks/{id:uint}"));
    EXPECT_EQ(run({"complete", "--", "put", at("/l")}), 0) << err;
    EXPECT_EQ(out, at("/level") + "\n");
}

TEST_F(ToolBrokerTest, RequestsAreMeasured) {
    EXPECT_EQ(run({"bench", at("/level"), "--duration", "50ms", "--connections", "2"}), 0) << err;
    EXPECT_THAT(out, StartsWith("{\"loop\":\"closed\",\"connections\":2"));
}

TEST_F(ToolBrokerTest, MissingServiceOrBrokerGivesExitStatusThree) {
    EXPECT_EQ(run({"get", broker.url() + "/nobody$/level"}), 3);
    EXPECT_THAT(err, HasSubstr("no server of"));
    EXPECT_EQ(run({"bench", broker.url() + "/nobody$/level", "--duration", "50ms"}), 3);
    broker.stop();
    EXPECT_EQ(run({"get", at("/level")}), 3);
    EXPECT_THAT(err, HasSubstr("check the address of the broker"));
}

TEST_F(ToolBrokerTest, PrefixSeparatesServices) {
    EXPECT_EQ(run({"get", at("/level"), "--prefix", "other"}), 3);
    EXPECT_EQ(run({"get", at("/level"), "--prefix", "kova"}), 0) << err;
}

nats::BrokerOptions deviceAccess() {
    nats::BrokerOptions access;
    access.user = "device";
    access.password = "secret";
    return access;
}

class ToolBrokerLoginTest : public ToolBrokerTest {
protected:
    ToolBrokerLoginTest()
        : ToolBrokerTest("authorization { user: device, password: secret }", deviceAccess()) {}
    ~ToolBrokerLoginTest() override { ::unsetenv("KOVA_NATS_PASSWORD"); }
};

TEST_F(ToolBrokerLoginTest, PasswordComesFromTheEnvironment) {
    EXPECT_EQ(run({"get", at("/level")}), 4);
    EXPECT_THAT(err, HasSubstr("KOVA_NATS_PASSWORD"));
    ::setenv("KOVA_NATS_PASSWORD", "wrong", 1);
    EXPECT_EQ(run({"get", at("/level"), "--user", "device"}), 4);
    EXPECT_THAT(err, StartsWith("kova: 401"));
    ::setenv("KOVA_NATS_PASSWORD", "secret", 1);
    EXPECT_EQ(run({"get", at("/level"), "--user", "device"}), 0) << err;
    EXPECT_EQ(out, "30\n");
}

TEST_F(ToolBrokerLoginTest, LinesOfAShellHaveTheLoginOfTheShell) {
    ::setenv("KOVA_NATS_PASSWORD", "secret", 1);
    RunningTool shell({"shell", broker.url() + "/player", "--user", "device"});
    shell.writeInput("put /level 45\nget /level\n");
    EXPECT_EQ(shell.wait(), 0) << shell.err;
    EXPECT_EQ(shell.out, "45\n");
}

// Runs the commands of docs/tools.md with the address of this broker, in a folder with the socket
// "player.sock".
TEST_F(ToolBrokerTest, CommandsPrintWhatTheDocumentSays) {
    const TemporaryFolder folder;
    const http::Endpoint endpoint(*service, "unix:" + folder / "player.sock");
    const std::string former = std::getenv("PATH");
    ::setenv("PATH", (KOVA_TOOL_FOLDER ":" + former).c_str(), 1);
    std::size_t rows = 0;
    for (const auto& row : rowsOf(read("docs/tools.md"), "## Through a broker")) {
        ASSERT_EQ(row.size(), 3U) << row[0];
        watchdog.enter(row[1]);
        const std::string command =
            std::regex_replace(codeOf(row[1]), std::regex("nats://broker"), broker.url());
        const std::string output = outputOf("cd " + folder.path() + "; { " + command + "; }");
        EXPECT_EQ(output, codeOf(row[2]) + "\n") << row[1];
        ++rows;
    }
    EXPECT_EQ(rows, 7U);
    ::setenv("PATH", former.c_str(), 1);
}

}  // namespace
}  // namespace kova::test
