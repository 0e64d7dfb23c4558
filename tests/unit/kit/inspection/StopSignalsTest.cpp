#include "kova/kit/StopSignals.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <thread>

namespace kova::kit {
namespace {

using namespace std::chrono_literals;

bool isReadable(int descriptor) {
    pollfd source = {descriptor, POLLIN, 0};
    return poll(&source, 1, 0) > 0;
}

TEST(StopSignals, EveryWaitAfterTheFirstSignalReturnsTrueAtOnce) {
    for (const int signal : {SIGINT, SIGTERM}) {
        const StopSignals stop;
        EXPECT_FALSE(stop.received());
        EXPECT_FALSE(stop.wait(1ms));
        EXPECT_FALSE(isReadable(stop.descriptor()));
        raise(signal);
        raise(signal);
        EXPECT_TRUE(stop.received());
        EXPECT_TRUE(stop.wait());
        EXPECT_TRUE(stop.wait(1h));
        EXPECT_TRUE(isReadable(stop.descriptor()));
    }
}

TEST(StopSignals, RepeatedSignalsDoNotEndTheProcess) {
    const StopSignals stop;
    for (int i = 0; i < 70000; ++i) {
        raise(SIGINT);
    }
    EXPECT_TRUE(stop.received());
}

TEST(StopSignals, DestructorDiscardsTheArrivedSignals) {
    {
        const StopSignals stop;
        raise(SIGINT);
        raise(SIGTERM);
    }
    const StopSignals stop;
    EXPECT_FALSE(stop.received());
}

TEST(StopSignals, SignalEndsARunningWait) {
    const StopSignals stop;
    std::thread sender([] { kill(getpid(), SIGTERM); });
    EXPECT_TRUE(stop.wait(1min));
    sender.join();
}

TEST(StopSignals, AnotherThreadMayWait) {
    const StopSignals stop;
    bool received = false;
    std::thread waiter([&] { received = stop.wait(1min); });
    kill(getpid(), SIGINT);
    waiter.join();
    EXPECT_TRUE(received);
}

TEST(StopSignals, DestructorRestoresTheDefaultAction) {
    const pid_t child = fork();
    if (child == 0) {
        std::signal(SIGINT, SIG_DFL);  // a shell starts background jobs with SIGINT ignored
        { const StopSignals stop; }
        raise(SIGINT);
        _exit(0);
    }
    ASSERT_GT(child, 0);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGINT);
}

}  // namespace
}  // namespace kova::kit
