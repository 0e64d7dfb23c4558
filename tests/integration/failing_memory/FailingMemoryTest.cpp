#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "Guards.h"
#include "Trial.h"
#include "kova/core/Path.h"
#include "zel/ErrorStorage.h"

// Makes each allocation of each public operation fail, alone or together with all later ones. The
// operation must end in one of its documented outcomes and must not leak memory. The operations are
// in the other files of this folder.

namespace kova::test {
namespace {

using Mode = FailingAllocations::Mode;

constexpr long NEVER = -1;
/// An upper limit for the number of allocations of an operation.
constexpr long LIMIT = 10000;

/// Runs the operation and checks that it leaks no memory.
Trial runOnce(const Operation& operation, long successes, Mode mode) {
    Trial trial(successes, mode);
    const long before = FailingAllocations::liveBlocks();
    operation.run(trial);
    // The latest error may own a text.
    zel::ErrorStorage::current().acknowledge();
    if (!testing::Test::HasFailure()) {  // a failure message allocates memory
        EXPECT_EQ(FailingAllocations::liveBlocks(), before) << "after " << successes;
    }
    return trial;
}

/// Runs the operation repeatedly, so that each of its allocations fails once.
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
    FAIL() << "the operation never succeeds";
}

TEST_P(FailingMemory, OperationHasADocumentedOutcomeAndLeaksNoMemory) {
    const DiscardedReports discarded;
    const StopHandler handler;
    // The first run creates the objects that are created once, on first use.
    Trial first(NEVER, Mode::FromThenOn);
    GetParam().run(first);
    ASSERT_EQ(first.outcome(), DONE);
    failEach(GetParam(), Mode::FromThenOn);
    failEach(GetParam(), Mode::Once);
}

TEST(FailingMemoryTest, GuardFailsOneOrAllAllocationsAfterAGivenNumber) {
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

// These functions are noexcept, so the process terminates when memory runs out.
TEST(FailingMemoryDeathTest, PathFunctionsTerminateTheProcess) {
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
