#include "Words.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "OutputFile.h"
#include "RecordingFile.h"
#include "tool/MonitorFixture.h"

namespace kova::tool {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// Records requests, and replays them.
class ReplayTest : public MonitorFixture {
protected:
    void recordSome() {
        ASSERT_EQ(runWhile({"record", file, "--count", "4"},
                           [this] {
                               ask("update", "/level", "40");
                               ask("retrieve", "/level");
                               ask("insert", "/tracks", "\"a\"");
                               ask("retrieve", "/nowhere");
                           }),
                  DONE)
            << err;
    }

    const std::string file = folder / "a.jsonl";
    const std::string again = folder / "b.jsonl";
};

TEST_F(ReplayTest, SameAnswersGiveNoDifference) {
    recordSome();
    service.level.set(1);
    for (char const* speed : {"max", "0", "100"}) {
        EXPECT_EQ(runAt({"replay", file, "--speed", speed, "--output", again}), DONE) << out;
        EXPECT_EQ(out, "");
        EXPECT_EQ(err, "0 of 4 requests were answered differently\n");
        EXPECT_EQ(run({"diff", file, again}), DONE);
        EXPECT_EQ(out, "");
    }
    EXPECT_EQ(service.level.get(), 40);
}

TEST_F(ReplayTest, ServiceOfTheRecordingIsTheDefault) {
    recordSome();
    EXPECT_EQ(run({"replay", file, "--speed", "max"}), DONE) << err;
}

TEST_F(ReplayTest, DifferentAnswersArePrinted) {
    recordSome();
    service.level.onWrite([](const int&) { return kit::Error{409, "locked"}; });
    EXPECT_EQ(runAt({"replay", file, "--speed", "max", "--output", again}), DIFFERENT);
    EXPECT_THAT(out, HasSubstr("update /level 40:\n  - value 200\n  - completed\n  + failed 409 "));
    EXPECT_EQ(run({"diff", file, again}), DIFFERENT);
    EXPECT_THAT(out, HasSubstr("update /level 40:\n"));
    EXPECT_EQ(run({"diff", file, again, "--ignore", "/level"}), DONE);
    EXPECT_EQ(out, "");
}

TEST_F(ReplayTest, CancelledStreamIsCancelledAfterTheSameValues) {
    ASSERT_EQ(runWhile({"record", file, "--count", "2"},
                       [this] {
                           const kit::Client client(service);
                           kit::Stream<int> stream(client.watch<int>("/level"));
                           EXPECT_EQ(stream.wait(std::chrono::seconds(30)).orThrow(), 30);
                           ask("update", "/level", "31");
                           EXPECT_EQ(stream.wait(std::chrono::seconds(30)).orThrow(), 31);
                       }),
              DONE);
    service.level.set(30);
    EXPECT_EQ(runAt({"replay", file, "--speed", "max", "--output", again}), DONE) << out;
    EXPECT_EQ(run({"diff", file, again}), DONE) << out;
}

TEST_F(ReplayTest, UnusableFilesAndOptionsAreUsageErrors) {
    EXPECT_EQ(runAt({"replay", folder / "none"}), MISUSED);
    EXPECT_THAT(err, HasSubstr("cannot read '"));
    OutputFile wrong(file);
    ASSERT_TRUE(wrong.open());
    wrong.write("{\"kovaRecording\":1,\"service\":\"\"}\n{\"event\":");
    ASSERT_TRUE(wrong.close());
    EXPECT_EQ(runAt({"replay", file}), MISUSED);
    EXPECT_THAT(err, StartsWith("kova: '" + file + "' line 2: "));
    EXPECT_EQ(run({"diff", file, file}), MISUSED);
    EXPECT_EQ(run({"diff", file}), MISUSED);
    for (char const* speed : {"-1", "fast", "1x", ""}) {
        EXPECT_EQ(runAt({"replay", file, "--speed", speed}), MISUSED) << speed;
    }
    EXPECT_EQ(run({"diff", file, file, "--ignore", "/{"}), MISUSED);
    EXPECT_THAT(err, StartsWith("kova: --ignore '/{': "));
}

TEST_F(ReplayTest, MissingServiceAndOutputAreReported) {
    recordSome();
    EXPECT_EQ(run({"replay", file, "--to", "kova:/nobody"}), NO_SERVICE);
    EXPECT_EQ(runAt({"replay", file, "--speed", "max", "--output", "/dev/full"}), OUTPUT_FAILED);
    EXPECT_THAT(err, HasSubstr("cannot write '/dev/full'"));
}

TEST_F(ReplayTest, LostEventsAreReported) {
    OutputFile lost(file);
    ASSERT_TRUE(lost.open());
    lost.write(firstLineOf("", 0) + lastLineOf(0, 3));
    ASSERT_TRUE(lost.close());
    EXPECT_EQ(run({"diff", file, file}), DONE);
    EXPECT_EQ(err, "kova: '" + file + "' is incomplete: 3 events were lost\nkova: '" + file +
                       "' is incomplete: 3 events were lost\n");
}

}  // namespace
}  // namespace kova::tool
