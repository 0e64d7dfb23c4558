#pragma once

#include <cstdint>
#include <vector>

namespace kova::tool {

/// A histogram of durations in nanoseconds with log-linear buckets: 128 buckets for each power of
/// two, so a quantile is at most 1/128 above the exact one. A value type. Not synchronized.
///
///     Histogram times;
///     times.add(1500);
///     times.quantile(0.99);  // 1500
class Histogram {
public:
    Histogram();

    /// Adds a value.
    void add(std::uint64_t value);
    /// Adds the values of another histogram.
    void add(const Histogram& other);
    /// Returns the number of values.
    std::uint64_t count() const noexcept { return count_; }
    /// Returns the largest value, or 0 without values.
    std::uint64_t max() const noexcept { return max_; }
    /// Returns the quantile `part` (0 to 1): the upper bound of the bucket in which it lies, but at
    /// most the largest value. Returns 0 without values.
    std::uint64_t quantile(double part) const;

private:
    std::vector<std::uint64_t> buckets_;
    std::uint64_t count_ = 0;
    std::uint64_t max_ = 0;
};

}  // namespace kova::tool
