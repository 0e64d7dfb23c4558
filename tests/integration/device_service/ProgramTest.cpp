// Tests the built example program as a whole, started like a user starts it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include "Journal.h"
#include "LineReader.h"
#include "Program.h"
#include "TemporaryFolder.h"

namespace device {
namespace {

using testing::HasSubstr;
using testing::Not;

using test::Arguments;
using test::Program;

constexpr char const* END = "the service is shut down\n";

class ProgramTest : public testing::Test {
protected:
    ProgramTest() { std::signal(SIGPIPE, SIG_IGN); }
    ~ProgramTest() override { std::signal(SIGPIPE, SIG_DFL); }

    /// Runs the program with the input, checks its exit status, and returns its output.
    std::string run(const Arguments& arguments, const std::string& input = "", int status = 0) {
        Program program(folder.path(), arguments);
        program.write(input);
        program.closeInput();
        EXPECT_EQ(program.wait(), status) << program.output();
        EXPECT_TRUE(endsWell(program.output())) << program.output();
        return program.output();
    }
    static bool endsWell(const std::string& output) {
        const std::string end = END;
        return output.size() >= end.size() &&
               output.compare(output.size() - end.size(), end.size(), end) == 0;
    }

    test::TemporaryFolder folder;
};

TEST_F(ProgramTest, SampleRequestsProduceTheExpectedOutput) {
    const std::string output = run({"--interval", "10"}, test::readFile(TOUR), exitstatus::FAILED);
    std::size_t place = 0;
    for (char const* const line :
         {"> connect to /device: interface 1.2.1 serves a client built for 1.2.0 (offered: ",
          "> #1 list /device\n",
          "      kova:/device$/about\n",
          "      kova:/device$/clock\n",
          "      kova:/device$/scan\n",
          "      kova:/device$/store\n",
          "      kova:/device$/system\n",
          "      kova:/device$/volume\n",
          "> #2 retrieve /\n",
          "payload application/json, 56 bytes: "
          "[\"/about\",\"/clock\",\"/scan\",\"/store\",\"/system\",\"/volume\"]",
          "> answers are wanted as application/vnd.axobin",
          "payload application/vnd.axobin, ",
          "= [\"/about\",\"/clock\",\"/scan\",\"/store\",\"/system\",\"/volume\"]\n",
          "[\"cpu\",\"load\",\"memory\",\"network\",\"storage\",\"uptime\"]",
          "> #5 retrieve /system/memory\n",
          "\"MemTotal\":",
          "\"up\":",
          "#7 next 299 Stream",
          "#7 next 299 Stream",
          "#7 next 299 Stream",
          "> cancelled #7\n",
          "#8 next 299 Stream\n",
          "#8 next 299 Stream\n      payload application/json, 26 bytes: \"20",
          "> cancelled #8\n",
          "> #9 retrieve /clock/in\n",
          "#9 next 200 Ok\n      payload application/json, 26 bytes: \"20",
          "#9 completed\n",
          "{\"client\":\"console\",\"service\":\"/device\",\"token\":\"none\"}\n",
          "#11 next 201 Created\n",
          ": 5\n",
          "#13 next 204 No Content\n",
          "{\"stations\":[\"one\",\"between\",\"two\"],\"volume\":7}\n",
          "[\"between\",\"two\"]\n",
          "> #19 retrieve /volume\n",
          "#19 next 299 Stream\n",
          ": {\"level\":30,\"muted\":false}\n",
          "> #20 update /volume\n",
          "#19 next 299 Stream\n",
          ": {\"level\":55,\"muted\":false}\n",
          "> cancelled #19\n",
          "> #21 retrieve /scan\n",
          "{\"files\":",
          "error 409 Conflict: there is something at '/store/volume'",
          "error 400 Bad Request: ",
          "error 404 Not Found: path '/store/nothing' not found",
          "error 404 Not Found: path '/nowhere' not found",
          "error 400 Bad Request: command 'update' not supported for path '/system/memory'",
          "error 400 Bad Request: expected a duration without years and months, found "
          "\"P0000-01-00T00:00:00\"",
          "'kova:/radio$/system' leads to the service /radio, and this one is /device\n",
          "> shutdown\n",
          "refused: the console is shut down\n",
          END}) {
        const std::size_t found = output.find(line, place);
        ASSERT_NE(found, std::string::npos) << "no '" << line << "' in\n" << output.substr(place);
        place = found + 1;
    }
    EXPECT_THAT(output, Not(HasSubstr("gave up")));
    EXPECT_EQ(test::readFile(folder / "kova-store.json"),
              "{\n  \"stations\": [\n    \"between\",\n    \"two\"\n  ],\n  \"volume\": 7\n}\n");
}

TEST_F(ProgramTest, AcceptsTheWordsOfARequestAsArguments) {
    run({"--store", "s.json", "update", "/store/volume", "7"});
    EXPECT_THAT(run({"--store=s.json", "retrieve", "/store"}), HasSubstr(": {\"volume\":7}\n"));
    EXPECT_THAT(run({"retrieve", "/store"}), HasSubstr(": {}\n")) << "another file";
}

TEST_F(ProgramTest, PassesTheValueInAnArgumentUnchanged) {
    struct Row {
        char const* value;
        int status;
    };
    using namespace exitstatus;
    for (const Row& row : {Row{"[]", ANSWERED},
                           {"[1, 2]", ANSWERED},
                           {"{}", ANSWERED},
                           {"-5", ANSWERED},
                           {"\"\"", ANSWERED},
                           {"[[1,2],[3]]", ANSWERED},
                           {"{\"a\": [1]}", ANSWERED},
                           {"true", ANSWERED},
                           {"--5", REFUSED},
                           {"'x'", REFUSED},
                           {"$(x)", REFUSED},
                           {"%%", REFUSED}}) {
        EXPECT_THAT(run({"update", "/store/x", row.value}, "", row.status),
                    HasSubstr(" bytes: " + std::string(row.value) + "\n  #1 "));
    }
}

TEST_F(ProgramTest, AcceptsSeveralRequestsAsOneArgumentEach) {
    const std::string output =
        run({"update /store/x [1]", "retrieve /store/x", "quit ", "retrieve /system"});
    EXPECT_THAT(output, HasSubstr("3 bytes: [1]\n"));
    EXPECT_THAT(output, Not(HasSubstr("/system")));
}

TEST_F(ProgramTest, ReadsLinesFromAPipe) {
    const std::string output = run({}, "retrieve /store\r\n\n# nothing\nupdate /store/a 1");
    EXPECT_THAT(output, HasSubstr("> #1 retrieve /store\n"));
    EXPECT_THAT(output, HasSubstr("\n\n# nothing\n"));
    EXPECT_THAT(output, HasSubstr("#2 next 201 Created\n"));
}

TEST_F(ProgramTest, QuitAndShutdownEndPendingStreams) {
    EXPECT_THAT(run({}, "watch /system/load\nquit\nretrieve /store\n"), Not(HasSubstr("/store")));
    EXPECT_THAT(run({}, "watch /system/load\nshutdown\nretrieve /store\n", exitstatus::FAILED),
                HasSubstr("refused"));
    run({"watch /system/load", "quit now"});
}

TEST_F(ProgramTest, RequestsContainTheClientIdAndTheToken) {
    ASSERT_EQ(setenv("ZEL_CONFIG_KOVA_AGT", "a-secret-token", 1), 0);
    const std::string output = run({"--client", "me", "retrieve", "/about/request"});
    unsetenv("ZEL_CONFIG_KOVA_AGT");
    EXPECT_THAT(output, HasSubstr("\"$auth-token\":\"(not shown)\",\"$client-id\":\"me\","));
    EXPECT_THAT(output,
                HasSubstr("{\"client\":\"me\",\"service\":\"/device\",\"token\":\"given\"}"));
    EXPECT_THAT(output, Not(HasSubstr("secret")));
}

TEST_F(ProgramTest, ContinuesOnlyWithACompatibleService) {
    EXPECT_THAT(
        run({"--speaks", "2.0.0", "list"}),
        HasSubstr("> connect to /device: interface 2.0.0 serves a client built for 2.0.0 "));
    for (char const* const version : {"3.0.0", "newest"}) {
        Program program(folder.path(), {"--speaks", version, "list"});
        EXPECT_EQ(program.wait(), exitstatus::NOT_STARTED);
        EXPECT_THAT(program.output(), HasSubstr("no interface serves a client built for "));
        EXPECT_THAT(program.output(), Not(HasSubstr("#1")));
        EXPECT_TRUE(endsWell(program.output())) << program.output();
    }
}

TEST_F(ProgramTest, HelpDescribesOptionsAndCommands) {
    Program program(folder.path(), {"--help"});
    EXPECT_EQ(program.wait(), 0);
    for (char const* const word :
         {"--store", "--interval", "--speaks", "--client", "--quiet", "retrieve PATH",
          "kova:/device$/system/memory", "ZEL_CONFIG_KOVA_AGT", "The exit status is the highest"}) {
        EXPECT_THAT(program.output(), HasSubstr(word));
    }
}

struct WrongRow {
    Arguments arguments;
    int status;
    char const* reason;
};

TEST_F(ProgramTest, ReportsErrorsInTheCommandLine) {
    using namespace exitstatus;
    test::writeFile(folder / "broken.json", "{");
    for (const WrongRow& row :
         {WrongRow{{"--nosuch"}, MISUSED, "unknown option --nosuch"},
          {{"--interval", "0"}, MISUSED, "not in range 1 to 3600000"},
          {{"--interval", "soon"}, MISUSED, "--interval"},
          {{"--store"}, MISUSED, "--store"},
          {{"nonsense", "/store"}, MISUSED, "there is no command 'nonsense'; there are: list, "},
          {{"retrieve /store", "accept x"}, MISUSED, "accept json, or accept binary\n"},
          {{"--store", "."}, NOT_STARTED, "cannot read .\n"},
          {{"--store", "broken.json", "update", "/store/a", "1"},
           NOT_STARTED,
           "cannot use broken.json as a document: "}}) {
        Program program(folder.path(), row.arguments);
        program.closeInput();
        EXPECT_EQ(program.wait(), row.status) << row.reason;
        EXPECT_THAT(program.output(), HasSubstr(row.reason));
    }
    EXPECT_EQ(test::readFile(folder / "broken.json"), "{");
}

TEST_F(ProgramTest, ExitStatusReportsWhetherRequestsWereAnswered) {
    using namespace exitstatus;
    run({"retrieve", "/store"}, "", ANSWERED);
    run({"retrieve", "/nowhere"}, "", REFUSED);
    run({"retrieve /nowhere", "nonsense", "retrieve /store"}, "", REFUSED);
    run({"update", "/store/a/b", "1"}, "", REFUSED);
    run({"wait 0", "shutdown", "retrieve /store"}, "", FAILED);
}

TEST_F(ProgramTest, QuietLeavesOnlyPayloadsOnStandardOutput) {
    using namespace exitstatus;
    struct Row {
        Arguments arguments;
        int status;
        char const* output;
        char const* errors;
    };
    for (const Row& row :
         {Row{{"update", "/store/a", "[1, 2]"}, ANSWERED, "", ""},
          {{"retrieve", "/store"}, ANSWERED, "{\"a\":[1,2]}\n", ""},
          {{"accept binary", "retrieve /store", "retrieve /store/a"},
           ANSWERED,
           "{\"a\":[1,2]}\n[1,2]\n",
           ""},
          {{"list"},
           ANSWERED,
           "[\"kova:/device$/about\",\"kova:/device$/clock\",\"kova:/device$/scan\","
           "\"kova:/device$/store\","
           "\"kova:/device$/system\",\"kova:/device$/volume\"]\n",
           ""},
          {{"retrieve", "/store/b"}, REFUSED, "", "404 Not Found: path '/store/b' not found\n"},
          {{"observe", "/store"}, MISUSED, "", "there is no command 'observe'; there are: "}}) {
        Arguments arguments = {"--quiet"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        Program program(folder.path(), arguments, Program::Kind::ErrorsInFile);
        program.closeInput();
        EXPECT_EQ(program.wait(), row.status);
        EXPECT_EQ(program.output(), row.output);
        EXPECT_THAT(test::readFile(folder / "errors"), HasSubstr(row.errors));
    }
}

TEST_F(ProgramTest, QuietShowsNeitherHelpNorComments) {
    Program program(folder.path(), {"--quiet"}, Program::Kind::ErrorsInFile);
    program.write("# nothing\nhelp\nwait 0\nquit\n");
    EXPECT_EQ(program.wait(), exitstatus::ANSWERED);
    EXPECT_EQ(program.output(), "");
    EXPECT_EQ(test::readFile(folder / "errors"), "");
}

TEST_F(ProgramTest, FailsOnALineBeyondTheMaximumLength) {
    Program program(folder.path(), {});
    program.write("watch /system/load\n" + std::string(LineReader::MAX_LINE + 10000, 'x'));
    EXPECT_EQ(program.wait(), 1);
    EXPECT_THAT(program.output(), HasSubstr("a line is too long\n"));
}

// Signals

TEST_F(ProgramTest, SignalEndsAStreamCleanly) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Program program(folder.path(), {"--interval", "1", "watch", "/system/load"});
        program.awaitOutput("#1 next 299 Stream");
        program.awaitOutput("#1 next 299 Stream");
        program.signal(signal);
        EXPECT_EQ(program.wait(), 0);
        EXPECT_TRUE(endsWell(program.output())) << program.output();
    }
}

TEST_F(ProgramTest, StreamsOutliveTheInputUntilASignal) {
    Program program(folder.path(), {"--interval", "1"});
    program.write("watch /system/load\n");
    program.closeInput();
    for (int i = 0; i < 10; ++i) {
        program.awaitOutput("#1 next 299 Stream");
    }
    program.signal(SIGINT);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_TRUE(endsWell(program.output())) << program.output();
}

TEST_F(ProgramTest, SignalEndsTheReadingOfLines) {
    Program program(folder.path(), {});
    program.write("retrieve /store\nhalf a li");
    program.awaitOutput("#1 completed");
    program.signal(SIGINT);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_TRUE(endsWell(program.output())) << program.output();
    EXPECT_THAT(program.output(), Not(HasSubstr("half")));
}

TEST_F(ProgramTest, SignalEndsAWaitForResponses) {
    const std::string first = "update /store/a 1";
    const std::string last = "update /store/b 2";
    Program lines(folder.path(), {});
    lines.write(first + "\nwait 1000\n" + last + "\n");
    Program arguments(folder.path(), {"--store", "other.json", first, "wait 1000", last});
    for (Program* const program : {&lines, &arguments}) {
        program->awaitOutput("#1 completed\n");
        program->signal(SIGINT);
        EXPECT_EQ(program->wait(), 0);
        EXPECT_TRUE(endsWell(program->output())) << program->output();
        EXPECT_THAT(program->output(), Not(HasSubstr(last)));
    }
    for (char const* const file : {"kova-store.json", "other.json"}) {
        EXPECT_EQ(test::readFile(folder / file), "{\n  \"a\": 1\n}\n");
    }
}

class TerminalTest : public ProgramTest {
protected:
    void SetUp() override {
        int ends[2];
        if (openpty(&ends[0], &ends[1], nullptr, nullptr, nullptr) != 0) {
            GTEST_SKIP() << "cannot open a pseudo-terminal; is /dev/pts mounted?";
        }
        close(ends[0]);
        close(ends[1]);
    }
};

TEST_F(TerminalTest, ShowsAnIntroductionAndPrompts) {
    Program program(folder.path(), {"--interval", "1"}, Program::Kind::Terminal);
    program.awaitOutput("\"help\" tells how, \"quit\" ends.\r\nkova> ");
    program.write("help\n");
    program.awaitOutput("retrieve PATH");
    program.awaitOutput("kova> ");
    program.write("watch /system/load\n");
    program.awaitOutput("#1 next 299 Stream");
    program.write("\x03");
    EXPECT_EQ(program.wait(), 0);
    EXPECT_THAT(program.output(), HasSubstr("the service is shut down\r\n"));
}

TEST_F(TerminalTest, EndOfInputEndsTheProgram) {
    Program program(folder.path(), {}, Program::Kind::Terminal);
    program.awaitOutput("kova> ");
    program.write("\x04");
    EXPECT_EQ(program.wait(), 0);
}

}  // namespace
}  // namespace device
