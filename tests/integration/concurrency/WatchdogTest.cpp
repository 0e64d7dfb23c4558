#include "support/Watchdog.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <thread>

namespace {

using kova::test::Watchdog;
using std::chrono::milliseconds;

TEST(WatchdogDeathTest, HangAbortsTheProcessAndPrintsThePhase) {
    EXPECT_DEATH(
        {
            const Watchdog watchdog("waiting forever", milliseconds(20));
            std::promise<void>().get_future().wait();
        },
        "hang while waiting forever");
}

TEST(WatchdogDeathTest, ProcessThatMakesProgressIsNotAborted) {
    EXPECT_EXIT(
        {
            Watchdog watchdog("turning", milliseconds(2000));
            const auto end = std::chrono::steady_clock::now() + milliseconds(3000);
            while (std::chrono::steady_clock::now() < end) {
                watchdog.progress();
                std::this_thread::yield();
            }
            std::_Exit(0);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
