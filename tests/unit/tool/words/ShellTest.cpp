#include "Words.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include "tool/ToolFixture.h"

namespace kova::tool {
namespace {

using testing::HasSubstr;

class ShellTest : public ToolFixture {
protected:
    /// Executes the lines of standard input at the service. Returns the exit status.
    int runLines(const std::string& lines) {
        setInput(lines);
        return run({"shell", address});
    }
};

TEST_F(ShellTest, EachLineIsACommandOfTheService) {
    EXPECT_EQ(runLines("get /level\n\n# a comment\n put /level 40\nget '/level'"), DONE);
    EXPECT_EQ(out, "30\n40\n");
    EXPECT_EQ(err, "");
}

TEST_F(ShellTest, FirstFailingLineEndsTheShell) {
    EXPECT_EQ(runLines("get /level\nget /nowhere\nput /level 50\n"), REFUSED);
    EXPECT_EQ(out, "30\n");
    EXPECT_THAT(err, HasSubstr("kova: 404 Not Found: path '/nowhere' not found"));
    EXPECT_EQ(service.level.get(), 30);
}

TEST_F(ShellTest, DashReadsThePayloadFromTheRestOfTheInput) {
    EXPECT_EQ(runLines("put /level -\n44\n"), DONE);
    EXPECT_EQ(service.level.get(), 44);
}

TEST_F(ShellTest, ExitIgnoresTheLinesAfterIt) {
    EXPECT_EQ(runLines("get /level\nexit\nget /level\n"), DONE);
    EXPECT_EQ(out, "30\n");
}

TEST_F(ShellTest, HelpListsTheWords) {
    EXPECT_EQ(runLines("help\n"), DONE);
    EXPECT_THAT(out, HasSubstr("watch"));
}

TEST_F(ShellTest, LineThatIsNotAWordIsAnError) {
    struct Row {
        char const* line;
        char const* error;
    };
    for (const Row& row : {Row{"get '/level\n", "the quote ' is not closed"},
                           Row{"unknown\n", "'unknown' is not a word of kova"},
                           Row{"shell\n", "this is a shell already"}}) {
        EXPECT_EQ(runLines(row.line), MISUSED) << row.line;
        EXPECT_THAT(err, HasSubstr(row.error));
    }
}

TEST_F(ShellTest, LineOfMoreThan64KibibytesIsRefused) {
    const std::string longest(64 * 1024 - 1, ' ');
    EXPECT_EQ(runLines(longest + "#\nget /level\n"), DONE);
    EXPECT_EQ(out, "30\n");
    EXPECT_EQ(runLines(longest + " #\nget /level\n"), MISUSED);
    EXPECT_EQ(out, "");
    EXPECT_THAT(err, HasSubstr("a line has more than 65536 bytes"));
}

TEST_F(ShellTest, InterruptCancelsTheRequestAndEndsTheShell) {
    held.onRequest = [this](std::size_t) { interrupt(); };
    EXPECT_EQ(runLines("get /held\nget /level\n"), INTERRUPTED);
    EXPECT_EQ(out, "");
    held.waitForCancelled(1);
}

TEST_F(ShellTest, OutputThatCannotBeWrittenIsAnError) {
    struct FullBuffer : std::streambuf {};  // a buffer that accepts no byte
    FullBuffer full;
    std::ostream stream(&full);
    std::ostringstream errors;
    setInput("get /level\n");
    Context context{{stream}, {errors}, inputDescriptor()};
    EXPECT_EQ(runProgram({"shell", address}, context), OUTPUT_FAILED);
    EXPECT_EQ(errors.str(), "kova: cannot write to standard output\n");
}

TEST_F(ShellTest, InterruptEndsTheWaitForALine) {
    interrupt();
    EXPECT_EQ(run({"shell", address}), INTERRUPTED);
}

TEST_F(ShellTest, MalformedServiceIsAUsageError) {
    EXPECT_EQ(run({"shell", "ftp:somewhere"}), MISUSED);
    EXPECT_THAT(err, HasSubstr("is not a service"));
}

TEST_F(ShellTest, ShellRestoresTheVariableThatNamesTheService) {
    ::setenv("KOVA_SERVICE", "kova:/other", 1);
    EXPECT_EQ(runLines("get /level\n"), DONE);
    EXPECT_STREQ(std::getenv("KOVA_SERVICE"), "kova:/other");
    ::unsetenv("KOVA_SERVICE");
}

}  // namespace
}  // namespace kova::tool
