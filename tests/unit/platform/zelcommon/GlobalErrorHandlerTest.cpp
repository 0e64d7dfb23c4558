#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "support/Allocations.h"
#include "zel/GlobalErrorHandler.h"

namespace {

using zel::GlobalErrorHandler;

[[noreturn]] void abortSomewhere() {
    GlobalErrorHandler::doAbort("src/Somewhere", "somewhere", "New call failed, OOM");
}

void announce(char const* file, char const* function, char const* message) {
    std::fprintf(stderr, "[%s|%s|%s]\n", file, function, message);
}

[[noreturn]] void leave(char const*, char const*, char const*) {
    _exit(7);
}

[[noreturn]] void throwMessage(char const* file, char const* function, char const* message) {
    throw std::runtime_error(std::string(file) + '|' + function + '|' + message);
}

void abortAgain(char const*, char const*, char const*) {
    GlobalErrorHandler::doAbort("src/Handler", "abortAgain", "no disk");
}

class GlobalErrorHandlerDeathTest : public testing::Test {
protected:
    ~GlobalErrorHandlerDeathTest() override { GlobalErrorHandler::setHandler(nullptr); }
};
using GlobalErrorHandlerTest = GlobalErrorHandlerDeathTest;

TEST_F(GlobalErrorHandlerDeathTest, DefaultHandlerWritesTheReasonAndAborts) {
    EXPECT_EXIT(abortSomewhere(), testing::KilledBySignal(SIGABRT),
                "^src/Somewhere: somewhere: New call failed, OOM\n");
}

TEST_F(GlobalErrorHandlerDeathTest, DefaultHandlerDoesNotAllocate) {
    EXPECT_EXIT(
        {
            const kova::test::NoMemory noMemory;
            abortSomewhere();
        },
        testing::KilledBySignal(SIGABRT), "New call failed, OOM");
}

TEST_F(GlobalErrorHandlerDeathTest, AbortsWhenTheHandlerReturns) {
    GlobalErrorHandler::setHandler(announce);
    // If the test runs in an emulator, the emulator appends its own message.
    EXPECT_EXIT(abortSomewhere(), testing::KilledBySignal(SIGABRT),
                "^\\[src/Somewhere\\|somewhere\\|New call failed, OOM\\]\n(qemu: [^\n]*\n)?$");
}

TEST_F(GlobalErrorHandlerDeathTest, HandlerCanExitTheProcess) {
    GlobalErrorHandler::setHandler(leave);
    EXPECT_EXIT(abortSomewhere(), testing::ExitedWithCode(7), "");
}

TEST_F(GlobalErrorHandlerDeathTest, AbortFromTheHandlerCallsTheDefaultHandler) {
    GlobalErrorHandler::setHandler(abortAgain);
    EXPECT_EXIT(abortSomewhere(), testing::KilledBySignal(SIGABRT),
                "^src/Handler: abortAgain: no disk\n");
}

TEST_F(GlobalErrorHandlerTest, HandlerCanThrowAndIsCalledAgainLater) {
    GlobalErrorHandler::setHandler(throwMessage);
    for (int i = 0; i < 2; ++i) {
        try {
            abortSomewhere();
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "src/Somewhere|somewhere|New call failed, OOM");
        }
    }
}

TEST_F(GlobalErrorHandlerTest, SetHandlerReturnsTheFormerHandler) {
    EXPECT_EQ(GlobalErrorHandler::setHandler(announce), nullptr);
    EXPECT_EQ(GlobalErrorHandler::setHandler(throwMessage), announce);
    EXPECT_EQ(GlobalErrorHandler::setHandler(nullptr), throwMessage);
    EXPECT_EQ(GlobalErrorHandler::setHandler(nullptr), nullptr);
}

}  // namespace
