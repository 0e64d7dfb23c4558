#pragma once

namespace kova::test {

/// While it lives, memory runs out on this thread: the first `successes` allocations through any
/// form of `operator new` succeed, then one fails or all later ones do. One at a time. A test
/// program that uses it lists `support/FailingAllocations.cpp`, which replaces the operators.
class FailingAllocations {
public:
    enum class Mode { FromThenOn, Once };

    explicit FailingAllocations(long successes, Mode mode = Mode::FromThenOn) noexcept;
    ~FailingAllocations();
    FailingAllocations(const FailingAllocations&) = delete;
    FailingAllocations& operator=(const FailingAllocations&) = delete;

    /// How many allocations failed since it was made.
    static long failures() noexcept;
    /// How many blocks that this thread allocated, less those that it freed.
    static long liveBlocks() noexcept;
};

/// Calls `attempt` with no allocation succeeding, then one, then two and so on, until it returns
/// true for success; gives the number of attempts that failed. `attempt` must not use the test
/// framework, which allocates too.
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
