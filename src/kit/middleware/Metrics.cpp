#include "kova/kit/Metrics.h"

#include <algorithm>
#include <stdexcept>

#include "middleware/MetricsState.h"
#include "middleware/MetricsText.h"
#include "zel/unicode/String.h"

namespace kova::kit {

namespace detail {

namespace {

constexpr std::string_view OWN_PREFIX = "kova_";

[[noreturn]] void refuseMetric(const std::string& name, char const* reason) {
    throw std::invalid_argument("metric '" + name + "': " + reason);
}

// Returns the text of the labels, sorted by name.
std::string printLabels(const std::string& metric, MetricLabels labels) {
    std::sort(labels.begin(), labels.end());
    std::string text;
    std::string former;
    for (const auto& [name, value] : labels) {
        if (!isLabelName(name)) {
            refuseMetric(metric, "a label has no valid name");
        }
        if (name == former) {
            refuseMetric(metric, "a label is given twice");
        }
        if (!zel::unicode::isUtf8(value)) {
            refuseMetric(metric, "the value of a label is not UTF-8");
        }
        text += text.empty() ? "" : ",";
        appendLabel(text, name, value);
        former = name;
    }
    return text;
}

void checkName(const std::string& name, const std::string& help) {
    if (!isMetricName(name)) {
        refuseMetric(name, "not a valid name");
    }
    if (name.compare(0, OWN_PREFIX.size(), OWN_PREFIX) == 0) {
        refuseMetric(name, "names with 'kova_' belong to the kit");
    }
    if (!zel::unicode::isUtf8(help)) {
        refuseMetric(name, "the help is not UTF-8");
    }
}

}  // namespace

template <typename Cell>
std::shared_ptr<Cell> MetricsState::cell(const std::string& name, const std::string& help,
                                         const MetricLabels& labels) {
    checkName(name, help);
    const std::string printed = printLabels(name, labels);
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto family = families_.find(name);
    if (family != families_.end()) {
        auto& series = family->second.series;
        if (!std::holds_alternative<std::shared_ptr<Cell>>(series.begin()->second)) {
            refuseMetric(name, "a metric of another kind has this name");
        }
        const auto known = series.find(printed);
        if (known != series.end()) {
            return std::get<std::shared_ptr<Cell>>(known->second);
        }
    }
    if (count_ == MetricsRegistry::MAX_SERIES) {
        throw std::length_error("the registry has no capacity for metric '" + name + '\'');
    }
    auto cell = std::make_shared<Cell>();
    cell->store(0);
    Family& target = families_.try_emplace(name, Family{help, {}}).first->second;
    target.series.emplace(printed, cell);
    ++count_;
    return cell;
}

std::string MetricsState::text() const {
    std::string out;
    if (requestsEnabled_.load(std::memory_order_acquire)) {
        requests_.append(out);
    }
    const std::lock_guard<std::mutex> guard(mutex_);
    for (const auto& [name, family] : families_) {
        const bool isCounter = family.series.begin()->second.index() == 0;
        appendMetricHead(out, name, family.help, isCounter ? "counter" : "gauge");
        for (const auto& [labels, series] : family.series) {
            std::visit(
                [&, &labels = labels, &name = name](const auto& cell) {
                    appendSample(out, name, labels, cell->load(std::memory_order_relaxed));
                },
                series);
        }
    }
    return out;
}

}  // namespace detail

MetricsRegistry::MetricsRegistry() : state_(std::make_shared<detail::MetricsState>()) {}

Counter MetricsRegistry::counter(const std::string& name, const std::string& help,
                                 const MetricLabels& labels) const {
    return Counter(state_->cell<detail::MetricsState::CounterCell>(name, help, labels));
}

Gauge MetricsRegistry::gauge(const std::string& name, const std::string& help,
                             const MetricLabels& labels) const {
    return Gauge(state_->cell<detail::MetricsState::GaugeCell>(name, help, labels));
}

std::string MetricsRegistry::text() const {
    return state_->text();
}

}  // namespace kova::kit
