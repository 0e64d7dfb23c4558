#include "calls/BlockWatch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "calls/Threads.h"
#include "kova/testing/ManualClock.h"
#include "osal/AlarmTimer.h"
#include "support/Traces.h"

namespace kova::kit::detail {
namespace {

using namespace std::chrono_literals;
using Trace = test::Traces::Trace;

struct Named : Task {
    void run() noexcept override {}
    void done() noexcept override {}
    std::string label() const override { return "callback of retrieve '/state'"; }
};

class BlockWatchTest : public ::testing::Test {
protected:
    const std::string text = "callback of retrieve '/state' has blocked thread " +
                             std::to_string(thisThread().number) + " of its executor for 1 s";

    test::Traces traces{"KOVA_KIT_CALLS", 5};
    kova::testing::ManualClock clock;
    osal::AlarmTimer timer{clock};
    BlockWatch watch{timer};
    Named task;
};

TEST_F(BlockWatchTest, TaskThatBlocksIsTracedOnce) {
    const BlockWatch::Running running(watch, task);
    clock.advance(1s);
    EXPECT_TRUE(traces.take().empty()) << "it may have run for much less than a second";
    clock.advance(1s);
    EXPECT_EQ(traces.take(), (std::vector<Trace>{{5, text}}));
    clock.advance(5s);
    EXPECT_TRUE(traces.take().empty());
}

TEST_F(BlockWatchTest, ShortTasksAreNotTraced) {
    for (int i = 0; i < 5; ++i) {
        { const BlockWatch::Running running(watch, task); }
        clock.advance(1s);
    }
    EXPECT_TRUE(traces.take().empty());
}

TEST_F(BlockWatchTest, BlockedTaskAfterAnIdlePeriodIsTraced) {
    { const BlockWatch::Running running(watch, task); }
    clock.advance(10s);
    const BlockWatch::Running running(watch, task);
    clock.advance(1s);
    clock.advance(1s);
    EXPECT_EQ(traces.take(), (std::vector<Trace>{{5, text}}));
}

TEST_F(BlockWatchTest, EachTaskThatBlocksIsTraced) {
    const BlockWatch::Running first(watch, task);
    const BlockWatch::Running second(watch, task);
    clock.advance(1s);
    clock.advance(1s);
    EXPECT_EQ(traces.take(), (std::vector<Trace>{{5, text}, {5, text}}));
}

}  // namespace
}  // namespace kova::kit::detail
