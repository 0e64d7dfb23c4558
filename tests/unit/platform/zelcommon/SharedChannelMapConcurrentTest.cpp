#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tracing/Channel.h"
#include "tracing/SharedChannelMap.h"

namespace {

using tracing::Channel;
using tracing::SharedChannelMap;

constexpr int ROUNDS = 500;

TEST(SharedChannelMapConcurrentTest, AllOperationsCanRunConcurrently) {
    auto& channels = SharedChannelMap::instance();
    std::atomic<int> wrong{0};
    std::atomic<int> messages{0};
    const tracing::Sink sink = [&](const tracing::Message& message) {
        wrong += message.channel.substr(0, 5) == "BUSY_" ? 0 : 1;
        ++messages;
    };
    tracing::setSink(sink);
    const Channel always("BUSY_ALWAYS", 0, 0);

    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < ROUNDS; ++i) {
                Channel* const shared = channels.map("BUSY_SHARED");
                shared->trace(2, "%d", i);
                wrong += shared->name() == "BUSY_SHARED" ? 0 : 1;
                channels.unmap("BUSY_SHARED");
                const Channel own("BUSY_OWN", 7, Channel::SHARED);
                own.trace(2, "%d", i);
                always.trace(0, "%d", i);
            }
        });
        threads.emplace_back([&, t] {
            for (int i = 0; i < ROUNDS; ++i) {
                channels.setLevel(t % 2 == 0 ? "BUSY_S*" : "BUSY_O*", i % 8);
                tracing::setSink(sink);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    tracing::setSink({});
    EXPECT_EQ(wrong, 0);
    EXPECT_GE(messages, 4 * ROUNDS) << "messages of the channel that is always enabled were lost";
    EXPECT_EQ(channels.setLevel("BUSY_*", 7), 0U) << "a reference was not released";
}

}  // namespace
