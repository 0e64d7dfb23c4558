#include "Words.h"

#include <gmock/gmock.h>

#include "kova/kit/TraceChannel.h"
#include "tool/ToolFixture.h"

namespace kova::tool {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

class InspectionTest : public ToolFixture {};

TEST_F(InspectionTest, OpenapiIsTheDocumentOfTheService) {
    EXPECT_EQ(run({"openapi", address}), DONE);
    EXPECT_THAT(out, StartsWith("{\"openapi\":\"3.1"));
    EXPECT_THAT(out, HasSubstr("\"/greeting/{name}\""));
}

TEST_F(InspectionTest, MetricsAreText) {
    EXPECT_EQ(run({"metrics", address}), DONE);
    EXPECT_EQ(out, "# TYPE tracks gauge\ntracks 1\n");
}

TEST_F(InspectionTest, PendingRequestsAreLinesOfJson) {
    kit::Client client(service);
    const auto call = client.watch<int>("/level").start();
    EXPECT_EQ(run({"pending", address}), DONE);
    EXPECT_THAT(out, MatchesRegex("\\{\"path\":\"/level\",\"command\":\"retrieve\",[^\n]*\\}\n"));
}

TEST_F(InspectionTest, PendingRequestsAreATableOnATerminal) {
    kit::ClientOptions options;
    options.clientId = "hmi\x1b[2J";
    kit::Client client(service, options);
    const auto call = client.watch<int>("/level").start();
    outIsTerminal = true;
    EXPECT_EQ(run({"pending", address}), DONE);
    EXPECT_THAT(out, MatchesRegex("AGE +COMMAND +PATH +CLIENT +PHASE +THREAD\n"
                                  "[0-9.]+ m?s +retrieve +/level +hmi\uFFFD\\[2J +pending\n"));
}

TEST_F(InspectionTest, TraceListsTheChannels) {
    const kit::TraceChannel channel("KOVA_TOOL_TEST");
    EXPECT_EQ(runAt({"trace"}), DONE);
    EXPECT_THAT(out, HasSubstr("{\"name\":\"KOVA_TOOL_TEST\",\"level\":7}\n"));
}

TEST_F(InspectionTest, TraceSetsLevels) {
    const kit::TraceChannel channel("KOVA_TOOL_SET");
    EXPECT_EQ(runAt({"trace", "KOVA_TOOL_SE*=2"}), DONE);
    EXPECT_EQ(out, "{\"channels\":1}\n");
    EXPECT_EQ(runAt({"trace"}), DONE);
    EXPECT_THAT(out, HasSubstr("{\"name\":\"KOVA_TOOL_SET\",\"level\":2}\n"));
}

TEST_F(InspectionTest, LevelsThatAreNotNumbersAreUsageErrors) {
    for (char const* text : {"KOVA_*", "KOVA_*=", "KOVA_*=x", "KOVA_*=2x"}) {
        EXPECT_EQ(runAt({"trace", text}), MISUSED) << text;
        EXPECT_THAT(err, HasSubstr("is not PATTERN=LEVEL, such as 'KOVA_*=2'"));
    }
    EXPECT_EQ(runAt({"trace", "KOVA_*=9"}), REFUSED);
    EXPECT_THAT(err, HasSubstr("level: expected 0 to 7, found 9"));
}

TEST_F(InspectionTest, PayloadThatIsNotValidIsAnError) {
    test::HeldService other;
    http::Endpoint otherEndpoint{other, "unix:" + folder / "other"};
    other.onRequest = [&other](std::size_t number) {
        other.answer(number, Response(200, Payload::createFromRaw(
                                               reinterpret_cast<unsigned char const*>("\xFF"), 1,
                                               mimetypes::AXOBIN_TYPE)));
    };
    EXPECT_EQ(run({"openapi", "--to", otherEndpoint.address()}), FAILED);
    EXPECT_EQ(run({"trace", "--to", otherEndpoint.address(), "a=1"}), FAILED);
    EXPECT_EQ(out, "");
}

TEST_F(InspectionTest, MissingServiceGivesExitStatusThree) {
    for (char const* word : {"openapi", "metrics", "pending", "trace"}) {
        EXPECT_EQ(run({word, "--to", "unix:" + folder / "none", "--deadline", "0"}), NO_SERVICE);
        EXPECT_EQ(run({word}), MISUSED);
    }
}

}  // namespace
}  // namespace kova::tool
