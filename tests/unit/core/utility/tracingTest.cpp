#include "kova/core/tracing.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "tracing/SharedChannelMap.h"
#include "tracing/client_helper.h"

namespace {

using kova::tracing::bindTraceChannel;
using kova::tracing::releaseTraceChannel;

std::size_t countChannels(const std::string& pattern) {
    return tracing::SharedChannelMap::instance().setLevel(pattern, tracing::Channel::SILENT);
}

TEST(TraceChannel, HasItsNameAndIsInitiallySilent) {
    tracing::Channel* channel = bindTraceChannel("TEST_ONE");
    ASSERT_NE(channel, nullptr);
    EXPECT_EQ(channel->name(), "TEST_ONE");
    EXPECT_EQ(channel->level(), tracing::Channel::SILENT);
    releaseTraceChannel(channel);
}

TEST(TraceChannel, IsSharedByNameUntilTheLastRelease) {
    ASSERT_EQ(countChannels("TEST_SHARED"), 0U);
    tracing::Channel* first = bindTraceChannel("TEST_SHARED");
    tracing::Channel* second = bindTraceChannel("TEST_SHARED");
    tracing::Channel* other = bindTraceChannel("TEST_OTHER");
    EXPECT_EQ(first, second);
    EXPECT_NE(first, other);
    EXPECT_EQ(countChannels("TEST_SHARED"), 1U);

    releaseTraceChannel(first);
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(countChannels("TEST_SHARED"), 1U);
    EXPECT_EQ(second->name(), "TEST_SHARED");

    releaseTraceChannel(second);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(countChannels("TEST_SHARED"), 0U);
    EXPECT_EQ(countChannels("TEST_OTHER"), 1U);
    releaseTraceChannel(other);
}

TEST(TraceChannel, CanBeBoundAndReleasedByManyThreads) {
    constexpr int THREADS = 4;
    constexpr int ROUNDS = 500;
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([thread, &wrong] {
            for (int round = 0; round < ROUNDS; ++round) {
                const std::string name = "TEST_MANY_" + std::to_string((round + thread) % 2);
                tracing::Channel* channel = bindTraceChannel(name);
                wrong += channel->name() != name;
                releaseTraceChannel(channel);
                wrong += channel != nullptr;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(countChannels("TEST_MANY_*"), 0U);
}

struct Row {
    char const* service;
    char const* channelPath;

    friend std::ostream& operator<<(std::ostream& out, const Row& row) {
        return out << '"' << row.service << '"';
    }
};

class ServiceChannelPath : public testing::TestWithParam<Row> {};

TEST_P(ServiceChannelPath, ContainsNoSeparators) {
    EXPECT_EQ(kova::tracing::serviceToChannelPath(GetParam().service), GetParam().channelPath);
}

const Row ROWS[] = {{"/a/b", "a_b"}, {"a/b", "a_b"}, {"/a/b/", "a_b_"}, {"//a//b", "_a__b"},
                    {"a", "a"},      {"/", ""},      {"", ""}};

INSTANTIATE_TEST_SUITE_P(Tracing, ServiceChannelPath, testing::ValuesIn(ROWS));

TEST(TraceClientId, IsUnknownWhileNotSet) {
    EXPECT_EQ(kova::tracing::getTraceClientId(), "unknown");
    EXPECT_EQ(&kova::tracing::getTraceClientId(), &kova::tracing::getTraceClientId());
}

// The trace client id can be set only once in a process, so a child process sets it.
void exitWithSetClientId() {
    const std::string& before = kova::tracing::getTraceClientId();
    tracing::client_helper::setClientId("client-7");
    const bool taken = kova::tracing::getTraceClientId() == "client-7" && before == "unknown";
    std::exit(taken ? EXIT_SUCCESS : EXIT_FAILURE);
}

TEST(TraceClientId, ReturnsTheConfiguredId) {
    EXPECT_EXIT(exitWithSetClientId(), testing::ExitedWithCode(EXIT_SUCCESS), "");
}

}  // namespace
