#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "zel/ErrorOutput.h"
#include "zel/ErrorStorage.h"

namespace {

using zel::ErrorOutput;
using zel::ErrorReport;
using zel::ErrorStorage;

constexpr zel::ErrorID TABLE[] = {{0, "'%s' of a text that does not fit a small string", 1}};
constexpr zel::ErrorType TYPE("Test", TABLE);

constexpr int THREADS = 4;
constexpr int REPORTS = 2000;

TEST(ErrorOutputConcurrentTest, EveryReportReachesASinkWhileSinksAreReplaced) {
    std::atomic<int> reached{0};
    // Each sink has its own state, which must outlive all calls of the sink.
    const auto makeSink = [&reached] {
        return [&reached, witness = std::make_shared<std::string>(64, 'x')](const ErrorReport& r) {
            EXPECT_EQ(witness->size(), 64U);
            EXPECT_EQ(r.type, "Test");
            ++reached;
        };
    };
    ErrorOutput::setSink(makeSink());

    std::atomic<bool> done{false};
    std::vector<std::thread> replacing;
    std::vector<std::thread> reporting;
    for (int t = 0; t < THREADS; ++t) {
        replacing.emplace_back([&] {
            while (!done) {
                EXPECT_TRUE(ErrorOutput::setSink(makeSink()));
            }
        });
        reporting.emplace_back([&, name = std::to_string(t)] {
            for (int i = 0; i < REPORTS; ++i) {
                ErrorOutput("src/Somewhere", i, true)(TYPE, 0, name);
                ASSERT_EQ(ErrorStorage::current().line(), i);
                ASSERT_EQ(ErrorStorage::current().reason().substr(0, 3), "'" + name + "'");
            }
        });
    }
    for (auto& thread : reporting) {
        thread.join();
    }
    done = true;
    for (auto& thread : replacing) {
        thread.join();
    }
    ErrorOutput::setSink({});
    EXPECT_EQ(reached, THREADS * REPORTS);
}

TEST(ErrorOutputConcurrentTest, SinkIsCalledWithoutALock) {
    // The sink waits for another thread's report, which would deadlock if a lock were held.
    std::atomic<int> calls{0};
    ErrorOutput::setSink([&calls](const ErrorReport&) {
        if (++calls == 1) {
            std::thread([] { ErrorOutput("src/Other", 1, true)(TYPE, 0, "other"); }).join();
        }
    });
    ErrorOutput("src/Somewhere", 1, false)(TYPE, 0, "one");
    ErrorOutput::setSink({});
    EXPECT_EQ(calls, 2);
}

}  // namespace
