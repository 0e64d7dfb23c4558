#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>
#include <utility>

#include "support/Allocations.h"

/// How a benchmark program enters its rows: one `contest` for each way of doing the same thing.
///
/// A case is a row of bench/RESULTS.md, a contestant one of its columns: "kova", "plain" (short
/// code of ours that does only this), or the name of a library. What a contestant needs is made
/// before the clock starts:
///
///     const Entries ENTRIES([] {
///         contest("date-time parse", "kova", [] {
///             return [texts = Cycle(texts())]() mutable { return parseDateTime(texts.next()); };
///         });
///     });
namespace kova::bench {

/// Enters a contestant. `make()` gives the work, a callable whose result is kept from the
/// optimizer; `bytes` is how much text or data one call goes through, if that is of interest.
template <typename Make>
benchmark::internal::Benchmark* contest(const std::string& road, const std::string& contestant,
                                        Make make, std::size_t bytes = 0) {
    return benchmark::RegisterBenchmark(
        (road + "/" + contestant).c_str(), [make, bytes](benchmark::State& state) {
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

/// Enters a contestant of a road that is not about time, but about the memory that the result of
/// `make()` holds: as a multiple of `bytes`, and for each of the `nodes` that it has.
template <typename Make>
void weighing(const std::string& road, const std::string& contestant, Make make, std::size_t bytes,
              std::size_t nodes) {
    benchmark::RegisterBenchmark((road + "/" + contestant).c_str(), [make, bytes, nodes](
                                                                        benchmark::State& state) {
        auto work = make();
        benchmark::DoNotOptimize(work());  // what it keeps for the next call does not count
        for (auto _ : state) {
            const Scales scales;
            const auto result = work();
            const auto held = static_cast<double>(scales.bytes());
            state.counters["held"] = held / static_cast<double>(bytes);
            state.counters["held_per_node"] = held / static_cast<double>(nodes);
        }
    })->Iterations(1);
}

/// Runs a function while the program starts, in which the file enters its contestants.
struct Entries {
    template <typename Enter>
    explicit Entries(Enter enter) {
        enter();
    }
};

}  // namespace kova::bench
