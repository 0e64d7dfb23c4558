#pragma once

#include <benchmark/benchmark.h>

namespace kova::bench {

/// Returns the number of allocations since the program started, on all threads.
unsigned long allocations() noexcept;

/// A meter of the heap memory that is allocated and not freed during its lifetime, on all threads.
/// It counts block sizes as the allocator rounds them up. Only one meter may exist at a time, and
/// blocks that were allocated before must not be freed during its lifetime. Without a meter, sizes
/// are not counted, because that takes time.
class HeapMeter {
public:
    HeapMeter() noexcept;
    ~HeapMeter();
    HeapMeter(const HeapMeter&) = delete;
    HeapMeter& operator=(const HeapMeter&) = delete;

    /// Returns the number of bytes so far.
    unsigned long bytes() const noexcept;
};

/// A guard that reports the number of allocations per iteration during its lifetime, as the counter
/// "allocations" of the benchmark.
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
