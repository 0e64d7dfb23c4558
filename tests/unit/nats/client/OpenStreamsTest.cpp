#include "nats/client/OpenStreams.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "contract/service/Inbox.h"

namespace kova::nats::detail {
namespace {

using Numbers = std::vector<std::uint64_t>;

/// Three requests with the handles 1 to 3.
class OpenStreamsTest : public ::testing::Test {
protected:
    OpenStreamsTest() {
        for (std::uint64_t handle = 1; handle <= 3; ++handle) {
            auto stream = std::make_unique<ClientStream>(inbox.handler(), nullptr, "request", 4);
            stream->handle = handle;
            streams.add(std::move(stream), handle);
        }
    }
    /// Sends the request with this handle again, under another number.
    void renumber(std::uint64_t handle, std::uint64_t number) {
        streams.add(streams.take(*streams.findHandle(handle)), number);
    }
    std::uint64_t handleOf(std::uint64_t number) const {
        ClientStream const* const stream = streams.find(number);
        return stream != nullptr ? stream->handle : 0;
    }
    Numbers numbers() {
        Numbers all;
        streams.forEach([&](const ClientStream& stream) { all.push_back(stream.number); });
        return all;
    }

    test::Inbox inbox;
    OpenStreams streams;
};

TEST_F(OpenStreamsTest, FirstNumberOfARequestIsItsHandle) {
    EXPECT_EQ(handleOf(2), 2U);
    ASSERT_NE(streams.findHandle(2), nullptr);
    EXPECT_EQ(streams.findHandle(2)->number, 2U);
    EXPECT_EQ(streams.find(4), nullptr);
    EXPECT_EQ(streams.findHandle(4), nullptr);
}

TEST_F(OpenStreamsTest, RequestWithAnotherNumberKeepsItsHandle) {
    renumber(1, 4);
    renumber(1, 5);
    EXPECT_EQ(handleOf(5), 1U);
    EXPECT_EQ(streams.find(1), nullptr);
    EXPECT_EQ(streams.find(4), nullptr);
    ASSERT_NE(streams.findHandle(1), nullptr);
    EXPECT_EQ(streams.findHandle(1)->number, 5U);
    EXPECT_EQ(numbers(), (Numbers{2, 3, 5}));
}

TEST_F(OpenStreamsTest, TakenRequestIsNotFound) {
    renumber(1, 4);
    EXPECT_EQ(streams.take(*streams.find(4))->handle, 1U);
    EXPECT_EQ(streams.take(*streams.find(2))->handle, 2U);
    EXPECT_EQ(streams.findHandle(1), nullptr);
    EXPECT_EQ(streams.findHandle(2), nullptr);
    EXPECT_EQ(numbers(), Numbers{3});
}

TEST_F(OpenStreamsTest, FunctionMayTakeItsRequestAndAddItAgain) {
    Numbers seen;
    std::uint64_t next = 4;
    streams.forEach([&](const ClientStream& stream) {
        seen.push_back(stream.number);
        if (stream.number <= 3) {
            streams.add(streams.take(stream), next++);
        }
    });
    EXPECT_EQ(seen, (Numbers{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(numbers(), (Numbers{4, 5, 6}));
}

TEST_F(OpenStreamsTest, RequestsAreSelectedByACondition) {
    const auto isOdd = [](const ClientStream& stream) { return stream.number % 2 == 1; };
    ASSERT_NE(streams.findIf(isOdd), nullptr);
    EXPECT_EQ(streams.findIf(isOdd)->number, 1U);
    EXPECT_EQ(streams.takeIf(isOdd).size(), 2U);
    EXPECT_EQ(streams.findIf(isOdd), nullptr);
    EXPECT_EQ(numbers(), Numbers{2});
}

TEST_F(OpenStreamsTest, ClearRemovesAllRequests) {
    renumber(1, 4);
    EXPECT_FALSE(streams.isEmpty());
    streams.clear();
    EXPECT_TRUE(streams.isEmpty());
    EXPECT_EQ(streams.findHandle(1), nullptr);
    EXPECT_TRUE(inbox.waitForLast().empty());
}

}  // namespace
}  // namespace kova::nats::detail
