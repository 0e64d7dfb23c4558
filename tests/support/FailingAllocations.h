#pragma once

namespace kova::test {

/// A guard that simulates running out of memory on the calling thread. The first `successes`
/// allocations through any form of `operator new` succeed; then either one allocation or all of
/// them fail. Only one guard may exist per thread. A program that uses it must list
/// `support/FailingAllocations.cpp` as a source, which replaces the operators.
class FailingAllocations {
public:
    enum class Mode { FromThenOn, Once };

    explicit FailingAllocations(long successes, Mode mode = Mode::FromThenOn) noexcept;
    ~FailingAllocations();
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;

    /// Returns the number of allocations that failed since the latest guard was constructed.
    static long failures() noexcept;
    /// Returns the number of blocks that this thread allocated minus the number that it freed.
    static long liveBlocks() noexcept;
};

/// Calls `attempt` repeatedly until it returns true: in the first call every allocation fails, in
/// the second call every allocation except the first one, and so on. Returns the number of calls
/// that returned false. `attempt` must not use the test framework, which allocates memory, too.
template <typename Attempt>
long failEveryAllocation(Attempt attempt) {
    for (long successes = 0;; ++successes) {
        bool succeeded = false;
        {
            const FailingAllocations failing(successes);
            succeeded = attempt();
        }
        if (succeeded) {
            return successes;
        }
    }
}

}  // namespace kova::test
