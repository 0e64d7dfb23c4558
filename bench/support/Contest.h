#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>
#include <utility>

#include "support/Allocations.h"

/// Functions that register the benchmarks of a program: a case with several contestants that do the
/// same thing in different ways.
///
/// A case is a row of bench/RESULTS.md. A contestant is one of its columns: "kova", "plain" (our
/// own short code for this case only), or the name of a library. The outer function of a contestant
/// runs before the measurement and returns the function that is measured:
///
///     const Entries ENTRIES([] {
///         contest("date-time parse", "kova", [] {
///             return [texts = Cycle(texts())]() mutable { return parseDateTime(texts.next()); };
///         });
///     });
namespace kova::bench {

/// Registers a contestant. `make()` returns the function to be measured, whose result is protected
/// from the optimizer. `bytes` is the amount of text or data that one call processes, or 0 if no
/// rate is reported.
template <typename Make>
benchmark::internal::Benchmark* contest(const std::string& caseName, const std::string& contestant,
                                        Make make, std::size_t bytes = 0) {
    return benchmark::RegisterBenchmark(
        (caseName + "/" + contestant).c_str(), [make, bytes](benchmark::State& state) {
            auto work = make();
            // The first call may fill caches and pools that later ones use.
            benchmark::DoNotOptimize(work());
            const AllocationCounter counter(state);
            for (auto _ : state) {
                benchmark::DoNotOptimize(work());
            }
            if (bytes != 0) {
                state.SetBytesProcessed(static_cast<std::int64_t>(
                    static_cast<std::size_t>(state.iterations()) * bytes));
            }
        });
}

/// Registers a contestant whose memory is measured instead of its time: the heap memory of the
/// result of the function that `make()` returns. It is reported as a multiple of `bytes` and per
/// node for `nodes` nodes. Nothing is registered if `nodes` is 0.
template <typename Make>
void measureHeap(const std::string& caseName, const std::string& contestant, Make make,
                 std::size_t bytes, std::size_t nodes) {
    if (nodes == 0) {
        return;
    }
    benchmark::RegisterBenchmark(
        (caseName + "/" + contestant).c_str(),
        [make, bytes, nodes](benchmark::State& state) {
            auto work = make();
            benchmark::DoNotOptimize(work());  // memory that is kept for later calls is not counted
            for (auto _ : state) {
                const HeapMeter meter;
                const auto result = work();
                const auto held = static_cast<double>(meter.bytes());
                state.counters["held"] = held / static_cast<double>(bytes);
                state.counters["held_per_node"] = held / static_cast<double>(nodes);
            }
        })
        ->Iterations(1);
}

/// A static object whose constructor calls a function that registers the contestants of a file.
struct Entries {
    template <typename Enter>
    explicit Entries(Enter enter) {
        enter();
    }
};

}  // namespace kova::bench
