#pragma once

namespace kova::test {

/// Makes one allocation of the chosen threads fail. Without sanitizers, every call of `malloc`,
/// `calloc` and `realloc` is an allocation, also those of C libraries; with a sanitizer, only calls
/// of `operator new` are. A program that uses this class must list `support/FailingThread.cpp` as a
/// source, which replaces these functions.
class FailingThread {
public:
    FailingThread() = delete;

    /// Chooses the calling thread, in addition to those chosen before.
    static void chooseThisThread() noexcept;
    /// Lets the given number of allocations of the chosen threads succeed, and the next one fail.
    static void failAfter(long successes) noexcept;
    /// Undoes `failAfter`. Returns whether an allocation has failed.
    static bool stop() noexcept;
};

}  // namespace kova::test
