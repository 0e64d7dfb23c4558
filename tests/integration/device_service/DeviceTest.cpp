#include "Device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "DeviceFixture.h"
#include "kova/kit/Describe.h"
#include "kova/kit/Peer.h"

namespace device {
namespace {

using kova::Payload;
using kova::Request;
using std::chrono::milliseconds;
using std::chrono::system_clock;
using test::Answer;
using testing::HasSubstr;
using testing::MatchesRegex;

// Returns a time as the service prints it.
std::string toText(system_clock::time_point time) {
    return kova::kit::plainText(kova::kit::toPayload(time).orThrow()).value();
}

class DeviceTest : public test::DeviceFixture {
protected:
    void* open(const std::shared_ptr<Answer>& answer, const Request& request) {
        return device->service().actionRequest(request, answer->receiver());
    }
    static Request after(const std::string& duration) {
        return {"retrieve", "/clock/in", Payload::createFromJSON("\"" + duration + "\"")};
    }
};

constexpr char const* NAMES = R"(["cpu","load","memory","network","storage","uptime"])";

const test::StatusRow ROWS[] = {
    {"retrieve", "/", "", 200, R"(["/about","/clock","/scan","/store","/system","/volume"])"},
    {"retrieve", "/nowhere", "", 404, "path '/nowhere' not found"},

    {"retrieve", "/system", "", 200, NAMES},
    {"retrieve", "/system/", "", 200, NAMES},
    {"retrieve", "/system/uptime", "", 200, R"({"idle":0.0,"up":1.0})"},
    {"retrieve", "//system//uptime/", "", 200, R"({"idle":0.0,"up":1.0})"},
    {"retrieve", "/system/load", "", 503, "cannot read "},
    {"retrieve", "/system/uptime/up", "", 404, "path '/system/uptime/up' not found"},
    {"retrieve", "/system/nothing", "", 404, "path '/system/nothing' not found"},
    {"update", "/system/uptime", "1", 400,
     "command 'update' not supported for path '/system/uptime'"},
    {"insert", "/system", "1", 400, "command 'insert' not supported for path '/system'"},
    {"", "/system", "", 400, "command '' not supported for path '/system'"},

    {"retrieve", "/clock/in", "", 400, ""},
    {"retrieve", "/clock/in", "1", 400, "expected "},
    {"retrieve", "/clock/in", "\"PT1S\"", 400, "expected "},
    {"retrieve", "/clock/in", "\"P0000-00-00T00:00:60\"", 400, "expected "},
    {"retrieve", "/clock/in", "\"P0001-00-00T00:00:01\"", 400, "expected "},
    {"retrieve", "/clock/in", "\"P0000-01-00T00:00:01\"", 400, "expected "},
    {"retrieve", "/clock/in", "{\"open\":", 400, ""},
    {"retrieve", "/clock/at", "", 404, "path '/clock/at' not found"},
    {"retrieve", "/clock/in/x", "", 404, "path '/clock/in/x' not found"},
    {"update", "/clock", "1", 400, "command 'update' not supported for path '/clock'"},
    {"delete", "/clock/in", "", 400, "command 'delete' not supported for path '/clock/in'"},

    {"retrieve", "/volume", "", 200, R"({"level":30,"muted":false})"},
    {"update", "/volume", "{\"level\":101}", 400, "level: expected a number from 0 to 100"},
    {"update", "/volume", "{\"level\":-1}", 400, "level: expected a number from 0 to 100"},
    {"update", "/volume", "{\"level\":\"loud\"}", 400, "level: expected an integer"},
    {"update", "/volume", "{}", 400, ""},

    {"retrieve", "/scan", "\"/no/such/folder\"", 404, "cannot scan '/no/such/folder': "},
    {"retrieve", "/scan", "5", 400, "expected a string"},
};

TEST_F(DeviceTest, RespondsWithTheExpectedStatusAndPayload) {
    for (const test::StatusRow& row : ROWS) {
        SCOPED_TRACE(testing::PrintToString(row));
        test::expectAnswer(row, *ask(row.command, row.path, row.payload));
    }
}

TEST_F(DeviceTest, RespondsInTheAcceptedMimeType) {
    for (char const* const path : {"/system", "/system/uptime", "/clock", "/volume"}) {
        Request request("retrieve", path);
        request.setMimeType("application/vnd.axobin");
        EXPECT_EQ(ask(request)->values().at(0).getPayload().getMimeType(),
                  "application/vnd.axobin");
        request.setMimeType("plain/text");
        EXPECT_EQ(ask(request)->code(), 400);
    }
}

// Streams

TEST_F(DeviceTest, FactsAndTheClockCanBeWatchedUntilTheyAreCancelled) {
    for (char const* const path : {"/system/uptime", "/clock"}) {
        const auto answer = std::make_shared<Answer>();
        void* const handle = open(answer, watching(path));
        answer->awaitValues(3);
        EXPECT_EQ(answer->code(), 299);
        device->service().cancelRequest(handle);
        answer->awaitRelease();
        EXPECT_EQ(answer->ends(), 0);
    }
}

TEST_F(DeviceTest, ListOfFactsIsNotAStream) {
    EXPECT_EQ(ask(watching("/system"))->code(), 200);
    EXPECT_EQ(ask(watching("/system/nothing"))->code(), 404);
    EXPECT_EQ(ask(watching("/system/load"))->code(), 503);
}

// The clock

TEST_F(DeviceTest, ClockReturnsTheTimeOfTheRequest) {
    const std::string before = toText(system_clock::now());
    const std::string time = ask("retrieve", "/clock")->text();
    EXPECT_LE(before, time);
    EXPECT_LE(time, toText(system_clock::now()));
}

TEST_F(DeviceTest, DelayedRequestReturnsTheTimeAfterTheDuration) {
    const auto before = system_clock::now();
    const auto answer = ask(after("P0000-00-00T00:00:01"));
    EXPECT_EQ(answer->code(), 200);
    EXPECT_EQ(answer->values().size(), 1U);
    EXPECT_GE(answer->text(), toText(before + milliseconds(1000)));
    EXPECT_EQ(ask(after("P0000-00-00T00:00:00"))->code(), 200) << "at once";
}

TEST_F(DeviceTest, BinaryDurationIsAccepted) {
    const std::string bytes = "\x74P0000-00-00T00:00:00";
    EXPECT_EQ(ask({"retrieve", "/clock/in",
                   Payload::createFromRaw(reinterpret_cast<unsigned char const*>(bytes.data()),
                                          bytes.size(), "application/vnd.axobin")})
                  ->code(),
              200);
}

TEST_F(DeviceTest, CancelledDelayReleasesItsResponseHandler) {
    const auto answer = std::make_shared<Answer>();
    device->service().cancelRequest(open(answer, after("P0000-00-31T23:59:59")));
    answer->awaitRelease();
    EXPECT_EQ(answer->ends(), 0);
}

TEST_F(DeviceTest, DelayBeyondTheMaximumNumberIsAnsweredWith503) {
    std::vector<std::shared_ptr<Answer>> waiting;
    for (unsigned i = 0; i < Device::WAITERS; ++i) {
        waiting.push_back(std::make_shared<Answer>());
        open(waiting.back(), after("P0000-00-31T00:00:00"));
    }
    EXPECT_EQ(ask(after("P0000-00-00T00:00:00"))->code(), 503);
    device->service().stop(std::chrono::hours(1));
    for (const auto& answer : waiting) {
        answer->awaitRelease();
        EXPECT_EQ(answer->code(), 503);
    }
}

// The volume

TEST_F(DeviceTest, VolumeIsWrittenAndWatched) {
    const auto answer = std::make_shared<Answer>();
    open(answer, watching("/volume"));
    answer->awaitValues(1);
    EXPECT_EQ(answer->text(), R"({"level":30,"muted":false})");
    EXPECT_EQ(ask("update", "/volume", R"({"level":100,"muted":true})")->error(), "");
    answer->awaitValues(2);
    EXPECT_EQ(answer->text(), R"({"level":100,"muted":true})");
    ask("update", "/volume", R"({"level":101})");
    EXPECT_EQ(ask("update", "/volume", R"({"level":0})")->error(), "");
    answer->awaitValues(3);
    EXPECT_EQ(answer->text(), R"({"level":0,"muted":false})") << "the refused one was not set";
}

// Scans

TEST_F(DeviceTest, ScanCountsTheFilesBelowAFolder) {
    std::filesystem::create_directories(folder / "data/more");
    for (int i = 0; i < 250; ++i) {
        test::writeFile(folder / ("data/more/" + std::to_string(i)), "four");
    }
    std::filesystem::create_symlink("0", folder / "data/more/link");
    const auto answer = ask("retrieve", "/scan", '"' + (folder / "data") + '"');
    EXPECT_EQ(answer->text(), R"({"files":250,"bytes":1000})");
    ASSERT_EQ(answer->values().size(), 3U) << "two reports of progress";
    EXPECT_EQ(answer->values()[0].getStatusCode(), 298);
    EXPECT_EQ(answer->values()[2].getStatusCode(), 200);
}

// The inspection

TEST_F(DeviceTest, OtherLocalUsersMayInspectOnlyIfTheOptionIsSet) {
    const kova::kit::Peer local{-1, -1, -1, "127.0.0.1:41034"};
    const kova::kit::Peer remote{-1, -1, -1, "192.0.2.1:41034"};
    const auto codeFor = [this](const kova::kit::Peer& peer) {
        const kova::kit::PeerScope scope(peer);
        return ask("retrieve", "/.kova/metrics")->code();
    };
    EXPECT_EQ(codeFor(kova::kit::Peer::self()), 200);
    EXPECT_EQ(codeFor(local), 403);
    serve(file, true);
    EXPECT_EQ(codeFor(kova::kit::Peer::self()), 200);
    EXPECT_EQ(codeFor(local), 200);
    EXPECT_EQ(codeFor(remote), 403);
}

// The destructor

TEST_F(DeviceTest, DestructionEndsAllRequests) {
    std::vector<std::shared_ptr<Answer>> answers;
    for (const Request& request : {watching("/system/uptime"), watching("/clock"),
                                   watching("/volume"), after("P0000-00-31T00:00:00")}) {
        answers.push_back(std::make_shared<Answer>());
        open(answers.back(), request);
    }
    device.reset();
    for (const auto& answer : answers) {
        EXPECT_TRUE(answer->released());
        EXPECT_EQ(answer->code(), 503);
        EXPECT_EQ(answer->ends(), 1);
    }
}

}  // namespace
}  // namespace device
