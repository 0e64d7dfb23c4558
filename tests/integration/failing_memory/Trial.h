#pragma once

#include <gtest/gtest.h>

#include <new>
#include <ostream>

#include "support/FailingAllocations.h"

namespace kova::test {

/// How an operation may end.
enum Outcome : unsigned int {
    DONE = 1,
    /// It says so: with its result, or by the entry that is not there.
    FAILED = 2,
    /// `std::bad_alloc` left it.
    THROWN = 4,
    /// It would have ended the process: "New call failed, OOM".
    STOPPED = 8
};

/// What the fixture's abort handler throws in place of ending the process.
struct Stopped {};

/// One run of an operation during which memory fails.
class Trial {
public:
    Trial(long successes, FailingAllocations::Mode mode) noexcept
        : successes_(successes), mode_(mode) {}

    /// Runs `operation`, which returns true for a failure and does not use the test framework, for
    /// that allocates too.
    template <typename Operation>
    void attempt(Operation operation) {
        const FailingAllocations failing(successes_, mode_);
        outcome_ = outcomeOf(operation);
        failures_ = FailingAllocations::failures();
    }

    Outcome outcome() const noexcept { return outcome_; }
    bool isDone() const noexcept { return outcome_ == DONE; }
    /// How many allocations failed.
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

/// An operation, and how it may end when memory fails: a combination of outcomes, or 0 for one that
/// takes no memory. An outcome of `DONE` is always right: where memory is only hinted at, or when
/// later allocations succeed.
struct Operation {
    char const* name;
    unsigned int documented;
    /// Prepares what it needs, calls `attempt` once, and checks what is left: nothing of a failed
    /// operation but what is documented, and everything that it used can be used again.
    void (*run)(Trial&);
};

inline void PrintTo(const Operation& operation, std::ostream* out) {
    *out << operation.name;
}

/// Its test stands in FailingMemoryTest.cpp; the files beside it instantiate it with operations.
class FailingMemory : public testing::TestWithParam<Operation> {};

/// Longer than what a string holds without memory.
constexpr char const* KEY = "a key that is too long to be kept inside of a string";
constexpr char const* OTHER_KEY = "b, another key that is too long for that";

}  // namespace kova::test
