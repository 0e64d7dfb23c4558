#include "Words.h"

#include <gmock/gmock.h>

#include <string>

#include "RecordingFile.h"
#include "tool/MonitorFixture.h"

namespace kova::tool {
namespace {

using testing::HasSubstr;

class RecordTest : public MonitorFixture {
protected:
    Recording recording() const {
        const Context context{{std::cout}, {std::cerr}};
        return readRecording(file, context).orThrow();
    }

    const std::string file = folder / "a.jsonl";
};

TEST_F(RecordTest, InterruptLeavesACompleteFile) {
    EXPECT_EQ(runWhile({"record", file},
                       [this] {
                           ask("insert", "/tracks", "\"a\"");
                           ask("retrieve", "/nowhere");
                           interrupt();
                       }),
              DONE);
    EXPECT_EQ(out, "");
    EXPECT_EQ(err, "recording; Ctrl-C ends it\n2 requests are recorded\n");
    const Recording recorded = recording();
    EXPECT_EQ(recorded.service, address);
    ASSERT_EQ(recorded.events.size(), 5U);
    EXPECT_EQ(recorded.events[0].path, "/tracks");
    EXPECT_EQ(recorded.events[1].code, 201);
    EXPECT_EQ(recorded.events[2].kind, EventKind::completed);
    EXPECT_EQ(recorded.events[4].kind, EventKind::failed);
    EXPECT_THAT(recorded.events[4].header, HasSubstr("path '/nowhere' not found"));
}

TEST_F(RecordTest, CountEndsTheRecording) {
    EXPECT_EQ(runWhile({"record", file, "--count", "1"},
                       [this] {
                           ask("retrieve", "/greeting/a");
                           ask("retrieve", "/greeting/b");
                       }),
              DONE);
    EXPECT_EQ(recording().events.size(), 3U);
}

TEST_F(RecordTest, TimeoutEndsTheRecording) {
    EXPECT_EQ(runAt({"record", file, "--timeout", "20ms"}), DONE);
    EXPECT_EQ(recording().events.size(), 0U);
    EXPECT_EQ(runAt({"record", file, "--timeout", "20ms", "--count", "1"}), TIMED_OUT);
    EXPECT_EQ(recording().events.size(), 0U);
}

TEST_F(RecordTest, OmittedPayloadMakesTheRecordingIncomplete) {
    EXPECT_EQ(
        runWhile({"record", file, "--count", "1"},
                 [this] { ask("insert", "/tracks", '"' + std::string(5'000'000, 'a') + '"'); }),
        FAILED);
    EXPECT_THAT(err, HasSubstr("the recording is incomplete: 0 events were lost, and 2 payloads"));
    EXPECT_EQ(recording().events[0].omitted, 5'000'002U);
}

TEST_F(RecordTest, FileThatCannotBeWrittenIsReported) {
    EXPECT_EQ(runAt({"record", folder / "none/a"}), MISUSED);
    EXPECT_THAT(err, HasSubstr("cannot write '"));
    EXPECT_EQ(runAt({"record", "/dev/full"}), OUTPUT_FAILED);
    EXPECT_THAT(err, HasSubstr("No space left on device"));
    EXPECT_EQ(run({"record", file}), MISUSED);
}

}  // namespace
}  // namespace kova::tool
