#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Guards.h"
#include "Trial.h"

// Runs the operations of FailingMemoryTest, but each run is the first use of the libraries in its
// process. Objects that the libraries create once, at first use, are therefore also created without
// memory. The process of this program never runs an operation itself; every run has a child
// process.

namespace kova::test {
namespace {

using Mode = FailingAllocations::Mode;

/// A number that exceeds the number of allocations of each operation.
constexpr long LIMIT = 10000;
/// A flag in addition to the outcome: no allocation failed.
constexpr int NO_FAILURE = 16;
constexpr int TEST_FAILED = 32;

/// Runs the operation in a separate process. Returns its exit status, or -1 if it was killed.
int runOnce(const Operation& operation, long successes, Mode mode) {
    const pid_t child = fork();
    if (child == 0) {
        Trial trial(successes, mode);
        operation.run(trial);
        _exit(static_cast<int>(trial.outcome()) | (trial.failures() == 0 ? NO_FAILURE : 0) |
              (testing::Test::HasFailure() ? TEST_FAILED : 0));
    }
    int status = 0;
    const bool hasEnded = child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status);
    return hasEnded ? WEXITSTATUS(status) : -1;
}

void failEach(const Operation& operation, Mode mode) {
    for (long successes = 0; successes < LIMIT; ++successes) {
        const int status = runOnce(operation, successes, mode);
        ASSERT_NE(status, -1) << "the process ended after " << successes;
        ASSERT_EQ(status & TEST_FAILED, 0) << "after " << successes;
        if ((status & NO_FAILURE) != 0) {
            EXPECT_EQ(status & ~NO_FAILURE, static_cast<int>(DONE));
            return;
        }
        const auto outcome = static_cast<unsigned int>(status);
        ASSERT_TRUE(outcome == DONE || (operation.documented & outcome) != 0)
            << "outcome " << outcome << " after " << successes;
    }
    FAIL() << "it never succeeds";
}

TEST_P(FailingMemory, OperationHasADocumentedOutcomeInANewProcess) {
    const DiscardedReports discarded;
    const StopHandler handler;
    failEach(GetParam(), Mode::FromThenOn);
    failEach(GetParam(), Mode::Once);
}

}  // namespace
}  // namespace kova::test
