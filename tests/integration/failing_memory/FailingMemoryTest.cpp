#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>

#include "Trial.h"
#include "kova/core/Path.h"
#include "zel/ErrorOutput.h"
#include "zel/GlobalErrorHandler.h"

// Every public operation that promises something for the case that memory is exhausted keeps it,
// whichever of its allocations fails, alone or with all later ones; those that promise nothing
// leave no memory behind. The operations stand in the files beside this one.

namespace kova::test {
namespace {

using Mode = FailingAllocations::Mode;

constexpr long NEVER = -1;
/// More allocations than any of the operations takes.
constexpr long LIMIT = 10000;

class StopHandler {
public:
    StopHandler() : former_(zel::GlobalErrorHandler::setHandler(stop)) {}
    ~StopHandler() { zel::GlobalErrorHandler::setHandler(former_); }
    StopHandler(const StopHandler&) = delete;
    StopHandler& operator=(const StopHandler&) = delete;

private:
    static void stop(char const*, char const*, char const* message) {
        if (std::string_view(message) == "New call failed, OOM") {
            throw Stopped();
        }
    }

    zel::GlobalErrorHandler::Handler former_;
};

/// Reports go nowhere meanwhile: collecting them would take memory.
class Silence {
public:
    Silence() : former_(zel::ErrorOutput::setSink([](const zel::ErrorReport&) {})) {}
    ~Silence() { zel::ErrorOutput::setSink(std::move(former_)); }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

private:
    zel::ErrorOutput::Sink former_;
};

/// Runs the operation and checks that no block of memory is left over.
Trial runOnce(const Operation& operation, long successes, Mode mode) {
    Trial trial(successes, mode);
    const long before = FailingAllocations::liveBlocks();
    operation.run(trial);
    if (!testing::Test::HasFailure()) {  // which takes memory
        EXPECT_EQ(FailingAllocations::liveBlocks(), before) << "after " << successes;
    }
    return trial;
}

void failEach(const Operation& operation, Mode mode) {
    unsigned int seen = 0;
    for (long successes = 0; successes < LIMIT; ++successes) {
        const Trial trial = runOnce(operation, successes, mode);
        if (trial.failures() == 0) {
            EXPECT_EQ(trial.outcome(), DONE);
            EXPECT_EQ((seen & operation.documented) != 0, operation.documented != 0);
            return;
        }
        seen |= trial.outcome();
        ASSERT_TRUE(trial.isDone() || (operation.documented & trial.outcome()) != 0)
            << "outcome " << trial.outcome() << " after " << successes;
        ASSERT_FALSE(testing::Test::HasFailure()) << "after " << successes;
    }
    FAIL() << "it never succeeds";
}

TEST_P(FailingMemory, EndsAsDocumentedAndLeavesNothingBehind) {
    const Silence silence;
    const StopHandler handler;
    // What is made once for all, at first use, is made here.
    Trial first(NEVER, Mode::FromThenOn);
    GetParam().run(first);
    ASSERT_EQ(first.outcome(), DONE);
    failEach(GetParam(), Mode::FromThenOn);
    failEach(GetParam(), Mode::Once);
}

TEST(FailingMemoryTest, OneAllocationOrAllLaterOnesFail) {
    const auto succeeds = [] {
        void* const block = ::operator new(1, std::nothrow);
        ::operator delete(block);
        return block != nullptr;
    };
    bool results[6] = {};
    {
        const FailingAllocations failing(1, Mode::Once);
        for (int i = 0; i < 3; ++i) {
            results[i] = succeeds();
        }
    }
    EXPECT_EQ(FailingAllocations::failures(), 1);
    {
        const FailingAllocations failing(1, Mode::FromThenOn);
        for (int i = 3; i < 6; ++i) {
            results[i] = succeeds();
        }
    }
    EXPECT_EQ(FailingAllocations::failures(), 2);
    EXPECT_THAT(results, testing::ElementsAre(true, false, true, true, false, false));
}

// They promise that nothing is thrown, and so the process ends.
TEST(FailingMemoryDeathTest, PathsEndTheProcess) {
    const std::string text(KEY);
    const auto without = [](auto operation) {
        const FailingAllocations failing(0);
        operation();
    };
    EXPECT_DEATH(without([&] { Path path(text); }), "");
    EXPECT_DEATH(without([&] { Path::join(text, text); }), "");
    EXPECT_DEATH(without([&] { static_cast<void>(Path::matches(text, "/*")); }), "");
}

}  // namespace
}  // namespace kova::test
