#include "kova/kit/TraceChannel.h"

#include <gtest/gtest.h>

#include <optional>

#include "support/Traces.h"
#include "tracing/SharedChannelMap.h"

namespace kova::kit {
namespace {

TEST(TraceChannelTest, ObjectsOfTheSameNameUseTheSameChannel) {
    const TraceChannel first("KIT_TRACE_CHANNEL_TEST");
    const TraceChannel second("KIT_TRACE_CHANNEL_TEST");
    EXPECT_EQ(&*first, &*second);
    EXPECT_EQ(first->name(), "KIT_TRACE_CHANNEL_TEST");
}

TEST(TraceChannelTest, LastObjectReleasesTheChannel) {
    const auto count = [] {
        return ::tracing::SharedChannelMap::instance().setLevel("KIT_TRACE_CHANNEL_RELEASED", 7);
    };
    std::optional<TraceChannel> first(std::in_place, "KIT_TRACE_CHANNEL_RELEASED");
    std::optional<TraceChannel> second(std::in_place, "KIT_TRACE_CHANNEL_RELEASED");
    first.reset();
    EXPECT_EQ(count(), 1U);
    second.reset();
    EXPECT_EQ(count(), 0U);
}

TEST(TraceChannelTest, MessageBelowTheChannelLevelIsNotWritten) {
    const TraceChannel channel("KIT_TRACE_CHANNEL_WRITTEN");
    test::Traces traces("KIT_TRACE_CHANNEL_WRITTEN", 2);
    channel->trace(1, "not written");
    channel->trace(2, "track %d", 7);
    const auto seen = traces.take();
    ASSERT_EQ(seen.size(), 1U);
    EXPECT_EQ(seen[0].text, "track 7");
}

}  // namespace
}  // namespace kova::kit
