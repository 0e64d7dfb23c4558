#include "nats/Dialers.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <future>
#include <thread>

namespace kova::nats::detail {
namespace {

std::promise<void>& exitBegins() {
    static auto& promise = *new std::promise<void>;  // the end of the process must not destroy it
    return promise;
}

// A thread that connects says so when the end of the process has begun.
void exitWhileConnecting() {
    Dialers::shared().run([] {
        exitBegins().get_future().wait();
        std::fputs("connected", stderr);
    });
    Dialers::waitAtExit(false);
    std::atexit([] { exitBegins().set_value(); });  // the functions are called in reverse order
    std::exit(0);
}

void dialAfterTheEndHasBegun() {
    std::atexit([] { Dialers::shared().run([] { std::fputs("too late", stderr); }); });
    Dialers::waitAtExit(false);
    std::exit(0);
}

TEST(DialersTest, TasksRunOnOtherThreads) {
    std::promise<std::thread::id> id;
    Dialers::shared().run([&] { id.set_value(std::this_thread::get_id()); });
    EXPECT_NE(id.get_future().get(), std::this_thread::get_id());
}

TEST(DialersDeathTest, EndOfTheProcessWaitsForThreadsThatConnect) {
    EXPECT_EXIT(exitWhileConnecting(), ::testing::ExitedWithCode(0), "connected");
}

TEST(DialersDeathTest, NoThreadBeginsToConnectWhileTheProcessEnds) {
    EXPECT_EXIT(dialAfterTheEndHasBegun(), ::testing::ExitedWithCode(0), "^$");
}

}  // namespace
}  // namespace kova::nats::detail
