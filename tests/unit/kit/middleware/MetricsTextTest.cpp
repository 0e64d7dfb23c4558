#include "middleware/MetricsText.h"

#include <gtest/gtest.h>

#include <limits>

namespace kova::kit::detail {
namespace {

std::string labelOf(std::string_view value) {
    std::string text;
    appendLabel(text, "mount", value);
    return text;
}

std::string sampleOf(double number) {
    std::string text;
    appendSample(text, "level", "", number);
    return text;
}

TEST(MetricsText, EscapesLabelValues) {
    const std::pair<char const*, char const*> rows[] = {
        {"/state", "mount=\"/state\""}, {"", "mount=\"\""},
        {"a\"b", "mount=\"a\\\"b\""},   {"a\\b", "mount=\"a\\\\b\""},
        {"a\nb", "mount=\"a\\nb\""},    {"caf\xc3\xa9{}", "mount=\"caf\xc3\xa9{}\""},
    };
    for (const auto& [value, text] : rows) {
        EXPECT_EQ(labelOf(value), text);
    }
}

TEST(MetricsText, QuotesInHelpTextAreNotEscaped) {
    std::string text;
    appendMetricHead(text, "level", "a \"b\"\\c\nd", "gauge");
    EXPECT_EQ(text, "# HELP level a \"b\"\\\\c\\nd\n# TYPE level gauge\n");
}

TEST(MetricsText, PrintsFiniteAndInfiniteNumbers) {
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(sampleOf(0), "level 0\n");
    EXPECT_EQ(sampleOf(-2.5), "level -2.5\n");
    EXPECT_EQ(sampleOf(0.1), "level 0.1\n");
    EXPECT_EQ(sampleOf(infinity), "level +Inf\n");
    EXPECT_EQ(sampleOf(-infinity), "level -Inf\n");
    EXPECT_EQ(sampleOf(std::numeric_limits<double>::quiet_NaN()), "level NaN\n");
    std::string text;
    appendSample(text, "level", "a=\"b\"", std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(text, "level{a=\"b\"} 18446744073709551615\n");
}

TEST(MetricsText, AcceptsOnlyAllowedNames) {
    for (char const* const name : {"a", "_a", "a9_B", "a:b"}) {
        EXPECT_TRUE(isMetricName(name)) << name;
    }
    for (char const* const name : {"", "9a", "a-b", "a b", "\xc3\xa9", "a\n"}) {
        EXPECT_FALSE(isMetricName(name)) << name;
        EXPECT_FALSE(isLabelName(name)) << name;
    }
    EXPECT_TRUE(isLabelName("_a"));
    for (char const* const name : {"__a", "a:b", "le"}) {
        EXPECT_FALSE(isLabelName(name)) << name;
    }
}

}  // namespace
}  // namespace kova::kit::detail
