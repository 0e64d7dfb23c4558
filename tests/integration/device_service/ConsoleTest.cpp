#include "Console.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "ConsoleFixture.h"

namespace device {
namespace {

using kova::Response;
using testing::HasSubstr;
using testing::Not;

class ConsoleTest : public test::ConsoleFixture {};

struct LineRow {
    char const* line;
    char const* command;
    char const* path;
    char const* payload;
};

void PrintTo(const LineRow& row, std::ostream* out) {
    *out << '"' << row.line << '"';
}

constexpr LineRow LINES[] = {
    {"update /r 5", "update", "", "5"},
    {"  update \t /r/a/b \t {\"a\": 1}", "update", "a/b", "{\"a\": 1}"},
    {"insert /r  two  words ", "insert", "", "two  words "},
    {"update /r {\"open\":", "update", "", "{\"open\":"},
    {"delete /r/", "delete", "", ""},
    {"retrieve /r/#x", "retrieve", "#x", ""},
};

TEST_F(ConsoleTest, SendsTheRequestOfTheLine) {
    answerWith(Response(200));
    for (const LineRow& row : LINES) {
        SCOPED_TRACE(testing::PrintToString(row));
        const std::string printed = run(row.line);
        EXPECT_EQ(resource.asked.back().command, row.command);
        EXPECT_EQ(resource.asked.back().resourcePath, row.path);
        const std::string payload = row.payload;
        if (payload.empty()) {
            EXPECT_THAT(printed, Not(HasSubstr("payload")));
        } else {
            EXPECT_THAT(printed, HasSubstr(" bytes: " + payload + "\n"));
        }
    }
}

TEST_F(ConsoleTest, LineWithoutAPathSendsAnEmptyPath) {
    EXPECT_THAT(run("retrieve"), HasSubstr("#1 error 404 Not Found: path '' not found"));
}

TEST_F(ConsoleTest, UnknownCommandPrintsTheListOfCommands) {
    for (char const* const word : {"observe", "Quit", "nonsense", "list,"}) {
        EXPECT_EQ(run(std::string(word) + " /r"),
                  "there is no command '" + std::string(word) +
                      "'; there are: list, retrieve, watch, cancel, update, insert, delete, "
                      "accept, wait, help, shutdown, quit\n");
    }
    EXPECT_TRUE(resource.asked.empty());
    EXPECT_EQ(journal.exitStatus(), exitstatus::MISUSED);
}

TEST_F(ConsoleTest, InvalidLinesCountAsMisuse) {
    for (char const* const line :
         {"cancel x", "wait x", "accept x", "retrieve kova:/radio$/r", "nonsense"}) {
        Journal other(out);
        Console(*service, "/device", other, [] { return false; }).execute(line);
        EXPECT_EQ(other.exitStatus(), exitstatus::MISUSED) << line;
    }
    run("help");
    run("cancel");
    run("# comment");
    EXPECT_EQ(journal.exitStatus(), exitstatus::ANSWERED);
}

TEST_F(ConsoleTest, RequestsTheAcceptedMimeType) {
    answerWith(Response(200));
    EXPECT_EQ(run("accept binary"), "> answers are wanted as application/vnd.axobin\n");
    EXPECT_THAT(run("retrieve /r"), HasSubstr("{\"$accept\":\"application/vnd.axobin\","));
    for (char const* const line : {"accept", "accept x", "accept Json", "accept jsonx"}) {
        EXPECT_EQ(run(line), "accept json, or accept binary\n");
    }
    EXPECT_EQ(run("accept  json "), "> answers are wanted as application/json\n");
    EXPECT_THAT(run("retrieve /r"), HasSubstr("{\"$accept\":\"application/json\","));
}

TEST_F(ConsoleTest, PrintsCommentsAndEmptyLinesUnchanged) {
    for (char const* const line : {"", "  ", "\t", "# retrieve /r", "  #x"}) {
        EXPECT_EQ(run(line), line + std::string("\n"));
    }
    EXPECT_TRUE(resource.asked.empty());
}

TEST_F(ConsoleTest, HelpNamesEveryCommand) {
    const std::string help = run("help");
    for (char const* const word : {"list", "retrieve", "watch", "cancel", "update", "insert",
                                   "delete", "accept", "wait", "shutdown", "help", "quit"}) {
        EXPECT_THAT(help, HasSubstr(word));
    }
}

TEST_F(ConsoleTest, QuitReturnsFalse) {
    EXPECT_FALSE(console.execute("quit"));
    EXPECT_FALSE(console.execute("  quit now"));
}

TEST_F(ConsoleTest, CancelOfAnUnknownNumberDoesNothing) {
    leavePending();
    run("watch /r");
    for (char const* const line : {"cancel 0", "cancel 2", "cancel 18446744073709551615"}) {
        EXPECT_EQ(run(line), "nothing to cancel\n") << line;
    }
    for (char const* const line :
         {"cancel x", "cancel 1x", "cancel 1.0", "cancel -1", "cancel +1", "cancel 0x1",
          "cancel 18446744073709551616", "cancel 99999999999999999999999"}) {
        EXPECT_EQ(run(line), "cancel, or cancel NUMBER\n") << line;
    }
    EXPECT_TRUE(resource.cancelled.empty());
    EXPECT_TRUE(console.hasPending());
}

TEST_F(ConsoleTest, WaitRejectsAnInvalidCount) {
    for (char const* const line :
         {"wait x", "wait 1x", "wait -1", "wait 1.5", "wait 18446744073709551616"}) {
        EXPECT_EQ(run(line), "wait, or wait COUNT\n") << line;
    }
}

TEST_F(ConsoleTest, AcceptsLocatorsAsPaths) {
    answerWith(Response(200));
    EXPECT_THAT(run("retrieve kova:/device$/r/x"), HasSubstr("> #1 retrieve /r/x\n"));
    EXPECT_THAT(run("watch kova:/device$r"), HasSubstr("> #2 retrieve /r\n"));
    EXPECT_THAT(run("update kova:/device$/r 5"), HasSubstr("> #3 update /r\n"));
    EXPECT_EQ(resource.asked.size(), 3U);
}

TEST_F(ConsoleTest, SendsNothingForALocatorOfAnotherService) {
    EXPECT_EQ(run("retrieve kova:/radio$/r"),
              "'kova:/radio$/r' leads to the service /radio, and this one is /device\n");
    EXPECT_TRUE(resource.asked.empty());
    EXPECT_FALSE(console.hasPending());
}

TEST_F(ConsoleTest, WaitWithoutACountWaitsForOneEvent) {
    interrupted = true;
    EXPECT_EQ(run("wait"), "gave up waiting\n");
    EXPECT_EQ(run("wait 0"), "");
}

}  // namespace
}  // namespace device
