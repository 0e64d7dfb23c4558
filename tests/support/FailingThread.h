#pragma once

namespace kova::test {

/// Makes one allocation of one thread fail, whatever that thread runs. Without sanitizers, those of
/// C libraries (`malloc`, `calloc`, `realloc`) count, too; with a sanitizer only `operator new`. A
/// program that uses it must list `support/FailingThread.cpp` as a source, which replaces these
/// functions.
class FailingThread {
public:
    FailingThread() = delete;

    /// Chooses the calling thread, in addition to those chosen before.
    static void chooseThisThread() noexcept;
    /// Lets the given number of allocations of the chosen threads succeed, and the next one fail.
    static void failAfter(long successes) noexcept;
    /// Ends `failAfter`. Returns whether the allocation has failed.
    static bool stop() noexcept;
};

}  // namespace kova::test
