// Tests the built example program, started like a user starts it. Its clients are curl and the
// program kova.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <regex>
#include <string>
#include <vector>

#include "Program.h"
#include "TemporaryFolder.h"

namespace device {
namespace {

using test::Arguments;
using test::Program;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr int SERVED = 0;
constexpr int NOT_STARTED = 1;
constexpr int MISUSED = 2;
constexpr char const* END = "the service is shut down\n";

class ProgramTest : public ::testing::Test {
protected:
    ProgramTest() {
        ::setenv("KOVA_RUNTIME_DIR", (folder / "kova").c_str(), 1);
        ::setenv("KOVA_SERVICE", "kova:/device", 1);
    }
    ~ProgramTest() override {
        ::unsetenv("KOVA_SERVICE");
        ::unsetenv("KOVA_RUNTIME_DIR");
    }

    /// Returns the commands that the program has printed, once it has done so.
    static std::vector<std::string> commandsOf(Program& service) {
        service.awaitOutput("/clock'\n");
        std::vector<std::string> commands;
        const std::regex pattern("\n  ((?:curl|kova) .*)");
        const std::string output = service.output();
        for (std::sregex_iterator at(output.begin(), output.end(), pattern), end; at != end; ++at) {
            commands.push_back(at->str(1));
        }
        return commands;
    }
    /// Runs a command as a user does, with the program kova on the path. Returns its output up to
    /// `end`, then ends it.
    static std::string outputOf(const std::string& command, const std::string& end) {
        const std::string line = "PATH=" KOVA_TOOL_FOLDER ":$PATH; exec 2>&1; " + command;
        std::FILE* const pipe = ::popen(line.c_str(), "re");
        std::string output;
        char buffer[1];
        while (output.find(end) == std::string::npos && std::fread(buffer, 1, 1, pipe) == 1) {
            output += buffer[0];
        }
        ::pclose(pipe);
        return output;
    }

    /// Returns commands that wait until the job in the background has written the text. If the job
    /// ends before, they print its log and end.
    static std::string untilLogged(const std::string& text, const std::string& log) {
        return "trap 'kill $! 2>/dev/null' EXIT; until grep -qs " + text + " " + log +
               "; do kill -0 $! || { cat " + log + "; exit 1; }; sleep 0.05; done; ";
    }

    const test::TemporaryFolder folder;
    const Arguments serving{"--interval", "10", "--port", "0"};
};

TEST_F(ProgramTest, CommandsPrintedAtTheStartWork) {
    Program service(folder.path(), serving);
    const std::vector<std::string> commands = commandsOf(service);
    ASSERT_EQ(commands.size(), 6U) << service.output();
    EXPECT_THAT(outputOf(commands[0], "}"), HasSubstr("\"MemTotal\":"));
    EXPECT_THAT(outputOf(commands[1], "\r\n\r\n"), HasSubstr("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(outputOf(commands[2], "}\n\nevent: next\n"),
                HasSubstr("event: next\ndata: {\"status\":299,\"value\":\"20"));
    EXPECT_EQ(outputOf("kova get /volume", "\n"), "{\"level\":55,\"muted\":false}\n")
        << "of the second command";
    EXPECT_THAT(outputOf(commands[3], "}"), HasSubstr("\"MemTotal\":"));
    EXPECT_EQ(outputOf(commands[4], "\n"), "");
    EXPECT_EQ(outputOf("kova get /volume", "\n"), "{\"level\":60,\"muted\":false}\n");
    EXPECT_THAT(outputOf(commands[5] + " --count 2", "nothing"),
                testing::MatchesRegex("\"20.*\"\n\"20.*\"\n"));
}

TEST_F(ProgramTest, PortShowsAPageAndInspectionOnlyWithTheOption) {
    for (bool const isInspected : {false, true}) {
        Arguments arguments = serving;
        arguments.insert(arguments.begin(), isInspected ? 1U : 0U, "--inspect");
        Program service(folder.path(), arguments);
        commandsOf(service);
        std::smatch url;
        const std::string output = service.output();
        ASSERT_TRUE(std::regex_search(output, url, std::regex("Open (http://\\S+/) in a browser")));
        EXPECT_THAT(
            outputOf("curl -s --compressed -H 'Accept: text/html' " + url.str(1), "</html>"),
            HasSubstr("<title>kova</title>"));
        EXPECT_THAT(outputOf("curl -s " + url.str(1) + ".kova/version", "}"),
                    HasSubstr(isInspected ? "\"name\":\"device\"" : "\"status\":403"));
        EXPECT_THAT(outputOf("curl -s " + url.str(1) + ".kova/metrics", "_total{"),
                    HasSubstr(isInspected ? "kova_requests_total" : "\"status\":403"));
    }
}

TEST_F(ProgramTest, CommandsOfTheTourWork) {
    Program service(folder.path(), serving);
    commandsOf(service);
    const std::string output = outputOf(". " TOUR "; echo THE END", "THE END");
    std::size_t place = 0;
    for (char const* const text :
         {"/about/request",
          "get watch",
          "[\"cpu\",\"load\",\"memory\",",
          "\"up\":",
          "\"15min\":",
          "\"15min\":",
          "\"15min\":",
          "\"15min\":",
          "\"20",
          "\"20",
          "\"20",
          "{\"client\":\"kova\",\"service\":\"/device\",\"token\":\"none\"}\n",
          "{\"stations\":[\"one\",\"between\",\"two\"],\"volume\":7}\n",
          "payload: application/json, 17 bytes\n",
          "[\"between\",\"two\"]\n",
          " bf 68 73 74 ",
          "{\"stations\":[\"between\",\"two\"],\"volume\":7}\n",
          "{\"level\":55,\"muted\":false}\n",
          "{\"files\":",
          "409 Conflict: there is something at '/store/volume'",
          "exit status 4\n",
          "the payload is not JSON: open: ",
          "exit status 2\n",
          "404 Not Found: path '/store/nothing' not found\n",
          "exit status 4\n",
          "404 Not Found: path '/nowhere' not found",
          "exit status 4\n",
          "command 'update' not supported for path '/system/memory'",
          "exit status 4\n",
          "expected a duration without years and months, found \"P0000-01-00T00:00:00\"",
          "exit status 4\n",
          "no service '/radio' is registered",
          "exit status 3\n",
          "THE END"}) {
        const std::size_t found = output.find(text, place);
        ASSERT_NE(found, std::string::npos) << "no '" << text << "' in\n" << output.substr(place);
        place = found + 1;
    }
    EXPECT_EQ(test::readFile(folder / "kova-store.json"),
              "{\n  \"stations\": [\n    \"between\",\n    \"two\"\n  ],\n  \"volume\": 7\n}\n");
}

// Records the tour, sends the recorded requests to the service again, and compares the answers. The
// time, the facts of the machine and the folder that is scanned change.
TEST_F(ProgramTest, ReplayOfTheTourGivesTheSameAnswers) {
    const std::string first = folder / "first.jsonl";
    const std::string again = folder / "again.jsonl";
    {
        Program service(folder.path(), serving);
        commandsOf(service);
        const std::string log = folder / "log";
        const std::string record =
            "kova record " + first + " 2>" + log + " & " + untilLogged("recording", log);
        const std::string output =
            outputOf(record + "( . " TOUR " ) >/dev/null 2>&1; kill -INT $!; wait $!; cat " +
                         folder / "log" + "; echo THE END",
                     "THE END");
        ASSERT_THAT(output, HasSubstr("requests are recorded\n")) << output;
        service.signal(SIGINT);
        EXPECT_EQ(service.wait(), SERVED);
    }
    EXPECT_EQ(::unlink((folder / "kova-store.json").c_str()), 0);
    Program service(folder.path(), serving);
    commandsOf(service);
    const std::string changing =
        " --ignore '/system/**' --ignore /clock --ignore '/clock/**' --ignore /scan";
    const std::string output = outputOf("kova replay " + first + " --speed max --output " + again +
                                            changing + "; echo \"replay: $?\"; kova diff " + first +
                                            " " + again + changing + "; echo \"diff: $?\"",
                                        "diff: 0\n");
    EXPECT_THAT(output, EndsWith("requests were answered differently\nreplay: 0\ndiff: 0\n"));
}

TEST_F(ProgramTest, RequestsContainTheTokenButOutputDoesNotShowIt) {
    Program service(folder.path(), serving);
    commandsOf(service);
    ASSERT_EQ(::setenv("ZEL_CONFIG_KOVA_AGT", "a-secret-token", 1), 0);
    const std::string output = outputOf("kova get /about/request --header", "n\"}");
    ::unsetenv("ZEL_CONFIG_KOVA_AGT");
    EXPECT_THAT(output,
                HasSubstr("{\"client\":\"kova\",\"service\":\"/device\",\"token\":\"given\"}"));
    EXPECT_THAT(output, Not(HasSubstr("secret")));
}

TEST_F(ProgramTest, SignalEndsTheServiceAndItsStreams) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Program service(folder.path(), serving);
        commandsOf(service);
        std::FILE* const client = ::popen("exec " KOVA_TOOL_FOLDER "/kova watch /clock 2>&1", "re");
        char line[200] = "";
        ASSERT_NE(std::fgets(line, sizeof(line), client), nullptr);
        EXPECT_THAT(line, ::testing::StartsWith("\"20"));
        service.signal(signal);
        EXPECT_EQ(service.wait(), SERVED);
        EXPECT_THAT(service.output(), EndsWith(END));
        std::string rest;
        while (std::fgets(line, sizeof(line), client) != nullptr) {
            rest += line;
        }
        EXPECT_THAT(rest, HasSubstr("kova: 503 Service Unavailable: the service stops\n")) << rest;
        const int status = ::pclose(client);
        EXPECT_EQ(WEXITSTATUS(status), 5);
        EXPECT_NE(::access((folder / "kova/device").c_str(), F_OK), 0);
    }
}

// All channels trace, and each write to the file fails with ENOSPC.
TEST_F(ProgramTest, ClientsAreServedWhileTheDiskOfTheLogIsFull) {
    ::setenv("ZEL_TRACE", "*=0", 1);
    Program service(folder.path(), serving, "/dev/full");
    ::unsetenv("ZEL_TRACE");
    EXPECT_EQ(outputOf("tries=0; until kova get /volume 2>/dev/null || [ $tries = 600 ]; "
                       "do tries=$((tries + 1)); sleep 0.1; done; "
                       "kova put /volume '{\"level\": 60}'; kova get /volume; "
                       "kova watch /clock --count 2 | wc -l; kova get /nowhere >/dev/null 2>&1; "
                       "echo exit status $?",
                       "status 4\n"),
              "{\"level\":30,\"muted\":false}\n{\"level\":60,\"muted\":false}\n2\n"
              "exit status 4\n");
    service.signal(SIGTERM);
    EXPECT_EQ(service.wait(), SERVED);
}

TEST_F(ProgramTest, StartFailsIfTheServiceNameOrThePortIsInUse) {
    Program service(folder.path(), serving);
    const std::string url = commandsOf(service).at(1);
    Program second(folder.path(), serving);
    EXPECT_EQ(second.wait(), NOT_STARTED);
    EXPECT_EQ(second.output(), "'" + folder / "kova/device" +
                                   "' is served by another process: Address already in use\n");
    std::smatch port;
    ASSERT_TRUE(std::regex_search(url, port, std::regex("127\\.0\\.0\\.1:(\\d+)")));
    ::setenv("KOVA_RUNTIME_DIR", (folder / "other").c_str(), 1);
    Program third(folder.path(), {"--port", port[1]});
    EXPECT_EQ(third.wait(), NOT_STARTED);
    EXPECT_EQ(third.output(), "tcp:127.0.0.1:" + port.str(1) + ": Address already in use\n");
}

TEST_F(ProgramTest, HelpDescribesTheOptions) {
    Program program(folder.path(), {"--help"});
    EXPECT_EQ(program.wait(), SERVED);
    for (char const* const word :
         {"--store", "--interval", "--port", "--inspect", "kova:/device"}) {
        EXPECT_THAT(program.output(), HasSubstr(word));
    }
}

struct WrongRow {
    Arguments arguments;
    int status;
    char const* reason;
};

TEST_F(ProgramTest, ReportsErrorsInTheCommandLine) {
    test::writeFile(folder / "broken.json", "{");
    for (const WrongRow& row :
         {WrongRow{{"--nosuch"}, MISUSED, "--nosuch"},
          {{"serve"}, MISUSED, "serve"},
          {{"--interval", "0"}, MISUSED, "not in range 1 to 3600000"},
          {{"--interval", "soon"}, MISUSED, "--interval"},
          {{"--store"}, MISUSED, "--store"},
          {{"--store", "."}, NOT_STARTED, "cannot read .\n"},
          {{"--store", "broken.json"}, NOT_STARTED, "cannot use broken.json as a document: "}}) {
        Program program(folder.path(), row.arguments);
        EXPECT_EQ(program.wait(), row.status) << row.reason;
        EXPECT_THAT(program.output(), HasSubstr(row.reason));
    }
    EXPECT_EQ(test::readFile(folder / "broken.json"), "{");
}

}  // namespace
}  // namespace device
