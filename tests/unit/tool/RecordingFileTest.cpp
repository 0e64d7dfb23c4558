#include "RecordingFile.h"

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

#include "kova/kit/Values.h"
#include "tool/ToolFixture.h"

namespace kova::tool {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr char const* HEAD = "{\"kovaRecording\":1,\"service\":\"kova:/player\"}\n";
constexpr char const* REQUEST =
    "{\"event\":\"request\",\"id\":1,\"us\":5,\"command\":\"retrieve\",\"path\":\"/level\"}\n";
constexpr char const* END = "{\"event\":\"completed\",\"id\":1,\"us\":9}\n";

std::string reasonOf(const std::string& text) {
    const auto recording = parseRecording(text);
    return recording ? "" : recording.error().message;
}

TEST(RecordingFileTest, LinesReadBackUnchanged) {
    const std::vector<RecordedEvent> events = {
        {EventKind::request, 7, 0, "update", "/a\"b", 0, "{\"$accept\":\"application/json\"}",
         Payload::createFromJSON("{\"level\":1}"), 0},
        {EventKind::value, 7, 10, "", "", 200, "", Payload::createFromString("text\n"), 0},
        {EventKind::value, 7, 20, "", "", 299, "", Payload::createFromString(""), 9'000'000},
        {EventKind::failed, 7, 30, "", "", 404, "{\"$errorMsg\":\"no\"}", {}, 0}};
    std::string text = firstLineOf("kova:/player", 0);
    for (const RecordedEvent& event : events) {
        text += lineOf(event);
    }
    const Recording recording = parseRecording(text + lastLineOf(4, 3)).orThrow();
    EXPECT_EQ(recording.service, "kova:/player");
    EXPECT_EQ(recording.lost, 3U);
    ASSERT_EQ(recording.events.size(), 4U);
    for (std::size_t i = 0; i < events.size(); ++i) {
        EXPECT_EQ(lineOf(recording.events[i]), lineOf(events[i]));
    }
    EXPECT_EQ(recording.events[2].omitted, 9'000'000U);
}

TEST(RecordingFileTest, MalformedFilesAreRefusedWithTheNumberOfTheLine) {
    const std::string head = HEAD;
    const std::string request = REQUEST;
    EXPECT_EQ(reasonOf(""), "the file is empty");
    EXPECT_THAT(reasonOf("a\n"), StartsWith("line 1: not the first line of a recording: "));
    EXPECT_THAT(reasonOf("{\"kovaRecording\":2,\"service\":\"\"}"),
                StartsWith("line 1: the format has version 2"));
    EXPECT_EQ(reasonOf(head + request),
              "line 2: the last line is missing; the recording was cut off");
    EXPECT_THAT(reasonOf(head + request.substr(0, 40)), StartsWith("line 2: "));
    EXPECT_THAT(reasonOf(head + "\xFF\xFE\n"), StartsWith("line 2: "));
    EXPECT_THAT(reasonOf(head + std::string(1000, '[') + "\n"), StartsWith("line 2: "));
    EXPECT_EQ(reasonOf(head + END), "line 2: the request 1 is missing");
    EXPECT_EQ(reasonOf(head + request + END + END), "line 4: the request 1 has ended before");
    EXPECT_EQ(reasonOf(head + request + request), "line 3: a second request has the number 1");
    EXPECT_EQ(reasonOf(head + "{\"event\":\"other\"}\n"), "line 2: 'other' is not an event");
    EXPECT_EQ(reasonOf(head + "{\"event\":\"request\",\"id\":1}\n"),
              "line 2: a request has a command and a path");
    EXPECT_EQ(reasonOf(head + "{\"event\":\"request\",\"header\":[]}\n"),
              "line 2: a header is an object");
    EXPECT_THAT(reasonOf(head + "{\"event\":\"request\",\"payload\":{\"type\":\"a\"}}\n"),
                StartsWith("line 2: a payload has one of "));
    EXPECT_EQ(reasonOf(head + request + END + lastLineOf(3, 0)),
              "line 4: lines are missing: there are 2 of 3 events");
    EXPECT_EQ(reasonOf(head + lastLineOf(0, 0) + request), "line 3: a line follows the last line");
    EXPECT_EQ(reasonOf(head + request + END + lastLineOf(2, 0)), "");
}

TEST(RecordingFileTest, PayloadOfAHundredMegabytesIsRead) {
    RecordedEvent event{EventKind::request,
                        1,
                        0,
                        "update",
                        "/a",
                        0,
                        "",
                        Payload::createFromString(std::string(std::size_t{100} * 1024 * 1024, 'a')),
                        0};
    const auto recording = parseRecording(HEAD + lineOf(event) + lastLineOf(1, 0));
    ASSERT_TRUE(recording) << recording.error().message;
    EXPECT_EQ(recording->events[0].payload.size(), event.payload.size());
}

TEST(RecordingFileTest, FileThatCannotBeReadIsNamed) {
    const test::TemporaryFolder folder;
    const Context context{{std::cout}, {std::cerr}};
    const auto missing = readRecording(folder / "none", context);
    ASSERT_FALSE(missing);
    EXPECT_THAT(missing.error().message, HasSubstr("none': No such file"));
    EXPECT_FALSE(readRecording(folder.path(), context));
}

TEST(RecordingFileTest, EventsOfServicesAreConverted) {
    kit::MonitoredEvent event;
    event.kind = "other";
    EXPECT_FALSE(RecordedEvent::of(event, 0));
    event.kind = "value";
    event.time = 1500;
    event.type = "a/b";
    event.bytes = 10;
    const auto recorded = RecordedEvent::of(event, 1000);
    ASSERT_TRUE(recorded);
    EXPECT_EQ(recorded->kind, EventKind::value);
    EXPECT_EQ(recorded->time, 500);
    EXPECT_EQ(recorded->omitted, 10U);
}

TEST(RecordingFileTest, TimeIsUtc) {
    EXPECT_EQ(utcText(0), "1970-01-01T00:00:00.000000Z");
    EXPECT_EQ(utcText(1'795'386'600'000'123), "2026-11-22T22:30:00.000123Z");
}

}  // namespace
}  // namespace kova::tool
