#include "CallLoop.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

namespace kova::tool {
namespace {

using std::chrono::milliseconds;
using Reason = CallLoop::Reason;

class CallLoopTest : public testing::Test {
protected:
    ~CallLoopTest() override {
        ::close(pipe_[0]);
        ::close(pipe_[1]);
    }
    void interrupt() const { EXPECT_EQ(::write(pipe_[1], "", 1), 1); }

    static std::array<int, 2> openPipe() {
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe(ends.data()), 0);
        return ends;
    }

    const std::array<int, 2> pipe_ = openPipe();
    std::function<void()> again;  // outlives the loop, which calls it while stopping
    CallLoop loop{pipe_[0]};
};

TEST_F(CallLoopTest, ConditionIsCheckedBeforeInterruptAndDeadline) {
    interrupt();
    EXPECT_EQ(loop.run([] { return true; }, CallLoop::Clock::now()), Reason::holds);
}

TEST_F(CallLoopTest, PostedFunctionsRunInsideRun) {
    bool isCalled = false;
    ASSERT_TRUE(loop.executor().tryPost([&] { isCalled = true; }));
    EXPECT_EQ(loop.run([&] { return isCalled; }, std::nullopt), Reason::holds);
}

TEST_F(CallLoopTest, InterruptEndsTheRun) {
    interrupt();
    EXPECT_EQ(loop.run([] { return false; }, std::nullopt), Reason::interrupted);
}

TEST_F(CallLoopTest, DeadlineEndsTheRun) {
    const auto until = CallLoop::Clock::now() + milliseconds(5);
    EXPECT_EQ(loop.run([] { return false; }, until), Reason::timedOut);
    EXPECT_GE(CallLoop::Clock::now(), until);
}

TEST_F(CallLoopTest, DeadlineEndsTheRunAlthoughCallbacksAreReady) {
    again = [this] { loop.executor().tryPost(again); };
    again();
    EXPECT_EQ(loop.run([] { return false; }, CallLoop::Clock::now() + milliseconds(5)),
              Reason::timedOut);
}

TEST_F(CallLoopTest, FinishIgnoresTheInterrupt) {
    interrupt();
    int rounds = 0;
    ASSERT_TRUE(loop.executor().tryPost([&] { ++rounds; }));
    loop.finish([&] { return rounds > 0; }, milliseconds(10000));
    EXPECT_EQ(rounds, 1);
}

}  // namespace
}  // namespace kova::tool
