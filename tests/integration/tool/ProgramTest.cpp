// Tests the program kova as a whole, started like a user starts it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "RunningTool.h"
#include "kova/http/Endpoint.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Service.h"
#include "support/HeldService.h"
#include "support/SocketClient.h"
#include "support/TemporaryFolder.h"
#include "support/Watchdog.h"

namespace kova::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using Strings = std::vector<std::string>;

class ProgramTest : public testing::Test {
protected:
    ProgramTest() {
        level.onWrite([](const int&) { return kit::Result<void>(); });
    }
    Strings at(Strings words, const std::string& service) const {
        words.insert(words.end(), {"--to", service});
        return words;
    }

    Watchdog watchdog{"the program runs"};
    TemporaryFolder folder;
    kit::Observable<int> level{30};
    const std::unique_ptr<kit::Service> player =
        kit::ServiceBuilder().mount("/level", level).build();
    HeldService held;
    const std::string address = "unix:" + folder / "s";
    http::Endpoint endpoint{{{"/player", player.get()}, {"/held", &held}}, address};
    const std::string playerText = address + "$/player";
    const std::string heldText = address + "$/held";
};

TEST_F(ProgramTest, OnlyThePayloadIsOnStandardOutput) {
    RunningTool tool(at({"get", "/level", "--header"}, playerText));
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_EQ(tool.out, "30\n");
    EXPECT_THAT(tool.err, StartsWith("200 Ok\n"));
}

TEST_F(ProgramTest, StandardInputIsThePayload) {
    RunningTool tool(at({"put", "/level", "-"}, playerText));
    tool.writeInput("44");
    EXPECT_EQ(tool.wait(), 0);
    EXPECT_EQ(level.get(), 44);
}

TEST_F(ProgramTest, InterruptCancelsTheRequestBeforeTheProgramEnds) {
    RunningTool tool(at({"get", "/slow"}, heldText));
    held.waitForRequests(1);
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 130);
    held.waitForCancelled(1);
}

TEST_F(ProgramTest, SignalEndsTheProgramWhileItReadsItsInput) {
    for (const int signal : {SIGINT, SIGTERM}) {
        RunningTool tool({"decode"});
        tool.signal(signal);
        EXPECT_EQ(tool.wait(), -signal);
    }
}

TEST_F(ProgramTest, TerminalHasColoursAndProgress) {
    RunningTool tool(at({"insert", "/slow", "--progress"}, heldText), 20);
    held.waitForRequests(1);
    held[1].onNext(Response(298, Payload::createFromJSON("{\"files\":123456789}")));
    tool.awaitOutput("{\"files\":123456789}");
    held[1].onNext(Response(298, Payload::createFromJSON("{\"files\":1234567890}")));
    tool.awaitOutput("{\"files\":123456789…");
    held.take(1)->onError(Response::createErrorResponse(409, "too many"));
    EXPECT_EQ(tool.wait(), 4);
    EXPECT_THAT(tool.out, HasSubstr("\x1b[31mkova:\x1b[0m 409 Conflict: too many"));
}

TEST_F(ProgramTest, WatchUpdatesATableInPlace) {
    RunningTool tool(at({"watch", "/level"}, playerText), 20);
    tool.awaitOutput("\r\x1b[K/level  30\r\n");
    level.set(31);
    tool.awaitOutput("\x1b[1A\r\x1b[K/level  31\r\n");
    tool.signal(SIGINT);
    EXPECT_EQ(tool.wait(), 130);
}

TEST_F(ProgramTest, WatchEndsWhenItsOutputIsClosed) {
    RunningTool tool(at({"watch", "/level"}, playerText));
    tool.awaitOutput("30\n");
    tool.closeOutput();
    EXPECT_EQ(tool.wait(), 1);
}

TEST_F(ProgramTest, ClosedStandardDescriptorsStayUnused) {
    const auto statusOf = [](const std::string& command) {
        return WEXITSTATUS(std::system(command.c_str()));
    };
    const std::string get = KOVA_TOOL " get --to '" + playerText + "' /level";
    EXPECT_EQ(statusOf(get + " <&- >'" + folder / "out" + "' 2>&-"), 0);
    EXPECT_EQ(readFile(folder / "out"), "30\n");
    EXPECT_EQ(statusOf(get + " >&- 2>'" + folder / "errors" + "'"), 1);
    EXPECT_EQ(readFile(folder / "errors"), "kova: cannot write to standard output\n");
    EXPECT_EQ(statusOf(get + " <&- >&- 2>&-"), 1);
}

TEST_F(ProgramTest, RequestsCarryTheToken) {
    ::setenv("ZEL_CONFIG_KOVA_AGT", "secret", 1);
    RunningTool tool(at({"get", "/token"}, heldText));
    ::unsetenv("ZEL_CONFIG_KOVA_AGT");
    held.waitForRequests(1);
    held.answer(1);
    EXPECT_EQ(tool.wait(), 0);
    std::string token;
    EXPECT_FALSE(held.request(1).getHeaderValue("$auth-token").get(token));
    EXPECT_EQ(token, "secret");
}

TEST_F(ProgramTest, ManualPageHasAllWords) {
    RunningTool tool({"--help"});
    EXPECT_EQ(tool.wait(), 0);
    const std::string page = readFile(KOVA_SOURCE_DIR "/src/tool/kova.1");
    std::istringstream lines(tool.out.substr(tool.out.find("Subcommands:\n")));
    std::string line;
    std::getline(lines, line);
    std::size_t count = 0;
    while (std::getline(lines, line) && !line.empty()) {
        if (line.compare(0, 2, "  ") == 0 && line[2] != ' ') {
            const std::string word = line.substr(2, line.find(' ', 2) - 2);
            EXPECT_THAT(page, HasSubstr(".B " + word + "\n")) << line;
            ++count;
        }
    }
    EXPECT_GE(count, 14U);
}

TEST_F(ProgramTest, FullDeviceIsAnError) {
    const std::string command =
        KOVA_TOOL " get --to '" + playerText + "' /level >/dev/full 2>'" + folder / "errors" + "'";
    const int status = std::system(command.c_str());
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_EQ(readFile(folder / "errors"), "kova: cannot write to standard output\n");
}

TEST_F(ProgramTest, GarbageInPlaceOfAServiceIsReported) {
    const std::string path = folder / "garbage";
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    path.copy(name.sun_path, sizeof name.sun_path - 1);
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&name), sizeof name), 0);
    ASSERT_EQ(::listen(listener, 1), 0);
    RunningTool tool(at({"get", "/level", "--deadline", "10s"}, "unix:" + path));
    const int socket = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    EXPECT_EQ(::send(socket, "\0garbage\xFF\n\n\n\n\n\n\n\n\n\n", 19, MSG_NOSIGNAL), 19);
    ::close(socket);
    ::close(listener);
    EXPECT_EQ(tool.wait(), 3);
    EXPECT_EQ(tool.out, "");
    EXPECT_THAT(tool.err, StartsWith("kova: "));
}

}  // namespace
}  // namespace kova::test
