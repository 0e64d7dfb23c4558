#include "kova/kit/Metrics.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/Threads.h"

namespace kova::kit {
namespace {

TEST(MetricsRegistry, IsEmptyAtFirst) {
    EXPECT_EQ(MetricsRegistry().text(), "");
}

TEST(MetricsRegistry, PrintsCountersAndGaugesSortedByName) {
    const MetricsRegistry registry;
    registry.gauge("player_volume_ratio", "The volume.").set(0.5);
    const Counter usb = registry.counter("player_scans_total", "Scans.", {{"medium", "usb"}});
    registry.counter("player_scans_total", "ignored", {{"medium", "cd"}}).add(3);
    usb.add();
    usb.add();
    EXPECT_EQ(registry.text(),
              "# HELP player_scans_total Scans.\n"
              "# TYPE player_scans_total counter\n"
              "player_scans_total{medium=\"cd\"} 3\n"
              "player_scans_total{medium=\"usb\"} 2\n"
              "# HELP player_volume_ratio The volume.\n"
              "# TYPE player_volume_ratio gauge\n"
              "player_volume_ratio 0.5\n");
}

TEST(MetricsRegistry, MetricsWithTheSameNameAndLabelsShareOneNumber) {
    const MetricsRegistry registry;
    const Counter first = registry.counter("a_total", "", {{"x", "1"}, {"y", "2"}});
    const MetricsRegistry copy = registry;
    copy.counter("a_total", "", {{"y", "2"}, {"x", "1"}}).add(4);
    EXPECT_EQ(first.value(), 4U);
}

TEST(MetricsRegistry, NumbersOutliveTheRegistry) {
    auto registry = std::make_unique<MetricsRegistry>();
    const Gauge gauge = registry->gauge("level", "");
    registry.reset();
    gauge.set(2);
    gauge.add(-0.5);
    EXPECT_EQ(gauge.value(), 1.5);
}

TEST(MetricsRegistry, RejectsInvalidNamesLabelsAndTexts) {
    const MetricsRegistry registry;
    registry.gauge("level", "").set(1);
    EXPECT_THROW(registry.counter("9a", ""), std::invalid_argument);
    EXPECT_THROW(registry.counter("kova_a", ""), std::invalid_argument);
    EXPECT_THROW(registry.counter("level", ""), std::invalid_argument);
    EXPECT_THROW(registry.counter("a", "\xff"), std::invalid_argument);
    EXPECT_THROW(registry.counter("a", "", {{"le", ""}}), std::invalid_argument);
    EXPECT_THROW(registry.counter("a", "", {{"x", "\xff"}}), std::invalid_argument);
    EXPECT_THROW(registry.counter("a", "", {{"x", "1"}, {"x", "2"}}), std::invalid_argument);
    EXPECT_EQ(registry.text(), "# HELP level \n# TYPE level gauge\nlevel 1\n");
}

TEST(MetricsRegistry, NumberOfSeriesIsBounded) {
    const MetricsRegistry registry;
    for (std::size_t i = 0; i < MetricsRegistry::MAX_SERIES; ++i) {
        registry.counter("a_total", "", {{"x", std::to_string(i)}}).add(i);
    }
    EXPECT_THROW(registry.counter("b_total", ""), std::length_error);
    EXPECT_EQ(registry.counter("a_total", "", {{"x", "7"}}).value(), 7U);
}

TEST(MetricsRegistry, CounterAddsUpTheCountsOfSeveralThreads) {
    const MetricsRegistry registry;
    const Gauge level = registry.gauge("level", "");
    test::runOnThreads(4, [&](int thread) {
        const Counter counter =
            registry.counter("a_total", "", {{"x", std::to_string(thread % 2)}});
        for (int i = 0; i < 1000; ++i) {
            counter.add();
            level.add(1);
        }
        EXPECT_NE(registry.text(), "");
    });
    EXPECT_EQ(registry.counter("a_total", "", {{"x", "0"}}).value(), 2000U);
    EXPECT_EQ(level.value(), 4000);
}

}  // namespace
}  // namespace kova::kit
