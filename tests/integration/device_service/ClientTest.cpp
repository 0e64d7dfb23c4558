#include "Client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "SystemHandler.h"
#include "TemporaryFolder.h"
#include "kova/core/MimeTypes.h"
#include "kova/core/StaticComposedKovaService.h"
#include "support/Reports.h"
#include "support/Service.h"
#include "util/config/Scalars.h"

namespace device {
namespace {

using kova::Payload;
using kova::Response;
using testing::HasSubstr;
using testing::Not;

/// A client of a service with one resource, "/r", that does what the test says.
class ClientTest : public testing::Test {
protected:
    /// What the line makes the client print.
    std::string run(const std::string& line) {
        out.str("");
        EXPECT_TRUE(client.execute(line));
        return out.str();
    }
    /// Answers every request at once.
    void answerWith(const Response& response) {
        resource.handle = nullptr;
        resource.onRequest = [response](kova::IResponseHandler<Response>& handler) {
            if (response.isErrorResponse()) {
                handler.onError(response);
            } else {
                handler.onNext(response);
                handler.onCompleted();
            }
        };
    }
    /// Lets requests stay pending from now on.
    void leavePending() {
        resource.onRequest = nullptr;
        resource.handle = &resource;
    }
    kova::IResponseHandler<Response>& pending(std::size_t index) {
        return *resource.asked.at(index).handler;
    }

    kova::test::Reports reports;
    std::ostringstream out;
    bool interrupted = false;
    kova::test::Mounts mounts{{"/r"}};
    kova::test::ScriptedResource& resource = mounts["/r"];
    Client client{std::make_unique<kova::StaticComposedKovaService>(mounts.take()),
                  [this] { return interrupted; }, out};
};

// Requests and answers

TEST_F(ClientTest, PrintsTheRequestAndTheAnswer) {
    answerWith(Response(200, Payload::createFromJSON("[1, 2]")));
    EXPECT_EQ(run("retrieve /r/x"),
              "> #1 cmd=retrieve path=/r/x header='{\"$accept\":\"application/json\"}' "
              "payload='<empty>'\n"
              "  #1 next 200 Ok\n"
              "      payload application/json, 6 bytes: [1, 2]\n"
              "  #1 completed\n");
    EXPECT_FALSE(client.hasPending());
}

TEST_F(ClientTest, PrintsAnAnswerWithoutAPayload) {
    answerWith(Response(204));
    EXPECT_EQ(run("delete /r"),
              "> #1 cmd=delete path=/r header='{\"$accept\":\"application/json\"}' "
              "payload='<empty>'\n"
              "  #1 next 204 No Content\n"
              "  #1 completed\n");
}

TEST_F(ClientTest, PrintsAnErrorWithItsHeader) {
    answerWith(Response::createErrorResponse(409, "no room"));
    EXPECT_EQ(run("insert /r 5"),
              "> #1 cmd=insert path=/r header='{\"$accept\":\"application/json\"}' payload='5'\n"
              "  #1 error 409 Conflict: no room\n"
              "      header  {\"$errorMsg\":\"no room\"}\n");
    EXPECT_FALSE(client.hasPending());
}

TEST_F(ClientTest, PrintsTheHeaderOfAValue) {
    Response response(200);
    response.add2header("$note", new util::config::ValueInt(5));
    answerWith(response);
    EXPECT_THAT(run("retrieve /r"), HasSubstr("  #1 next 200 Ok\n      header  {\"$note\":5}\n"));
}

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
    {"delete /r/", "delete", "", "<empty>"},
    {"observe /r/x", "observe", "x", "<empty>"},
    {"retrieve /r/#x", "retrieve", "#x", "<empty>"},
    {"Quit /r", "Quit", "", "<empty>"},
};

TEST_F(ClientTest, SendsWhatTheLineSays) {
    answerWith(Response(200));
    for (const LineRow& row : LINES) {
        SCOPED_TRACE(testing::PrintToString(row));
        const std::string printed = run(row.line);
        EXPECT_EQ(resource.asked.back().command, row.command);
        EXPECT_EQ(resource.asked.back().resourcePath, row.path);
        EXPECT_THAT(printed, HasSubstr(std::string("payload='") + row.payload + "'\n"));
    }
}

TEST_F(ClientTest, ALineWithoutAPathIsARequestForNothing) {
    EXPECT_THAT(run("retrieve"), HasSubstr("#1 error 404 Not Found: path '' not found\n"));
    EXPECT_THAT(run("nonsense"), HasSubstr("> #2 cmd=nonsense path= "));
}

TEST_F(ClientTest, AsksForTheTypeThatWasAccepted) {
    answerWith(Response(200));
    EXPECT_EQ(run("accept binary"), "> answers are wanted as application/vnd.axobin\n");
    EXPECT_THAT(run("retrieve /r"), HasSubstr("{\"$accept\":\"application/vnd.axobin\"}"));
    for (char const* const line : {"accept", "accept x", "accept Json", "accept jsonx"}) {
        EXPECT_EQ(run(line), "accept json, or accept binary\n");
    }
    EXPECT_EQ(run("accept  json "), "> answers are wanted as application/json\n");
    EXPECT_THAT(run("retrieve /r"), HasSubstr("{\"$accept\":\"application/json\"}"));
}

Payload binary(const std::string& bytes) {
    return Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                  bytes.size(), kova::mimetypes::AXOBIN_TYPE);
}

TEST_F(ClientTest, ShowsBinaryAsBytesAndAsTheJsonThatTheyStandFor) {
    answerWith(Response(200, binary("\x82\x01\xf5")));
    EXPECT_THAT(run("retrieve /r"),
                HasSubstr("payload application/vnd.axobin, 3 bytes: 82 01 f5 = [1,true]\n"));
    answerWith(Response(200, binary("\x78\x20" + std::string(32, 'a'))));
    EXPECT_THAT(run("retrieve /r"), HasSubstr("34 bytes: 78 20 61 61 61 61 61 61 61 61 61 61 61 61 "
                                              "61 61 61 61 61 61 61 61 61 61 … = \"aaaa"));
    answerWith(Response(200, binary("\xff\xfe")));
    EXPECT_THAT(run("retrieve /r"), HasSubstr("2 bytes: ff fe = <failed>\n"));
    answerWith(Response(200, binary("")));
    EXPECT_THAT(run("retrieve /r"), HasSubstr("0 bytes: = <failed>\n"));
}

TEST_F(ClientTest, ShowsPayloadsOfOtherTypesByTheirName) {
    unsigned char const byte = 1;
    answerWith(Response(200, Payload::createFromRaw(&byte, 1, "application/octet-stream")));
    EXPECT_THAT(run("retrieve /r"), HasSubstr("application/octet-stream, 1 bytes: <binary>\n"));
    answerWith(Response(200, Payload::createFromRaw(&byte, 1, "x/y")));
    EXPECT_THAT(run("retrieve /r"), HasSubstr("x/y, 1 bytes: <unknown>\n"));
}

// Lines that send nothing

TEST_F(ClientTest, RepeatsCommentsAndEmptyLines) {
    for (char const* const line : {"", "  ", "\t", "# retrieve /r", "  #x"}) {
        EXPECT_EQ(run(line), line + std::string("\n"));
    }
    EXPECT_TRUE(resource.asked.empty());
}

TEST_F(ClientTest, HelpNamesEveryCommand) {
    const std::string help = run("help");
    for (char const* const word : {"retrieve", "watch", "cancel", "update", "insert", "delete",
                                   "accept", "wait", "shutdown", "help", "quit"}) {
        EXPECT_THAT(help, HasSubstr(word));
    }
}

TEST_F(ClientTest, QuitEnds) {
    EXPECT_FALSE(client.execute("quit"));
    EXPECT_FALSE(client.execute("  quit now"));
}

// Streams

TEST_F(ClientTest, AWatchStaysPendingAndPrintsEveryValue) {
    leavePending();
    EXPECT_EQ(run("watch /r/x"),
              "> #1 cmd=retrieve path=/r/x header='{\"$accept\":\"application/json\","
              "\"$response-semantic\":\"persistent-stream\"}' payload='<empty>'\n");
    EXPECT_TRUE(client.hasPending());
    out.str("");
    pending(0).onNext(Response(299, Payload::createFromJSON("1")));
    pending(0).onNext(Response(299));
    pending(0).onCompleted();
    EXPECT_EQ(out.str(),
              "  #1 next 299 Stream\n      payload application/json, 1 bytes: 1\n"
              "  #1 next 299 Stream\n  #1 completed\n");
    EXPECT_FALSE(client.hasPending());
}

TEST_F(ClientTest, CancelEndsTheLatestOrTheNamed) {
    leavePending();
    for (int number = 1; number <= 4; ++number) {
        resource.handle = reinterpret_cast<void*>(static_cast<std::uintptr_t>(number));
        run("watch /r");
    }
    EXPECT_EQ(run("cancel"), "> cancelled #4\n");
    EXPECT_EQ(run("cancel 2"), "> cancelled #2\n");
    EXPECT_EQ(run("cancel  0003 "), "> cancelled #3\n");
    EXPECT_EQ(run("cancel 3"), "nothing to cancel\n");
    EXPECT_TRUE(client.hasPending());
    EXPECT_EQ(run("cancel"), "> cancelled #1\n");
    EXPECT_EQ(run("cancel"), "nothing to cancel\n");
    EXPECT_FALSE(client.hasPending());
    std::vector<std::uintptr_t> handles;
    for (void* const handle : resource.cancelled) {
        handles.push_back(reinterpret_cast<std::uintptr_t>(handle));
    }
    EXPECT_THAT(handles, testing::ElementsAre(4, 2, 3, 1));
}

TEST_F(ClientTest, CancelOfAnythingElseDoesNothing) {
    leavePending();
    run("watch /r");
    for (char const* const line :
         {"cancel 0", "cancel 2", "cancel x", "cancel 1x", "cancel 1.0", "cancel -1", "cancel +1",
          "cancel 0x1", "cancel 18446744073709551617", "cancel 99999999999999999999999"}) {
        EXPECT_EQ(run(line), "nothing to cancel\n") << line;
    }
    EXPECT_TRUE(resource.cancelled.empty());
    EXPECT_TRUE(client.hasPending());
}

TEST_F(ClientTest, PrintsNothingForACancelledRequest) {
    leavePending();
    run("watch /r");
    run("cancel");
    out.str("");
    pending(0).onNext(Response(299));
    pending(0).onCompleted();
    EXPECT_EQ(out.str(), "");
}

TEST_F(ClientTest, ARequestThatEndsInsideTheCallIsNotPending) {
    answerWith(Response(200));
    resource.handle = &resource;  // a careless resource
    run("retrieve /r");
    EXPECT_FALSE(client.hasPending());
    EXPECT_EQ(run("cancel"), "nothing to cancel\n");
}

TEST_F(ClientTest, ARequestThatIsDroppedInsideTheCallIsNotPending) {
    resource.onRequest = nullptr;
    run("retrieve /r");
    EXPECT_FALSE(client.hasPending());
}

TEST_F(ClientTest, AfterShutdownNothingIsPendingAndRequestsAreRefused) {
    leavePending();
    run("watch /r");
    EXPECT_EQ(run("shutdown"), "> shutdown\n");
    EXPECT_FALSE(client.hasPending());
    EXPECT_EQ(resource.cancelled.size(), 1U);
    EXPECT_THAT(run("retrieve /r"), HasSubstr("\n  #2 refused: the service is shut down\n"));
    EXPECT_FALSE(client.hasPending());
    EXPECT_EQ(run("cancel"), "nothing to cancel\n");
    EXPECT_EQ(run("shutdown"), "> shutdown\n");
}

// Waiting

TEST_F(ClientTest, WaitEndsWithTheEventsOfAnotherThread) {
    leavePending();
    run("watch /r");
    std::atomic<bool> done{false};
    std::thread sender([&] {
        while (!done) {
            pending(0).onNext(Response(299));
        }
    });
    client.execute("wait 3");
    client.execute("wait");
    done = true;
    sender.join();
    EXPECT_THAT(out.str(), Not(HasSubstr("gave up")));
}

TEST_F(ClientTest, WaitForNothingEndsAtOnce) {
    EXPECT_EQ(run("wait 0"), "");
}

TEST_F(ClientTest, WaitNeedsACount) {
    for (char const* const line :
         {"wait x", "wait 1x", "wait -1", "wait 1.5", "wait 18446744073709551616"}) {
        EXPECT_EQ(run(line), "wait, or wait COUNT\n") << line;
    }
}

TEST_F(ClientTest, AnInterruptionEndsTheWait) {
    interrupted = true;
    EXPECT_EQ(run("wait 18446744073709551615"), "gave up waiting\n");
}

// Threads and the end

class BusyClientTest : public testing::Test {
protected:
    BusyClientTest() {
        std::filesystem::create_directories(folder / "proc");
        test::writeFile(folder / "proc/uptime", "1.0 1.0\n");
        std::map<std::string, std::unique_ptr<kova::IResourceHandler>> handlers;
        handlers["/system"] = std::make_unique<SystemHandler>(SystemInfo(folder.path()),
                                                              std::chrono::milliseconds(1));
        client = std::make_unique<Client>(
            std::make_unique<kova::StaticComposedKovaService>(std::move(handlers)),
            [] { return false; }, out);
    }

    test::TemporaryFolder folder;
    std::ostringstream out;
    std::unique_ptr<Client> client;
};

TEST_F(BusyClientTest, LinesOfManyStreamsAreWhole) {
    for (int i = 0; i < 5; ++i) {
        client->execute("watch /system/uptime");
        client->execute("wait 3");
        client->execute("retrieve /system");
    }
    for (int i = 0; i < 5; ++i) {
        client->execute("cancel");
        client->say("-");
    }
    client.reset();
    std::istringstream lines(out.str());
    for (std::string line; std::getline(lines, line);) {
        EXPECT_THAT(line, testing::ContainsRegex("^(> #[0-9]+ cmd=retrieve path=.*'<empty>'|"
                                                 "> cancelled #[0-9]+|-|"
                                                 "  #[0-9]+ next (299 Stream|200 Ok)|"
                                                 "  #[0-9]+ completed|"
                                                 "      payload application/json, .*[]}])$"));
    }
}

TEST_F(BusyClientTest, NoEventFollowsTheCancellation) {
    client->execute("watch /system/uptime");
    client->execute("wait 5");
    client->execute("cancel");
    client->execute("watch /system/uptime");
    client->execute("wait 5");
    client.reset();
    const std::string text = out.str();
    EXPECT_THAT(text.substr(text.find("> cancelled #1")), Not(HasSubstr("  #1 ")));
}

TEST_F(BusyClientTest, ShutdownAndDestructionEndTheStreams) {
    for (const bool shutDown : {false, true}) {
        client->execute("watch /system/uptime");
        client->execute("wait 2");
        if (shutDown) {
            client->shutdown();
            EXPECT_FALSE(client->hasPending());
        }
    }
    client.reset();
    const std::string text = out.str();
    EXPECT_THAT(text, HasSubstr("#2 next 299 Stream"));
    EXPECT_THAT(text, Not(HasSubstr("completed")));
}

}  // namespace
}  // namespace device
