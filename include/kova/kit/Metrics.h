#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kova/kit/Export.h"

namespace kova::kit {

namespace detail {
class MetricsState;
}

/// The labels of a metric: names and values.
using MetricLabels = std::vector<std::pair<std::string, std::string>>;

/// A metric whose number only grows. A handle of shared state: copies refer to the same number. The
/// number lives as long as a copy or the registry. Any thread may call any function. No function
/// locks or allocates.
class Counter {
public:
    /// Adds to the number.
    void add(std::uint64_t count = 1) const noexcept {
        number_->fetch_add(count, std::memory_order_relaxed);
    }
    /// Returns the number.
    std::uint64_t value() const noexcept { return number_->load(std::memory_order_relaxed); }

private:
    friend class MetricsRegistry;
    explicit Counter(std::shared_ptr<std::atomic<std::uint64_t>> number) noexcept
        : number_(std::move(number)) {}

    std::shared_ptr<std::atomic<std::uint64_t>> number_;
};

/// A metric whose number can grow and shrink. A handle of shared state, like `Counter`.
class Gauge {
public:
    /// Replaces the number.
    void set(double number) const noexcept { number_->store(number, std::memory_order_relaxed); }
    /// Adds to the number.
    void add(double difference) const noexcept {
        double seen = number_->load(std::memory_order_relaxed);
        while (
            !number_->compare_exchange_weak(seen, seen + difference, std::memory_order_relaxed)) {
        }
    }
    /// Returns the number.
    double value() const noexcept { return number_->load(std::memory_order_relaxed); }

private:
    friend class MetricsRegistry;
    explicit Gauge(std::shared_ptr<std::atomic<double>> number) noexcept
        : number_(std::move(number)) {}

    std::shared_ptr<std::atomic<double>> number_;
};

/// A registry of the metrics of a process or a service. It formats them as text for Prometheus.
///
/// A handle of shared state: copies refer to the same registry. The middleware `kova::kit::metrics`
/// counts requests in a registry. Any thread may call any function.
///
///     kova::kit::MetricsRegistry registry;
///     const kova::kit::Counter scans = registry.counter("player_scans_total", "Scans.");
///     scans.add();
///     const std::string page = registry.text();  // ends with "player_scans_total 1"
class KOVA_KIT_API MetricsRegistry {
public:
    /// The maximum number of counters and gauges that a program can create. Each combination of
    /// labels counts.
    static constexpr std::size_t MAX_SERIES = 10'000;

    /// Creates an empty registry.
    MetricsRegistry();

    /// @{
    /// Returns the counter or gauge with this name and these labels, and creates it if necessary.
    /// `help` is one sentence; later calls do not change it. By convention the name of a counter
    /// ends in "_total", and a name contains its unit, such as "_seconds".
    ///
    /// Throws `std::invalid_argument` if Prometheus does not accept the name of the metric or of a
    /// label, if the name of the metric begins with "kova_" or belongs to a metric of the other
    /// kind, if two labels have the same name, or if a text is not UTF-8. Throws
    /// `std::length_error` if there would be more than `MAX_SERIES`.
    Counter counter(const std::string& name, const std::string& help,
                    const MetricLabels& labels = {}) const;
    Gauge gauge(const std::string& name, const std::string& help,
                const MetricLabels& labels = {}) const;
    /// @}

    /// Returns all metrics in the text exposition format 0.0.4 of Prometheus. The mime type is
    /// "text/plain; version=0.0.4".
    std::string text() const;

    /// Returns the shared state. Used only by the kit.
    const std::shared_ptr<detail::MetricsState>& state() const noexcept { return state_; }

private:
    std::shared_ptr<detail::MetricsState> state_;
};

}  // namespace kova::kit
