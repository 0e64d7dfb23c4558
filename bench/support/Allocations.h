#pragma once

#include <benchmark/benchmark.h>

namespace kova::bench {

/// How often memory was asked for since the program started, on all threads.
unsigned long allocations() noexcept;

/// Weighs the memory that is got and kept while it lives, on all threads, as the allocator rounds
/// it up. One at a time; what is freed meanwhile must not be older. Nothing is weighed at other
/// times, for that takes time.
class Scales {
public:
    Scales() noexcept;
    ~Scales();
    Scales(const Scales&) = delete;
    Scales& operator=(const Scales&) = delete;

    unsigned long bytes() const noexcept;
};

/// Reports the allocations an iteration since it was made as the counter "allocations".
class AllocationCounter {
public:
    explicit AllocationCounter(benchmark::State& state) : state_(state), before_(allocations()) {}
    ~AllocationCounter() {
        state_.counters["allocations"] = benchmark::Counter(
            static_cast<double>(allocations() - before_), benchmark::Counter::kAvgIterations);
    }
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

private:
    benchmark::State& state_;
    unsigned long before_;
};

}  // namespace kova::bench
