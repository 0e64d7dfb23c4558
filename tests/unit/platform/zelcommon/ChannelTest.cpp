#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/Allocations.h"
#include "support/Traces.h"
#include "tracing/Channel.h"
#include "tracing/SharedChannelMap.h"

namespace {

using kova::test::allocations;
using kova::test::Traces;
using tracing::Channel;
using tracing::Message;

class ChannelTest : public testing::Test {
protected:
    ~ChannelTest() override { tracing::setSink({}); }

    // Installs a sink that collects the texts.
    std::vector<std::string>& collect() {
        tracing::setSink([this](const Message& message) { texts_.emplace_back(message.text); });
        return texts_;
    }

private:
    std::vector<std::string> texts_;
};

TEST_F(ChannelTest, StoresItsNameLevelAndFlags) {
    const Channel channel("KOVA_CHANNELTEST", 3, 5);
    EXPECT_EQ(channel.name(), "KOVA_CHANNELTEST");
    EXPECT_EQ(channel.level(), 3);
    EXPECT_EQ(channel.flags(), 5U);
}

TEST_F(ChannelTest, WritesMessagesAtOrAboveItsLevel) {
    const auto& texts = collect();
    Channel channel("KOVA_CHANNELTEST", Channel::SILENT, 0);
    std::size_t expected = 0;
    for (const int level : {7, 4, 3, 2, 1, 0, -1, 7}) {
        channel.setLevel(level);
        EXPECT_EQ(channel.level(), level);
        for (int message = 0; message <= 4; ++message) {
            channel.trace(message, "%d", message);
            channel.traceText(message, "text");
            EXPECT_EQ(channel.isEnabled(message), level <= message);
            expected += level <= message ? 2 : 0;
            EXPECT_EQ(texts.size(), expected) << level << ' ' << message;
        }
    }
}

TEST_F(ChannelTest, SinkReceivesChannelLevelAndText) {
    std::vector<std::string> seen;
    tracing::setSink([&seen](const Message& message) {
        seen.push_back(std::string(message.channel) + '|' + std::to_string(message.level) + '|' +
                       std::string(message.text));
    });
    const Channel channel("KOVA_CHANNELTEST", 0, 0);
    channel.trace(2, "[open] path='%s' count=%d", "/a/b", 3);
    channel.traceText(4, "100 % as it stands: %s %n");
    EXPECT_EQ(seen, (std::vector<std::string>{"KOVA_CHANNELTEST|2|[open] path='/a/b' count=3",
                                              "KOVA_CHANNELTEST|4|100 % as it stands: %s %n"}));
}

TEST_F(ChannelTest, FormatsArgumentsOfEveryScalarType) {
    const auto& texts = collect();
    const Channel channel("KOVA_CHANNELTEST", 0, 0);
    char changeable[] = "text";
    channel.trace(0, "%s %c %d %u %lld %zu %.2f %.1f %d", changeable, 'c', -1, 2U,
                  std::numeric_limits<long long>::min(), sizeof(int), 0.5, 1.5F, true);
    channel.trace(0, "no argument, 100%%");
    channel.trace(0, "%p", reinterpret_cast<void*>(std::uintptr_t{0x1F0}));
    EXPECT_EQ(texts, (std::vector<std::string>{"text c -1 2 -9223372036854775808 4 0.50 1.5 1",
                                               "no argument, 100%", "0x1f0"}));
}

TEST_F(ChannelTest, MessagesOfAnyLengthAreComplete) {
    const auto& texts = collect();
    const Channel channel("KOVA_CHANNELTEST", 0, 0);
    static constexpr std::size_t LENGTHS[] = {0, 1, 510, 511, 512, 513, 1023, 1024, 100000};
    for (const std::size_t length : LENGTHS) {
        std::string text(length, 'x');
        if (length > 0) {
            text.back() = '!';
        }
        channel.trace(1, "%s", text.c_str());
        ASSERT_EQ(texts.back().size(), length);
        EXPECT_EQ(texts.back(), text);
        channel.traceText(1, text);
        EXPECT_EQ(texts.back(), text);
        channel.trace(1, "%d%s%d", 1, text.c_str(), 2);
        EXPECT_EQ(texts.back(), "1" + text + "2");
    }
}

TEST_F(ChannelTest, DisabledMessageDoesNotReadItsArguments) {
    const auto& texts = collect();
    const Channel channel("KOVA_CHANNELTEST", 3, 0);
    char const* const nowhere = reinterpret_cast<char const*>(std::uintptr_t{1});
    channel.trace(2, "%s", nowhere);
    channel.trace(2, nowhere);
    channel.traceText(2, std::string_view(nowhere, 1000));
    EXPECT_TRUE(texts.empty());
}

TEST_F(ChannelTest, DisabledMessageDoesNotAllocate) {
    const Channel channel("KOVA_CHANNELTEST", 3, 0);
    const std::string text(1000, 'x');
    const std::size_t before = allocations();
    for (int i = 0; i < 100; ++i) {
        channel.trace(2, "[open] path='%s' count=%d", text.c_str(), i);
        channel.traceText(2, text);
    }
    EXPECT_EQ(allocations(), before);
}

TEST_F(ChannelTest, ShortMessageIsFormattedWithoutAllocating) {
    std::size_t inside = 0;
    tracing::setSink([&inside](const Message&) { inside = allocations(); });
    const Channel channel("KOVA_CHANNELTEST", 0, 0);
    const std::string text(511, 'x');
    const std::size_t before = allocations();
    channel.trace(2, "%s", text.c_str());
    EXPECT_EQ(inside, before);
}

TEST_F(ChannelTest, LongMessageIsTruncatedWhenMemoryRunsOut) {
    std::size_t seen = 0;
    tracing::setSink([&seen](const Message& message) { seen = message.text.size(); });
    const Channel channel("KOVA_CHANNELTEST", 0, 0);
    const std::string text(1000, 'x');
    {
        const kova::test::NoMemory noMemory;
        channel.trace(2, "%s", text.c_str());
    }
    EXPECT_EQ(seen, 511U);
}

TEST_F(ChannelTest, DefaultSinkWritesNothingWhenMemoryRunsOut) {
    const Channel channel("KOVA_CHANNELTEST", 0, 0);
    testing::internal::CaptureStderr();
    {
        const kova::test::NoMemory noMemory;
        channel.traceText(2, std::string_view("a text that is too long for a small string: "
                                              "............................................"));
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(ChannelTest, DefaultSinkWritesOneCompleteLine) {
    const Channel channel("KOVA_CHANNELTEST", 0, 0);
    testing::internal::CaptureStderr();
    channel.trace(2, "a\n%s\x1B[2J", "b");
    const std::string line = testing::internal::GetCapturedStderr();
    EXPECT_THAT(
        line, testing::MatchesRegex("[0-9]{4}-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-6][0-9]"
                                    "\\.[0-9]{6}Z " +
                                    std::to_string(syscall(SYS_gettid)) +
                                    " KOVA_CHANNELTEST 2: a b \\[2J\n"));
}

TEST_F(ChannelTest, SetSinkReturnsTheFormerSink) {
    int calls = 0;
    EXPECT_FALSE(tracing::setSink([&calls](const Message&) { ++calls; }));
    const tracing::Sink former = tracing::setSink({});
    ASSERT_TRUE(former);
    former({"KOVA_CHANNELTEST", 0, ""});
    EXPECT_EQ(calls, 1);
}

TEST_F(ChannelTest, ExceptionsOfTheSinkAreDiscarded) {
    tracing::setSink([](const Message&) { throw std::runtime_error("no disk"); });
    const Channel channel("KOVA_CHANNELTEST", 0, 0);
    EXPECT_NO_THROW(channel.traceText(0, "text"));
    EXPECT_NO_THROW(channel.trace(0, "%01000d", 1));
}

TEST_F(ChannelTest, MessagesFromTheSinkGoToTheDefaultSink) {
    const Channel channel("KOVA_CHANNELTEST", 0, 0);
    int calls = 0;
    tracing::setSink([&](const Message&) {
        ++calls;
        channel.traceText(0, "from the sink");
    });
    testing::internal::CaptureStderr();
    channel.traceText(0, "from the caller");
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::EndsWith("KOVA_CHANNELTEST 0: from the sink\n"));
    EXPECT_EQ(calls, 1);
}

TEST_F(ChannelTest, SinkCanReplaceItself) {
    const Channel channel("KOVA_CHANNELTEST", 0, 0);
    tracing::setSink([this](const Message&) { collect(); });
    channel.traceText(0, "first");
    channel.traceText(0, "second");
    EXPECT_EQ(collect(), std::vector<std::string>{"second"});
}

TEST_F(ChannelTest, TracingPreservesErrno) {
    tracing::setSink([](const Message&) { errno = EIO; });
    const Channel channel("KOVA_CHANNELTEST", 0, 0);
    errno = ENOENT;
    channel.trace(0, "%s", "text");
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(ChannelTest, PatternsApplyOnlyToSharedChannels) {
    const Traces traces("KOVA_CHANNELTEST*", 0);
    const Channel channel("KOVA_CHANNELTEST", 5, ~Channel::SHARED);
    EXPECT_EQ(channel.level(), 5);
    EXPECT_EQ(tracing::SharedChannelMap::instance().setLevel("KOVA_CHANNELTEST*", 1), 0U);
    EXPECT_EQ(channel.level(), 5);
}

}  // namespace
