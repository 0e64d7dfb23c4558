#include "Program.h"

#include <gmock/gmock.h>

#include "tool/ToolFixture.h"

namespace kova::tool {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class ProgramTest : public ToolFixture {};

TEST_F(ProgramTest, HelpListsTheWordsAndTheExitStatuses) {
    EXPECT_EQ(run({"--help"}), DONE);
    for (char const* part : {"get", "put", "insert", "delete", "124  the deadline passed"}) {
        EXPECT_THAT(out, HasSubstr(part));
    }
    EXPECT_EQ(err, "");
}

TEST_F(ProgramTest, HelpOfAWordHasExamples) {
    EXPECT_EQ(run({"get", "--help"}), DONE);
    EXPECT_THAT(out, HasSubstr("Examples:\n  kova get "));
    EXPECT_THAT(out, HasSubstr("(Env:KOVA_SERVICE)"));
}

TEST_F(ProgramTest, VersionIsPrinted) {
    EXPECT_EQ(run({"--version"}), DONE);
    EXPECT_THAT(out, StartsWith("kova "));
}

TEST_F(ProgramTest, UsageErrorsSayWhatToDoNext) {
    EXPECT_EQ(run({}), MISUSED);
    EXPECT_EQ(err, "kova: which word?\n      'kova --help' lists the words\n");
    EXPECT_EQ(run({"gett", "/level"}), MISUSED);
    EXPECT_EQ(err, "kova: 'gett' is not a word of kova\n      'kova --help' lists the words\n");
    EXPECT_EQ(run({"get"}), MISUSED);
    EXPECT_THAT(err, HasSubstr("'kova get --help' shows the options, and examples"));
    EXPECT_EQ(run({"get", "/level", "--deadline", "soon"}), MISUSED);
    EXPECT_THAT(err, HasSubstr("such as 250ms"));
    EXPECT_EQ(run({"get", "/level", "--color", "blue"}), MISUSED);
    EXPECT_EQ(out, "");
}

TEST_F(ProgramTest, UnknownColourIsNamed) {
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"--color", "bad"}, {"--color", "bad", "ls"}}) {
        EXPECT_EQ(run(words), MISUSED);
        EXPECT_THAT(err, StartsWith("kova: --color: 'bad' is not auto, always or never\n"));
    }
    EXPECT_EQ(run({"--color"}), MISUSED);
    EXPECT_THAT(err, HasSubstr("--color"));
}

TEST_F(ProgramTest, ColoursNeedATerminalThatIsNotDumb) {
    const char* const former = std::getenv("TERM");
    const std::string terminal = former == nullptr ? "" : former;
    errIsTerminal = true;
    ::setenv("TERM", "dumb", 1);
    EXPECT_EQ(run({"get", "/level"}), MISUSED);
    EXPECT_THAT(err, StartsWith("kova: "));
    ::setenv("TERM", "xterm", 1);
    EXPECT_EQ(run({"get", "/level"}), MISUSED);
    EXPECT_THAT(err, StartsWith("\x1b[31mkova:\x1b[0m "));
    EXPECT_EQ(run({"--color", "never", "get", "/level"}), MISUSED);
    EXPECT_THAT(err, StartsWith("kova: "));
    ::setenv("TERM", terminal.c_str(), 1);
}

}  // namespace
}  // namespace kova::tool
