#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Guards.h"
#include "Trial.h"

// The same sweep, but each run is the first thing that its process does with the libraries: what
// they make once for all, at first use, is made without memory too. This program's own process
// never runs an operation; every run has a copy of it.

namespace kova::test {
namespace {

using Mode = FailingAllocations::Mode;

/// More allocations than any of the operations takes.
constexpr long LIMIT = 10000;
/// Beside the outcome: no allocation failed.
constexpr int NO_FAILURE = 16;
constexpr int TEST_FAILED = 32;

/// Runs the operation in a process of its own. Returns its exit status, or -1 when it was killed.
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

TEST_P(FailingMemory, EndsAsDocumentedInAColdProcess) {
    const DiscardedReports discarded;
    const StopHandler handler;
    failEach(GetParam(), Mode::FromThenOn);
    failEach(GetParam(), Mode::Once);
}

}  // namespace
}  // namespace kova::test
