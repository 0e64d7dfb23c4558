// Tests the built example program as two processes: one serves, the other one is its client.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <regex>
#include <string>
#include <vector>

#include "Journal.h"
#include "Program.h"
#include "TemporaryFolder.h"

namespace device {
namespace {

using test::Arguments;
using test::Program;
using ::testing::HasSubstr;

class ServingTest : public ::testing::Test {
protected:
    ServingTest() { ::setenv("KOVA_RUNTIME_DIR", (folder / "kova").c_str(), 1); }
    ~ServingTest() override { ::unsetenv("KOVA_RUNTIME_DIR"); }

    /// Returns the commands that the program has printed, once it has done so.
    static std::vector<std::string> commandsOf(Program& service) {
        service.awaitOutput("/clock\n");
        std::vector<std::string> commands;
        const std::regex pattern("  (curl .*)\n");
        const std::string output = service.output();
        for (std::sregex_iterator at(output.begin(), output.end(), pattern), end; at != end; ++at) {
            commands.push_back(at->str(1));
        }
        return commands;
    }
    /// Runs a command as a user does. Returns its first bytes of output up to `end`, then ends it.
    static std::string outputOf(const std::string& command, const std::string& end) {
        std::FILE* const pipe = ::popen(("exec " + command + " 2>/dev/null").c_str(), "re");
        std::string output;
        char buffer[1];
        while (output.find(end) == std::string::npos && std::fread(buffer, 1, 1, pipe) == 1) {
            output += buffer[0];
        }
        ::pclose(pipe);
        return output;
    }

    const test::TemporaryFolder folder;
    const Arguments serving{"--interval", "10", "--port", "0", "serve"};
};

TEST_F(ServingTest, PrintedCommandsWork) {
    Program service(folder.path(), serving);
    const std::vector<std::string> commands = commandsOf(service);
    ASSERT_EQ(commands.size(), 3U) << service.output();
    EXPECT_THAT(outputOf(commands[0], "}"), HasSubstr("\"MemTotal\":"));
    EXPECT_THAT(outputOf(commands[1], "\r\n\r\n"), HasSubstr("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(outputOf(commands[2], "}\n\nevent: next\n"),
                HasSubstr("event: next\ndata: {\"status\":299,\"value\":\"20"));
    Program client(folder.path(), {"--remote", "--quiet", "retrieve", "/volume"});
    EXPECT_EQ(client.wait(), exitstatus::ANSWERED);
    EXPECT_EQ(client.output(), "{\"level\":55,\"muted\":false}\n") << "of the second command";
}

TEST_F(ServingTest, TourIsPlayedBetweenTwoProcesses) {
    Program service(folder.path(), serving);
    commandsOf(service);
    Program client(folder.path(), {"--remote"});
    client.write(test::readFile(TOUR));
    client.closeInput();
    EXPECT_EQ(client.wait(), exitstatus::FAILED) << "the last request is refused";
    for (char const* const text :
         {"#1 next 6 resources", "#3 completed", "\"MemTotal\":", "> cancelled #7\n",
          "#9 completed", "{\"client\":\"console\",\"service\":\"/device\",\"token\":\"none\"}",
          ": {\"stations\":[\"one\",\"between\",\"two\"],\"volume\":7}\n", "#18 completed",
          ": {\"level\":55,\"muted\":false}\n", "{\"files\":", "#22 error 409 Conflict: ",
          "#27 error 400 Bad Request: ", "#28 refused: the console is shut down\n"}) {
        EXPECT_THAT(client.output(), HasSubstr(text));
    }
    EXPECT_THAT(client.output(), ::testing::Not(HasSubstr("gave up")));
}

TEST_F(ServingTest, SignalEndsTheServiceAndItsStreams) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Program service(folder.path(), serving);
        commandsOf(service);
        Program client(folder.path(), {"--remote", "watch", "/clock"});
        client.awaitOutput("#1 next 299 Stream");
        service.signal(signal);
        EXPECT_EQ(service.wait(), 0);
        EXPECT_THAT(service.output(), ::testing::EndsWith("the service is shut down\n"));
        EXPECT_EQ(client.wait(), exitstatus::FAILED);
        EXPECT_THAT(client.output(), HasSubstr("#1 error 503 "));
        EXPECT_NE(::access((folder / "kova/device").c_str(), F_OK), 0);
    }
}

TEST_F(ServingTest, StartFailsIfTheServiceNameOrThePortIsInUse) {
    Program service(folder.path(), serving);
    const std::string url = commandsOf(service).at(1);
    Program second(folder.path(), serving);
    EXPECT_EQ(second.wait(), exitstatus::NOT_STARTED);
    EXPECT_EQ(second.output(), "'" + folder / "kova/device" +
                                   "' is served by another process: Address already in use\n");
    std::smatch port;
    ASSERT_TRUE(std::regex_search(url, port, std::regex("127\\.0\\.0\\.1:(\\d+)")));
    ::setenv("KOVA_RUNTIME_DIR", (folder / "other").c_str(), 1);
    Program third(folder.path(), {"--port", port[1], "serve"});
    EXPECT_EQ(third.wait(), exitstatus::NOT_STARTED);
    EXPECT_EQ(third.output(), "tcp:127.0.0.1:" + port.str(1) + ": Address already in use\n");
}

TEST_F(ServingTest, ClientWithoutAServiceDoesNotStart) {
    Program client(folder.path(), {"--remote", "list"});
    EXPECT_EQ(client.wait(), exitstatus::NOT_STARTED);
    EXPECT_THAT(client.output(),
                HasSubstr("no service '/device' is registered in " + (folder / "kova")));
}

}  // namespace
}  // namespace device
