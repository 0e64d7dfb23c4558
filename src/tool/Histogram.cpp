#include "Histogram.h"

#include <algorithm>
#include <cmath>

namespace kova::tool {

namespace {

constexpr unsigned BITS = 7;
constexpr std::uint64_t PER_OCTAVE = std::uint64_t{1} << BITS;
constexpr std::size_t BUCKETS = (64 - BITS + 1) * PER_OCTAVE;

// Returns the number of low bits of a value that its bucket does not distinguish.
unsigned shiftOf(std::uint64_t value) {
    unsigned shift = 0;
    while (value >> shift >= 2 * PER_OCTAVE) {
        ++shift;
    }
    return shift;
}

std::size_t bucketOf(std::uint64_t value) {
    const unsigned shift = shiftOf(value);
    return static_cast<std::size_t>(shift * PER_OCTAVE + (value >> shift));
}

// Returns the largest value of a bucket.
std::uint64_t boundOf(std::size_t bucket) {
    if (bucket < 2 * PER_OCTAVE) {
        return bucket;
    }
    const auto shift = static_cast<unsigned>(bucket / PER_OCTAVE - 1);
    const std::uint64_t first = (bucket - shift * PER_OCTAVE) << shift;
    return first + ((std::uint64_t{1} << shift) - 1);
}

}  // namespace

Histogram::Histogram() : buckets_(BUCKETS) {}

void Histogram::add(std::uint64_t value) {
    ++buckets_[bucketOf(value)];
    ++count_;
    max_ = std::max(max_, value);
}

void Histogram::add(const Histogram& other) {
    std::transform(buckets_.begin(), buckets_.end(), other.buckets_.begin(), buckets_.begin(),
                   [](std::uint64_t mine, std::uint64_t theirs) { return mine + theirs; });
    count_ += other.count_;
    max_ = std::max(max_, other.max_);
}

std::uint64_t Histogram::quantile(double part) const {
    const auto wanted = static_cast<std::uint64_t>(std::ceil(part * static_cast<double>(count_)));
    std::uint64_t seen = 0;
    for (std::size_t bucket = 0; bucket < buckets_.size(); ++bucket) {
        seen += buckets_[bucket];
        if (seen >= wanted && seen > 0) {
            return std::min(boundOf(bucket), max_);
        }
    }
    return max_;
}

}  // namespace kova::tool
