#include "Histogram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace kova::tool {
namespace {

TEST(HistogramTest, EmptyHistogramHasOnlyZeros) {
    const Histogram histogram;
    EXPECT_EQ(histogram.count(), 0U);
    EXPECT_EQ(histogram.max(), 0U);
    EXPECT_EQ(histogram.quantile(0.5), 0U);
    EXPECT_EQ(histogram.quantile(1), 0U);
}

TEST(HistogramTest, SmallValuesAreExact) {
    Histogram histogram;
    for (std::uint64_t value = 1; value <= 100; ++value) {
        histogram.add(value);
    }
    EXPECT_EQ(histogram.quantile(0), 1U);
    EXPECT_EQ(histogram.quantile(0.5), 50U);
    EXPECT_EQ(histogram.quantile(0.99), 99U);
    EXPECT_EQ(histogram.quantile(1), 100U);
}

TEST(HistogramTest, QuantileExceedsTheValueByLessThanOnePercent) {
    for (unsigned bit = 0; bit < 64; ++bit) {
        for (const std::uint64_t offset : {0, 1, -1}) {
            const std::uint64_t value = (std::uint64_t{1} << bit) + offset;
            Histogram histogram;
            histogram.add(value);
            histogram.add(std::numeric_limits<std::uint64_t>::max());
            const std::uint64_t found = histogram.quantile(0.5);
            EXPECT_GE(found, value);
            EXPECT_LE(found - value, value / 128) << value;
        }
    }
}

TEST(HistogramTest, QuantilesAreThoseOfTheSortedValues) {
    std::mt19937_64 random(7);
    std::vector<std::uint64_t> values;
    Histogram histogram;
    for (int i = 0; i < 10'000; ++i) {
        values.push_back(random() >> (random() % 60));
        histogram.add(values.back());
    }
    std::sort(values.begin(), values.end());
    for (const double part : {0.001, 0.1, 0.5, 0.9, 0.99, 0.999, 1.0}) {
        const auto rank = static_cast<std::size_t>(std::ceil(part * 10'000));
        const std::uint64_t exact = values[rank - 1];
        EXPECT_GE(histogram.quantile(part), exact) << part;
        EXPECT_LE(histogram.quantile(part) - exact, exact / 128) << part;
    }
}

TEST(HistogramTest, SumHasTheValuesOfBothHistograms) {
    Histogram low;
    Histogram high;
    low.add(10);
    high.add(100);
    high.add(1000);
    low.add(high);
    EXPECT_EQ(low.count(), 3U);
    EXPECT_EQ(low.quantile(0.5), 100U);
    EXPECT_EQ(low.max(), 1000U);
}

}  // namespace
}  // namespace kova::tool
