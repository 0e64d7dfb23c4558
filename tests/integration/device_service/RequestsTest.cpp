// Tests the requests of a console, and how it prints their events.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Console.h"
#include "ConsoleFixture.h"
#include "Device.h"
#include "TemporaryFolder.h"
#include "support/Reports.h"
#include "support/Service.h"

namespace device {
namespace {

using kova::Payload;
using kova::Response;
using test::HEADER;
using testing::HasSubstr;
using testing::Not;

class RequestsTest : public test::ConsoleFixture {
protected:
    /// Makes the resource destroy the response handlers without an answer.
    void dropRequests() {
        resource.onRequest = [this](kova::IResponseHandler<Response>&) { resource.asked.clear(); };
    }
    void awaitTheEnd() {
        while (console.hasPending()) {
            std::this_thread::yield();
        }
    }
};

// Requests and responses

TEST_F(RequestsTest, PrintsTheRequestAndTheResponse) {
    answerWith(Response(200, Payload::createFromJSON("[1, 2]")));
    EXPECT_EQ(run("retrieve /r/x"), "> #1 retrieve /r/x\n" + HEADER +
                                        "  #1 next 200 Ok\n"
                                        "      payload application/json, 6 bytes: [1, 2]\n"
                                        "  #1 completed\n");
    EXPECT_FALSE(console.hasPending());
}

TEST_F(RequestsTest, PrintsAResponseWithoutAPayload) {
    answerWith(Response(204));
    EXPECT_EQ(run("delete /r"), "> #1 delete /r\n" + HEADER +
                                    "  #1 next 204 No Content\n"
                                    "  #1 completed\n");
}

TEST_F(RequestsTest, PrintsAnErrorWithItsHeader) {
    answerWith(Response::createErrorResponse(409, "no space"));
    EXPECT_EQ(run("insert /r 5"), "> #1 insert /r\n" + HEADER +
                                      "      payload application/json, 1 bytes: 5\n"
                                      "  #1 error 409 Conflict: no space\n"
                                      "      header  {\"$errorMsg\":\"no space\"}\n");
    EXPECT_FALSE(console.hasPending());
}

TEST_F(RequestsTest, ReportsARequestWithADestroyedHandler) {
    dropRequests();
    run("retrieve /r");
    awaitTheEnd();
    EXPECT_THAT(out.str(), HasSubstr("\n  #1 error 500 Internal Server Error: "));
    EXPECT_EQ(journal.exitStatus(), exitstatus::FAILED);
}

// The exit status

TEST_F(RequestsTest, WorstResponseDeterminesTheExitStatus) {
    struct Row {
        Response response;
        int status;
    };
    for (const Row& row : {Row{Response(200), exitstatus::ANSWERED},
                           {Response(404), exitstatus::REFUSED},
                           {Response(200), exitstatus::REFUSED},
                           {Response::createErrorResponse(499, "a"), exitstatus::REFUSED},
                           {Response(500), exitstatus::FAILED},
                           {Response::createErrorResponse(400, "b"), exitstatus::FAILED}}) {
        answerWith(row.response);
        run("retrieve /r");
        EXPECT_EQ(journal.exitStatus(), row.status) << row.response.toString();
    }
}

TEST_F(RequestsTest, ErrorWithASuccessCodeCountsAsRefused) {
    resource.onRequest = [](kova::IResponseHandler<Response>& handler) {
        handler.onError(Response(200));
    };
    run("retrieve /r");
    EXPECT_EQ(journal.exitStatus(), exitstatus::REFUSED);
}

TEST_F(RequestsTest, RequestAfterTheShutdownCountsAsFailed) {
    run("shutdown");
    EXPECT_EQ(journal.exitStatus(), exitstatus::ANSWERED);
    run("list");
    EXPECT_EQ(journal.exitStatus(), exitstatus::FAILED);
}

// The list of resources

TEST_F(RequestsTest, ListsTheLocatorsOfTheResources) {
    for (char const* const type : {"json", "binary"}) {
        run(std::string("accept ") + type);
        EXPECT_THAT(run("list"), HasSubstr(" next 1 resources\n      kova:/device$/r\n"));
        EXPECT_THAT(out.str(), HasSubstr(" completed\n"));
        EXPECT_FALSE(console.hasPending());
    }
}

TEST_F(RequestsTest, ReportsThatTheListIsUnavailableAfterShutdown) {
    run("shutdown");
    EXPECT_EQ(run("list"),
              "> #1 list /device\n"
              "  #1 refused: the console is shut down\n");
    EXPECT_FALSE(console.hasPending());
}

// A service with a resource handler mounted at its root.
class OwnRootTest : public testing::Test {
protected:
    std::string list() {
        out.str("");
        console.execute("list");
        return out.str();
    }

    kova::test::Reports reports;
    std::ostringstream out;
    kova::test::Mounts mounts{{"/"}};
    kova::test::ScriptedResource& root = mounts["/"];
    const std::unique_ptr<kova::kit::Service> service = test::serviceOf(mounts);
    Journal journal{out};
    Console console{*service, "/device", journal, [] { return false; }};
};

TEST_F(OwnRootTest, ResponseWhosePayloadIsNotAListIsAnError) {
    root.onRequest = [](kova::IResponseHandler<Response>& handler) {
        handler.onNext(Response(200, Payload::createFromJSON("5")));
    };
    EXPECT_EQ(list(),
              "> #1 list /device\n"
              "  #1 error 400 Bad Request: expected an array, found 5 (byte 0)\n"
              "      header  {\"$errorMsg\":\"expected an array, found 5 (byte 0)\"}\n");
}

TEST_F(OwnRootTest, ErrorResponseIsPrinted) {
    root.onRequest = [](kova::IResponseHandler<Response>& handler) {
        handler.onError(Response::createErrorResponse(503, "closed"));
    };
    EXPECT_THAT(list(), HasSubstr("\n  #1 error 503 Service Unavailable: closed\n"));
    EXPECT_FALSE(console.hasPending());
}

TEST_F(OwnRootTest, PendingListCanBeReceivedLaterOrCancelled) {
    root.handle = &root;
    list();
    EXPECT_TRUE(console.hasPending());
    root.asked.back().handler->onNext(Response(200, Payload::createFromJSON("[\"/a\"]")));
    EXPECT_THAT(out.str(), HasSubstr("\n  #1 next 1 resources\n      kova:/device$/a\n"));
    console.execute("cancel");
    EXPECT_EQ(root.cancelled.size(), 1U);
    EXPECT_FALSE(console.hasPending());
}

// Versions

struct ChoiceRow {
    char const* wanted;
    char const* offered;
    char const* outcome;  // begins with "interface" if the client connects
};

void PrintTo(const ChoiceRow& row, std::ostream* out) {
    *out << row.wanted << " of " << row.offered;
}

constexpr ChoiceRow CHOICES[] = {
    {"1.2.0", R"(["1.2.0"])",
     "interface 1.2.0 serves a client built for 1.2.0 (offered: [\"1.2.0\"])"},
    {"1.2.0", R"(["1.0.2","1.3.1","1.2.1","2.0.0"])",
     "interface 1.2.1 serves a client built for 1.2.0 (offered: "
     "[\"1.0.2\",\"1.3.1\",\"1.2.1\",\"2.0.0\"])"},
    {"1.5.0", R"(["1.0.2","2.0.0"])",
     "interface 1.0.2 serves a client built for 1.5.0 (offered: [\"1.0.2\",\"2.0.0\"])"},
    {"3.0.0", R"(["1.0.2","2.0.0"])",
     "no interface serves a client built for 3.0.0 (offered: [\"1.0.2\",\"2.0.0\"])"},
    {"2.0.0@x", R"(["2.0.0"])",
     "no interface serves a client built for 2.0.0@x (offered: [\"2.0.0\"])"},
    {"newest", R"(["2.0.0"])",
     "no interface serves a client built for newest (offered: [\"2.0.0\"])"},
    {"1.0.0", "[]", "no interface serves a client built for 1.0.0 (offered: [])"},
    {"1.0.0", "5",
     "no interface serves a client built for 1.0.0 (400 Bad Request: expected an array, found 5 "
     "(byte "
     "0))"},
    {"1.0.0", "[\"1.0.0\", 2]",
     "no interface serves a client built for 1.0.0 (400 Bad Request: [1]: expected a string, found "
     "2 "
     "(byte 10))"},
};

TEST_F(OwnRootTest, ConnectsOnlyToACompatibleVersion) {
    for (const ChoiceRow& row : CHOICES) {
        SCOPED_TRACE(testing::PrintToString(row));
        root.onRequest = [&row](kova::IResponseHandler<Response>& handler) {
            handler.onNext(Response(200, Payload::createFromJSON(row.offered)));
            handler.onCompleted();
        };
        out.str("");
        const std::string outcome = row.outcome;
        EXPECT_EQ(console.connect(row.wanted), outcome.rfind("interface ", 0) == 0);
        EXPECT_EQ(out.str(), "> connect to /device: " + outcome + "\n");
        EXPECT_EQ(root.asked.back().resourcePath, "about/versions");
    }
    EXPECT_EQ(journal.exitStatus(), exitstatus::NOT_STARTED);
}

TEST_F(OwnRootTest, DoesNotConnectIfTheServiceAnswersWithAnError) {
    root.onRequest = [](kova::IResponseHandler<Response>& handler) {
        handler.onError(Response::createErrorResponse(404, "not here"));
    };
    EXPECT_FALSE(console.connect("1.0.0"));
    EXPECT_EQ(out.str(),
              "> connect to /device: no interface serves a client built for 1.0.0 "
              "(404 Not Found: not here)\n");
}

TEST_F(OwnRootTest, VersionsMayComeFromAnotherThread) {
    root.handle = &root;
    std::thread sender;
    root.onRequest = [&sender](kova::IResponseHandler<Response>& handler) {
        sender = std::thread([&handler] {
            handler.onNext(Response(200, Payload::createFromJSON("[\"1.0.0\"]")));
            handler.onCompleted();
        });
    };
    EXPECT_TRUE(console.connect("1.0.0"));
    sender.join();
}

// Streams

TEST_F(RequestsTest, StreamRemainsPendingAndPrintsEveryValue) {
    leavePending();
    EXPECT_EQ(run("watch /r/x"),
              "> #1 retrieve /r/x\n"
              "      header  {\"$accept\":\"application/json\",\"$client-id\":\"unknown\","
              "\"$response-semantic\":\"persistent-stream\",\"$service-path\":\"/device\"}\n");
    EXPECT_TRUE(console.hasPending());
    out.str("");
    pending(0).onNext(Response(299, Payload::createFromJSON("1")));
    pending(0).onNext(Response(299));
    pending(0).onCompleted();
    EXPECT_EQ(out.str(),
              "  #1 next 299 Stream\n      payload application/json, 1 bytes: 1\n"
              "  #1 next 299 Stream\n  #1 completed\n");
    EXPECT_FALSE(console.hasPending());
}

TEST_F(RequestsTest, CancelEndsTheLatestOrTheNumberedRequest) {
    leavePending();
    for (int number = 1; number <= 4; ++number) {
        resource.handle = reinterpret_cast<void*>(static_cast<std::uintptr_t>(number));
        run("watch /r");
    }
    EXPECT_EQ(run("cancel"), "> cancelled #4\n");
    EXPECT_EQ(run("cancel 2"), "> cancelled #2\n");
    EXPECT_EQ(run("cancel  0003 "), "> cancelled #3\n");
    EXPECT_EQ(run("cancel 3"), "nothing to cancel\n");
    EXPECT_TRUE(console.hasPending());
    EXPECT_EQ(run("cancel"), "> cancelled #1\n");
    EXPECT_EQ(run("cancel"), "nothing to cancel\n");
    EXPECT_FALSE(console.hasPending());
    std::vector<std::uintptr_t> handles;
    for (void* const handle : resource.cancelled) {
        handles.push_back(reinterpret_cast<std::uintptr_t>(handle));
    }
    EXPECT_THAT(handles, testing::ElementsAre(4, 2, 3, 1));
}

TEST_F(RequestsTest, PrintsNothingForACancelledRequest) {
    leavePending();
    run("watch /r");
    run("cancel");
    out.str("");
    pending(0).onNext(Response(299));
    pending(0).onCompleted();
    EXPECT_EQ(out.str(), "");
}

TEST_F(RequestsTest, RequestAnsweredImmediatelyIsNotPending) {
    answerWith(Response(200));
    resource.handle = &resource;  // a handle in spite of the completed request
    run("retrieve /r");
    EXPECT_FALSE(console.hasPending());
    EXPECT_EQ(run("cancel"), "nothing to cancel\n");
}

TEST_F(RequestsTest, ShutdownEndsAllRequestsAndRejectsNewOnes) {
    leavePending();
    run("watch /r");
    EXPECT_EQ(run("shutdown"), "> shutdown\n");
    EXPECT_FALSE(console.hasPending());
    EXPECT_EQ(resource.cancelled.size(), 1U);
    EXPECT_THAT(run("retrieve /r"), HasSubstr("\n  #2 refused: the console is shut down\n"));
    EXPECT_FALSE(console.hasPending());
    EXPECT_EQ(run("cancel"), "nothing to cancel\n");
    EXPECT_EQ(run("shutdown"), "> shutdown\n");
}

// Waiting

TEST_F(RequestsTest, WaitEndsWithTheEventsOfAnotherThread) {
    leavePending();
    run("watch /r");
    std::atomic<bool> done{false};
    std::thread sender([&] {
        while (!done) {
            pending(0).onNext(Response(299));
        }
    });
    console.execute("wait 3");
    console.execute("wait");
    done = true;
    sender.join();
    EXPECT_THAT(out.str(), Not(HasSubstr("gave up")));
}

TEST_F(RequestsTest, WaitForZeroEventsReturnsImmediately) {
    EXPECT_EQ(run("wait 0"), "");
}

TEST_F(RequestsTest, WaitCountsTheEventsSinceTheLatestRequest) {
    interrupted = true;
    answerWith(Response(200));
    run("retrieve /r");
    run("retrieve /r");
    EXPECT_EQ(run("wait 3"), "gave up waiting\n");
    run("retrieve /r");
    EXPECT_EQ(run("wait 2"), "");
    EXPECT_EQ(run("wait 1"), "gave up waiting\n");
}

TEST_F(RequestsTest, InterruptionEndsTheWait) {
    interrupted = true;
    EXPECT_EQ(run("wait 18446744073709551615"), "gave up waiting\n");
}

// Threads and shutdown

class BusyConsoleTest : public testing::Test {
protected:
    BusyConsoleTest() {
        std::filesystem::create_directories(folder / "proc");
        test::writeFile(folder / "proc/uptime", "1.0 1.0\n");
        DeviceOptions options;
        options.storeFile = folder / "store.json";
        options.interval = std::chrono::milliseconds(1);
        options.root = folder.path();
        device.emplace(options);
        console.emplace(device->service(), "/device", journal, [] { return false; });
    }

    test::TemporaryFolder folder;
    std::ostringstream out;
    std::optional<Device> device;
    Journal journal{out};
    std::optional<Console> console;
};

TEST_F(BusyConsoleTest, ConcurrentStreamsPrintCompleteLines) {
    for (int i = 0; i < 5; ++i) {
        console->execute("watch /system/uptime");
        console->execute("wait 3");
        console->execute("retrieve /system");
    }
    for (int i = 0; i < 5; ++i) {
        console->execute("cancel");
        journal.say("-");
    }
    console.reset();
    std::istringstream lines(out.str());
    for (std::string line; std::getline(lines, line);) {
        EXPECT_THAT(line, testing::ContainsRegex("^(> #[0-9]+ retrieve /.*|"
                                                 "      header  [{].*[}]|"
                                                 "> cancelled #[0-9]+|-|"
                                                 "  #[0-9]+ next (299 Stream|200 Ok)|"
                                                 "  #[0-9]+ completed|"
                                                 "      payload application/json, .*[]}])$"));
    }
}

TEST_F(BusyConsoleTest, CancelledRequestPrintsNoFurtherEvents) {
    console->execute("watch /system/uptime");
    console->execute("wait 5");
    console->execute("cancel");
    console->execute("watch /system/uptime");
    console->execute("wait 5");
    console.reset();
    const std::string text = out.str();
    EXPECT_THAT(text.substr(text.find("> cancelled #1")), Not(HasSubstr("  #1 ")));
}

TEST_F(BusyConsoleTest, ShutdownAndDestructionEndTheStreams) {
    for (const bool shutDown : {false, true}) {
        console->execute("watch /system/uptime");
        console->execute("wait 2");
        if (shutDown) {
            console->shutdown();
            EXPECT_FALSE(console->hasPending());
        }
    }
    console.reset();
    const std::string text = out.str();
    EXPECT_THAT(text, HasSubstr("#2 next 299 Stream"));
    EXPECT_THAT(text, Not(HasSubstr("completed")));
}

}  // namespace
}  // namespace device
