// Tests the command `kova shell` at a terminal.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>

#include "RunningTool.h"
#include "kova/http/Endpoint.h"
#include "kova/kit/Inspection.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Service.h"
#include "support/HeldService.h"
#include "support/TemporaryFolder.h"
#include "support/Watchdog.h"

namespace kova::test {
namespace {

constexpr char const* PROMPT = "kova> ";

class TerminalShellTest : public testing::Test {
protected:
    TerminalShellTest() {
        level.onWrite([](const int&) { return kit::Result<void>(); });
        amplifier.onWrite([](const int&) { return kit::Result<void>(); });
        ::setenv("XDG_STATE_HOME", (folder / "state").c_str(), 1);
        ::setenv("KOVA_COMPLETION_DEADLINE", "1m", 1);
    }
    ~TerminalShellTest() override {
        ::unsetenv("XDG_STATE_HOME");
        ::unsetenv("KOVA_COMPLETION_DEADLINE");
    }
    /// Types keys at the prompt, and waits for a text.
    static void type(RunningTool& shell, const std::string& keys, const std::string& expected) {
        shell.out.clear();
        shell.type(keys);
        shell.awaitOutput(expected);
    }
    /// Leaves the shell with Ctrl-D, and returns its exit status. Call it only after the prompt has
    /// appeared: while a command runs, Ctrl-D does not reach the shell.
    static int leave(RunningTool& shell) {
        shell.type("\x04");
        return shell.wait();
    }

    Watchdog watchdog{"a shell runs"};
    TemporaryFolder folder;
    kit::Observable<int> level{30};
    kit::Observable<int> amplifier{30};
    const std::unique_ptr<kit::Service> player = kit::ServiceBuilder()
                                                     .mount("/level", level)
                                                     .mount("/level/of/the/amplifier", amplifier)
                                                     .inspect()
                                                     .build();
    HeldService held;
    const std::string address = "unix:" + folder / "s";
    http::Endpoint endpoint{{{"/player", player.get()}, {"/held", &held}}, address};
    const std::string playerText = address + "$/player";
    const std::string heldText = address + "$/held";
    const std::string history = folder / "state/kova/shell-history";
};

TEST_F(TerminalShellTest, ExecutesLinesUntilControlD) {
    RunningTool shell({"shell", playerText}, 80);
    shell.awaitOutput(PROMPT);
    type(shell, "get /level\r", "30\r\n");
    shell.awaitOutput(PROMPT);
    type(shell, "get /nowhere\r", "404 Not Found");
    shell.awaitOutput(PROMPT);
    EXPECT_EQ(leave(shell), 0);
}

TEST_F(TerminalShellTest, TabulatorCompletesWordsAndPaths) {
    RunningTool shell({"shell", playerText}, 80);
    shell.awaitOutput(PROMPT);
    type(shell, "pu\t/le\t 42\r", PROMPT);
    EXPECT_EQ(level.get(), 42);
    type(shell, "put /level\t", "/level/of/the/amplifier\r\n");
    shell.type("/\t43\rexit\r");
    EXPECT_EQ(shell.wait(), 0);
    EXPECT_EQ(amplifier.get(), 43);
}

TEST_F(TerminalShellTest, CompletionChoicesFitANarrowTerminal) {
    RunningTool shell({"shell", playerText}, 20);
    shell.awaitOutput(PROMPT);
    type(shell, "get /l\t\t", "/level/of/the/ampl…\r\n");
    shell.awaitOutput("get /level");
    type(shell, "\r", "30\r\n");
    shell.awaitOutput(PROMPT);
    EXPECT_EQ(leave(shell), 0);
}

TEST_F(TerminalShellTest, InterruptCancelsTheRequestAndTheShellStays) {
    RunningTool shell({"shell", heldText}, 80);
    shell.awaitOutput(PROMPT);
    shell.type("get /slow\r");
    held.waitForRequests(1);
    type(shell, "\x03", "cancelled");
    shell.awaitOutput(PROMPT);
    held.waitForCancelled(1);
    type(shell, "get /other\r", "");
    held.waitForRequests(2);
    held.answer(2, Response(200, Payload::createFromJSON("\"still here\"")));
    shell.awaitOutput("\"still here\"\r\n");
    shell.awaitOutput(PROMPT);
    EXPECT_EQ(leave(shell), 0);
}

TEST_F(TerminalShellTest, InterruptAtThePromptDeletesTheLine) {
    RunningTool shell({"shell", playerText}, 80);
    shell.awaitOutput(PROMPT);
    type(shell, "put /level 1", "put /level 1");
    type(shell, "\x03", PROMPT);
    type(shell, "get /level\r", "30\r\n");
    shell.awaitOutput(PROMPT);
    EXPECT_EQ(leave(shell), 0);
}

TEST_F(TerminalShellTest, TerminationEndsTheShell) {
    RunningTool shell({"shell", playerText}, 80);
    shell.awaitOutput(PROMPT);
    shell.signal(SIGTERM);
    EXPECT_EQ(shell.wait(), 130);
}

TEST_F(TerminalShellTest, HistoryIsKeptForItsUserOnly) {
    {
        RunningTool shell({"shell", playerText}, 80);
        shell.awaitOutput(PROMPT);
        type(shell, "get /level\r", "30\r\n");
        shell.awaitOutput(PROMPT);
        EXPECT_EQ(leave(shell), 0);
    }
    struct stat file {};
    ASSERT_EQ(::stat(history.c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 0777U, 0600U);
    RunningTool shell({"shell", playerText}, 80);
    shell.awaitOutput(PROMPT);
    type(shell, "\x10", "get /level");  // Ctrl-P: the line before
    type(shell, "\r", "30\r\n");
    shell.awaitOutput(PROMPT);
    EXPECT_EQ(leave(shell), 0);
}

TEST_F(TerminalShellTest, HistoryFileThatIsALinkIsNotWritten) {
    ASSERT_EQ(::mkdir((folder / "state").c_str(), 0700), 0);
    ASSERT_EQ(::mkdir((folder / "state/kova").c_str(), 0700), 0);
    writeFile(folder / "other", "other\n");
    ASSERT_EQ(::symlink((folder / "other").c_str(), history.c_str()), 0);
    RunningTool shell({"shell", playerText}, 80);
    shell.awaitOutput(PROMPT);
    type(shell, "get /level\r", "30\r\n");
    shell.awaitOutput(PROMPT);
    EXPECT_EQ(leave(shell), 0);
    EXPECT_EQ(readFile(folder / "other"), "other\n");
}

}  // namespace
}  // namespace kova::test
