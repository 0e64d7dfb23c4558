// The commands of the chapter about one service in a process, at a socket and at a broker.
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "RunningTool.h"
#include "support/Broker.h"
#include "support/Documents.h"
#include "support/TemporaryFolder.h"
#include "support/Watchdog.h"

namespace kova::test {
namespace {

constexpr char const* CHAPTER = "docs/guide/16-from-one-process-to-a-fleet.md";

/// A shell in which the commands are typed one after the other.
class FleetChapterTest : public testing::Test {
protected:
    FleetChapterTest() {
        broker.stop();  // a command of the chapter starts a broker at this port
        shell.type("exec 2>&1; trap 'kill $(jobs -p) 2>/dev/null' EXIT\n");
    }
    ~FleetChapterTest() override {
        shell.writeInput("");
        EXPECT_EQ(shell.wait(), 0) << shell.out;
    }

    // Returns a text of the chapter with the programs, the port and the folder of this test.
    std::string here(const std::string& text) const {
        const std::string ported =
            std::regex_replace(text, std::regex("4222"), std::to_string(broker.port()));
        return inBuild(std::regex_replace(ported, std::regex("/tmp/"), folder.path() + "/"));
    }

    // Types a command, and returns its output when it has ended. A command in the background has
    // printed the expected output then.
    std::string outputOf(const std::string& command, const std::string& expected) {
        shell.out.clear();
        shell.type(command + '\n');
        if (command.back() == '&') {
            shell.awaitOutput(expected);
        }
        shell.type("echo '#'\n");
        shell.awaitOutput("#\n");
        return inOneLine(shell.out.substr(0, shell.out.find('#')));
    }

    Watchdog watchdog{"the shell starts"};
    const TemporaryFolder folder;
    Broker broker;
    RunningTool shell{Command{{"bash"}}};
};

TEST_F(FleetChapterTest, CommandsPrintWhatTheChapterSays) {
    const std::string chapter = read(CHAPTER);
    std::size_t count = 0;
    for (char const* const heading : {"## In a process of its own", "## At a broker"}) {
        for (const auto& row : rowsOf(chapter, heading)) {
            ASSERT_EQ(row.size(), 3U) << row[0];
            watchdog.enter(row[1]);
            const std::string expected = here(codeOf(row[2]));
            EXPECT_EQ(outputOf(here(codeOf(row[1])), expected), expected) << row[1];
            ++count;
        }
    }
    EXPECT_EQ(count, 12U);
}

}  // namespace
}  // namespace kova::test
