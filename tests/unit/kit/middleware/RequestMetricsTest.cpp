#include "middleware/RequestMetrics.h"

#include <gtest/gtest.h>

namespace kova::kit::detail {
namespace {

std::string mountOf(RequestMetrics& metrics, std::string_view path) {
    RequestMetrics::Mount* const mount = metrics.find(path);
    return mount != nullptr ? mount->path : "-";
}

TEST(RequestMetrics, FindsTheLongestMountOfWholeSegments) {
    RequestMetrics metrics;
    metrics.add("/lamp");
    metrics.add("/lamp/state/now");
    const std::pair<char const*, char const*> rows[] = {
        {"/lamp", "/lamp"},
        {"/lamp/3", "/lamp"},
        {"/lamp/state", "/lamp"},
        {"/lamp/state/now", "/lamp/state/now"},
        {"/lamp/state/now/x/y", "/lamp/state/now"},
        {"/lamp/state/nowhere", "/lamp"},
        {"/lamps", "-"},
        {"/lam", "-"},
        {"/", "-"},
        {"", "-"},
        {"lamp", "-"},
    };
    for (const auto& [path, mount] : rows) {
        EXPECT_EQ(mountOf(metrics, path), mount) << path;
    }
}

TEST(RequestMetrics, RootMountMatchesPathsWithoutAnotherMount) {
    RequestMetrics metrics;
    EXPECT_EQ(mountOf(metrics, "/x"), "-");
    metrics.add("/");
    metrics.add("/lamp");
    EXPECT_EQ(mountOf(metrics, "/"), "/");
    EXPECT_EQ(mountOf(metrics, "/x/y"), "/");
    EXPECT_EQ(mountOf(metrics, "/lamp/x"), "/lamp");
}

TEST(RequestMetrics, NumberOfMountsIsLimitedToAHundred) {
    RequestMetrics metrics;
    for (std::size_t i = 0; i < RequestMetrics::MAX_MOUNTS; ++i) {
        EXPECT_NE(&metrics.add('/' + std::to_string(i)), &metrics.other());
    }
    EXPECT_EQ(&metrics.add("/more"), &metrics.other());
    EXPECT_EQ(&metrics.add("/even-more"), &metrics.other());
    EXPECT_EQ(mountOf(metrics, "/more"), "-");
    for (std::size_t i = 0; i < RequestMetrics::MAX_MOUNTS; ++i) {
        EXPECT_EQ(metrics.add('/' + std::to_string(i)).path, '/' + std::to_string(i));
    }
}

TEST(RequestMetrics, CountsCodesByClass) {
    const std::pair<unsigned short, std::size_t> rows[] = {{100, 0}, {200, 1}, {299, 1}, {304, 2},
                                                           {404, 3}, {500, 4}, {599, 4}, {600, 5},
                                                           {99, 5},  {1, 5},   {0, 6}};
    for (const auto& [code, index] : rows) {
        RequestMetrics::Cells cells;
        RequestMetrics::count(cells, code, std::chrono::nanoseconds(1));
        EXPECT_EQ(cells.codes[index], 1U) << code;
    }
}

TEST(RequestMetrics, BucketIncludesItsUpperBound) {
    for (std::size_t i = 0; i < RequestMetrics::BOUNDS.size(); ++i) {
        RequestMetrics::Cells cells;
        const auto bound = static_cast<std::int64_t>(RequestMetrics::BOUNDS[i]);
        RequestMetrics::count(cells, 200, std::chrono::nanoseconds(bound));
        RequestMetrics::count(cells, 200, std::chrono::nanoseconds(bound + 1));
        EXPECT_EQ(cells.durations[i], 1U);
        EXPECT_EQ(cells.durations[i + 1], 1U);
        EXPECT_EQ(cells.nanoseconds, static_cast<std::uint64_t>(2 * bound + 1));
    }
}

TEST(RequestMetrics, NonStandardCommandsShareTheLabelOther) {
    EXPECT_EQ(RequestMetrics::commandOf("retrieve"), 0U);
    EXPECT_EQ(RequestMetrics::commandOf("insert"), 3U);
    EXPECT_EQ(RequestMetrics::commandOf("RETRIEVE"), 4U);
    EXPECT_EQ(RequestMetrics::commandOf(""), 4U);
}

TEST(RequestMetrics, PrintsCumulativeBuckets) {
    RequestMetrics metrics;
    RequestMetrics::Cells& cells = metrics.add("/lamp").commands[0];
    RequestMetrics::count(cells, 200, std::chrono::microseconds(200));
    RequestMetrics::count(cells, 404, std::chrono::seconds(20));
    for (int i = 0; i < 9; ++i) {
        metrics.countBegin();
    }
    std::string text;
    metrics.append(text);
    const std::string labels = "{mount=\"/lamp\",command=\"retrieve\"";
    const std::string rows[] = {
        "kova_requests_total" + labels + ",code=\"2xx\"} 1\n",
        "kova_requests_total" + labels + ",code=\"4xx\"} 1\n",
        "kova_request_duration_seconds_bucket" + labels + ",le=\"0.0001\"} 0\n",
        "kova_request_duration_seconds_bucket" + labels + ",le=\"0.00025\"} 1\n",
        "kova_request_duration_seconds_bucket" + labels + ",le=\"10\"} 1\n",
        "kova_request_duration_seconds_bucket" + labels + ",le=\"+Inf\"} 2\n",
        "kova_request_duration_seconds_sum" + labels + "} 20.0002\n",
        "kova_request_duration_seconds_count" + labels + "} 2\n",
        "kova_requests_pending 7\n",
    };
    std::size_t at = 0;
    for (const std::string& row : rows) {
        const std::size_t found = text.find('\n' + row, at);
        ASSERT_NE(found, std::string::npos) << row << text;
        at = found;
    }
}

}  // namespace
}  // namespace kova::kit::detail
