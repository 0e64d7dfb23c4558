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

/// A number that only grows. A handle of shared state: copies mean the same number, which lives as
/// long as one of them or the registry. Any thread may call any function; none locks or allocates.
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

/// A number that grows and shrinks. A handle of shared state like `Counter`.
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

/// The metrics of a process or a service, and their text for Prometheus.
///
/// A handle of shared state: copies mean the same registry. `kova::kit::metrics` counts requests in
/// it. Any thread may call any function.
///
///     kova::kit::MetricsRegistry registry;
///     const kova::kit::Counter scans = registry.counter("player_scans_total", "Scans.");
///     scans.add();
///     const std::string page = registry.text();  // ends with "player_scans_total 1"
class KOVA_KIT_API MetricsRegistry {
public:
    /// The greatest number of counters and gauges of the user, with all their labels.
    static constexpr std::size_t MAX_SERIES = 10'000;

    /// Creates an empty registry.
    MetricsRegistry();

    /// @{
    /// Returns the counter or gauge with this name and these labels, and creates it if necessary.
    /// `help` is one sentence; later calls do not change it. By convention the name of a counter
    /// ends in "_total", and a name contains its unit, such as "_seconds".
    ///
    /// Throws `std::invalid_argument` for a name that Prometheus does not accept, that begins with
    /// "kova_" or belongs to a metric of the other kind, for a label with such a name or given
    /// twice, and for texts that are not UTF-8. Throws `std::length_error` past `MAX_SERIES`.
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
