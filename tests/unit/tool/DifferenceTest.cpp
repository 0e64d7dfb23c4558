#include "Difference.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kova/core/MimeTypes.h"
#include "kova/kit/Values.h"

namespace kova::tool {
namespace {

/// A recording that a test builds event by event.
class Builder {
public:
    Builder& ask(std::uint64_t id, const std::string& path, const std::string& header = "") {
        recording.events.push_back(
            {EventKind::request, id, time_++, "retrieve", path, 0, header, {}, 0});
        return *this;
    }
    Builder& value(std::uint64_t id, const std::string& json) {
        return value(id, Payload::createFromJSON(json));
    }
    Builder& value(std::uint64_t id, const Payload& payload) {
        recording.events.push_back({EventKind::value, id, time_++, "", "", 200, "", payload, 0});
        return *this;
    }
    Builder& end(std::uint64_t id, EventKind kind = EventKind::completed) {
        recording.events.push_back({kind, id, time_++, "", "", 0, "", {}, 0});
        return *this;
    }
    Builder& answer(std::uint64_t id, const std::string& path, const std::string& json) {
        return ask(id, path).value(id, json).end(id);
    }

    Recording recording;

private:
    std::int64_t time_ = 0;
};

std::string textOf(const Builder& first, const Builder& second, const Ignored& ignored = {}) {
    return compare(first.recording, second.recording, ignored).text;
}

TEST(DifferenceTest, TimesAndRequestNumbersAreIgnored) {
    Builder first;
    first.answer(1, "/a", "1").answer(2, "/b", "2");
    Builder second;
    second.answer(7, "/b", "2").answer(9, "/a", "1");
    const Differences found = compare(first.recording, second.recording, {});
    EXPECT_EQ(found.text, "");
    EXPECT_EQ(found.compared, 2U);
    EXPECT_EQ(found.different, 0U);
}

TEST(DifferenceTest, DifferentAnswersAreShown) {
    Builder first;
    first.ask(1, "/a").value(1, "1").value(1, "2").end(1);
    Builder second;
    second.ask(1, "/a").value(1, "1").value(1, "3").end(1, EventKind::cancelled);
    EXPECT_EQ(textOf(first, second),
              "retrieve /a:\n  - value 200 2\n  - completed\n  + value 200 3\n  + cancelled\n");
}

TEST(DifferenceTest, RequestsInOnlyOneRecordingAreShown) {
    Builder first;
    first.answer(1, "/a", "1");
    Builder second;
    second.answer(1, "/b", "2");
    EXPECT_EQ(textOf(first, second),
              "retrieve /a: only in the first recording\n  - value 200 1\n  - completed\n"
              "retrieve /b: only in the second recording\n  + value 200 2\n  + completed\n");
    EXPECT_EQ(compare(first.recording, second.recording, {}).different, 2U);
}

TEST(DifferenceTest, OrderOfEqualRequestsIsComparedUnlessTheyOverlap) {
    Builder first;
    first.answer(1, "/a", "1").answer(2, "/a", "2");
    Builder swapped;
    swapped.answer(1, "/a", "2").answer(2, "/a", "1");
    EXPECT_EQ(compare(first.recording, swapped.recording, {}).different, 2U);
    Builder overlapping;
    overlapping.ask(1, "/a").ask(2, "/a").value(2, "1").end(2).value(1, "2").end(1);
    EXPECT_EQ(textOf(first, overlapping), "");
}

TEST(DifferenceTest, PayloadsAreComparedAsValues) {
    Builder first;
    first.answer(1, "/a", "{\"a\": 1, \"b\": 2}");
    Builder second;
    second.answer(1, "/a", "{\"b\":2,\"a\":1}");
    EXPECT_EQ(textOf(first, second), "");
    Builder binary;
    binary.ask(1, "/a")
        .value(1, kit::toPayload(std::vector<int>{1}, mimetypes::AXOBIN_TYPE).orThrow())
        .end(1);
    EXPECT_EQ(textOf(first, binary),
              "retrieve /a:\n  - value 200 {\"a\":1,\"b\":2}\n  - completed\n"
              "  + value 200 [1] (binary)\n  + completed\n");
}

TEST(DifferenceTest, MalformedPayloadsAreComparedAsBytes) {
    Builder first;
    first.answer(1, "/a", "{");
    Builder second;
    second.answer(1, "/a", "[");
    EXPECT_EQ(textOf(first, first), "");
    EXPECT_EQ(compare(first.recording, second.recording, {}).different, 1U);
}

TEST(DifferenceTest, HeadersAreComparedExceptIdsAndQueues) {
    Builder first;
    first.ask(1, "/a", "{\"traceparent\":\"1\",\"$accept\":\"a\"}").end(1);
    Builder second;
    second.ask(1, "/a", "{\"traceparent\":\"2\",\"$accept\":\"a\"}").end(1);
    EXPECT_EQ(textOf(first, second), "");
    Builder other;
    other.ask(1, "/a", "{\"$accept\":\"b\"}").end(1);
    EXPECT_EQ(compare(first.recording, other.recording, {}).different, 2U);
}

TEST(DifferenceTest, IgnoredPathsAndFieldsAreNotCompared) {
    Builder first;
    first.answer(1, "/system/load", "1").answer(2, "/a", "[{\"up\":1,\"x\":1}]");
    Builder second;
    second.answer(1, "/system/load", "2").answer(2, "/a", "[{\"up\":2,\"x\":1}]");
    Ignored ignored;
    ignored.paths.emplace_back("/system/**");
    EXPECT_EQ(compare(first.recording, second.recording, ignored).different, 1U);
    ignored.fields.insert("up");
    EXPECT_EQ(textOf(first, second, ignored), "");
    EXPECT_EQ(compare(first.recording, second.recording, ignored).compared, 1U);
}

TEST(DifferenceTest, LongAnswersAreCut) {
    Builder first;
    first.answer(1, "/a", "\"" + std::string(100'000, 'a') + "\"");
    Builder second;
    second.answer(1, "/a", "1");
    EXPECT_LT(textOf(first, second).size(), 1000U);
}

}  // namespace
}  // namespace kova::tool
