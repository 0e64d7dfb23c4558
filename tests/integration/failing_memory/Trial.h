#pragma once

#include <gtest/gtest.h>

#include <new>
#include <ostream>

#include "support/FailingAllocations.h"

namespace kova::test {

/// Possible outcomes of an operation.
enum Outcome : unsigned int {
    DONE = 1,
    /// The operation reports the failure, by its result or by a missing entry.
    FAILED = 2,
    /// The operation throws `std::bad_alloc`.
    THROWN = 4,
    /// The operation calls the abort handler with "New call failed, OOM".
    STOPPED = 8
};

/// The exception that the fixture's abort handler throws instead of ending the process.
struct Stopped {};

/// One run of an operation during which allocations fail.
class Trial {
public:
    Trial(long successes, FailingAllocations::Mode mode) noexcept
        : successes_(successes), mode_(mode) {}

    /// Runs `operation`, which must return true on failure. It must not use the test framework,
    /// which allocates memory, too.
    template <typename Operation>
    void attempt(Operation operation) {
        const FailingAllocations failing(successes_, mode_);
        outcome_ = outcomeOf(operation);
        failures_ = FailingAllocations::failures();
    }

    Outcome outcome() const noexcept { return outcome_; }
    bool isDone() const noexcept { return outcome_ == DONE; }
    /// Returns the number of allocations that failed.
    long failures() const noexcept { return failures_; }

private:
    template <typename Operation>
    static Outcome outcomeOf(Operation& operation) {
        try {
            return operation() ? FAILED : DONE;
        } catch (const std::bad_alloc&) {
            return THROWN;
        } catch (const Stopped&) {
            return STOPPED;
        }
    }

    long successes_;
    FailingAllocations::Mode mode_;
    Outcome outcome_ = DONE;
    long failures_ = 0;
};

/// An operation and its documented outcomes when memory runs out.
struct Operation {
    char const* name;
    /// A combination of outcomes, or 0 for an operation that does not allocate. `DONE` is always
    /// allowed, because the allocation may be optional or a later one may succeed.
    unsigned int documented;
    /// Prepares the operation, calls `attempt` once, and checks its effects: a failed operation
    /// has only the documented effects, and all objects involved can be used again.
    void (*run)(Trial&);
};

inline void PrintTo(const Operation& operation, std::ostream* out) {
    *out << operation.name;
}

/// The fixture of the test in FailingMemoryTest.cpp. The other files of this folder instantiate it
/// with their operations.
class FailingMemory : public testing::TestWithParam<Operation> {};

/// Keys that are too long for the inline storage of a string.
constexpr char const* KEY = "a key that is too long to be kept inside of a string";
constexpr char const* OTHER_KEY = "b, another key that is too long for that";

}  // namespace kova::test
