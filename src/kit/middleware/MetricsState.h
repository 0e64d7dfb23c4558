#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <variant>

#include "kova/kit/Metrics.h"
#include "middleware/RequestMetrics.h"

namespace kova::kit::detail {

/// The shared state of a `MetricsRegistry`.
class MetricsState {
public:
    using CounterCell = std::atomic<std::uint64_t>;
    using GaugeCell = std::atomic<double>;

    /// Returns the metrics of requests. The text contains them after `enableRequests` was called.
    RequestMetrics& requests() noexcept { return requests_; }
    void enableRequests() noexcept { requestsEnabled_.store(true, std::memory_order_release); }

    /// Returns the cell of a metric. `Cell` is `CounterCell` or `GaugeCell`.
    template <typename Cell>
    std::shared_ptr<Cell> cell(const std::string& name, const std::string& help,
                               const MetricLabels& labels);
    std::string text() const;

private:
    using Series = std::variant<std::shared_ptr<CounterCell>, std::shared_ptr<GaugeCell>>;
    struct Family {
        std::string help;
        /// The cells of the metric. The key is the printed text of the labels. All cells are of the
        /// same kind.
        std::map<std::string, Series> series;
    };

    RequestMetrics requests_;
    std::atomic<bool> requestsEnabled_{false};
    mutable std::mutex mutex_;
    std::map<std::string, Family> families_;
    std::size_t count_ = 0;
};

}  // namespace kova::kit::detail
