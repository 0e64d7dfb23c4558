// A mock of the example's service, made from the document that the example prints, answers the
// words of the example's tour as the document promises.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "RunningTool.h"
#include "support/TemporaryFolder.h"
#include "support/Watchdog.h"

namespace kova::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class MockTest : public testing::Test {
protected:
    MockTest() {
        EXPECT_EQ(::mkdir((folder / "run").c_str(), 0700), 0);
        ::setenv("KOVA_RUNTIME_DIR", (folder / "run").c_str(), 1);
        ::setenv("KOVA_SERVICE", "kova:/device", 1);
        // The example serves while its document is read.
        shell(DEVICE_SERVICE " --port 0 --store " + folder / "store.json" + " >" + folder / "log" +
              " 2>&1 & until kova openapi >" + file +
              " 2>&1; do kill -0 $! || exit; sleep 0.05; done; kill $!; wait $!");
    }
    ~MockTest() override {
        ::unsetenv("KOVA_SERVICE");
        ::unsetenv("KOVA_RUNTIME_DIR");
    }

    // Returns what the commands print.
    static std::string shell(const std::string& commands) {
        const std::string line = "PATH=" KOVA_TOOL_FOLDER ":$PATH; exec 2>&1; " + commands;
        std::FILE* const pipe = ::popen(line.c_str(), "re");
        std::string output;
        std::array<char, 4096> block;
        while (const std::size_t count = std::fread(block.data(), 1, block.size(), pipe)) {
            output.append(block.data(), count);
        }
        ::pclose(pipe);
        return output;
    }

    Watchdog watchdog{"a mock of the example runs"};
    TemporaryFolder folder;
    const std::string file = folder / "device.json";
};

TEST_F(MockTest, TourOfTheExampleGetsTheAnswersThatTheDocumentPromises) {
    RunningTool mock({"mock", file, "kova:/device", "--repeat", "10ms"});
    mock.awaitOutput("/device\n");
    const std::string output = shell(". " TOUR "; echo THE END");
    std::size_t place = 0;
    for (char const* const text : {
             "/about/request      get\n",
             "/clock              get watch              string\n",
             "/volume             get watch put          {level, muted}\n",
             "[]\n",                                   // /system
             "{}\n{}\n",                               // /system/uptime and /system/load
             "{}\n{}\n{}\n",                           // the stream of /system/load
             "\"1970-01-01T00:00:00.000Z\"\n\"1970-",  // the stream of /clock
             "\"1970-01-01T00:00:00.000Z\"\n",         // /clock/in; /about/request has no value
             "{\"stations\":[\"one\",\"between\",\"two\"],\"volume\":7}\n",
             "payload: application/json, 17 bytes\n",
             "[\"between\",\"two\"]\n",
             " bf 68 73 74 ",
             "{\"stations\":[\"between\",\"two\"],\"volume\":7}\n",
             "{\"level\":55}\n",
             "{\"bytes\":0,\"files\":0}\n",  // /scan
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
             "\"1970-01-01T00:00:00.000Z\"\n",  // the document allows every text as a duration
             "no service '/radio' is registered",
             "exit status 3\n",
             "THE END",
         }) {
        const std::size_t found = output.find(text, place);
        ASSERT_NE(found, std::string::npos) << "no '" << text << "' in\n" << output.substr(place);
        place = found + 1;
    }
    mock.signal(SIGINT);
    EXPECT_EQ(mock.wait(), 0) << mock.err;
}

TEST_F(MockTest, MockShowsTheDocumentAndItsOperations) {
    const std::string document = readFile(file);
    ASSERT_THAT(document, StartsWith("{\"openapi\":\"3.1.0\""));
    RunningTool mock({"mock", file, "kova:/device", "unix:" + folder / "socket"});
    mock.awaitOutput("/device\nunix:" + folder / "socket\n");
    EXPECT_EQ(shell("kova openapi"), document);
    EXPECT_EQ(shell("kova openapi unix:" + folder / "socket"), document);
    EXPECT_THAT(shell("kova ls"), HasSubstr("\"service\":\"kova:/device\",\"version\":\"2.0.0\""));
    EXPECT_EQ(shell("kova put /volume '{\"level\": \"loud\"}'; echo $?"),
              "kova: 400 Bad Request: level: expected an integer, found \"loud\"\n4\n");
    EXPECT_THAT(
        shell("curl -si --unix-socket " + folder / "socket" + " -X POST http://localhost/volume"),
        HasSubstr("command 'insert' not supported for path '/volume'; supported: "
                  "retrieve, update"));
    mock.signal(SIGTERM);
    EXPECT_EQ(mock.wait(), 0);
}

}  // namespace
}  // namespace kova::test
