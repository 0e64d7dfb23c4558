#include <algorithm>
#include <chrono>
#include <new>
#include <stdexcept>

#include "kova/kit/Middleware.h"
#include "middleware/MetricsState.h"
#include "middleware/RequestView.h"
#include "zel/unicode/String.h"

// The middleware that counts requests in a registry.

namespace kova::kit {

namespace {

using detail::RequestMetrics;
using SteadyClock = std::chrono::steady_clock;

/// The data about a request until it ends.
struct Counted {
    SteadyClock::time_point begin;
    /// The time until the first value of a stream; negative if there was no value yet.
    std::chrono::nanoseconds untilValue{-1};
    RequestMetrics::Mount* mount = nullptr;
    std::uint8_t command = 0;
    bool isStream = false;
    /// The first segment of the path, if it may become a mount. A segment that is too long for this
    /// array does not become a mount.
    std::uint8_t segmentSize = 0;
    char segment[61];
};

bool isPrintable(std::string_view text) noexcept {
    return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < '\x7f'; });
}

std::string_view firstSegment(std::string_view path) noexcept {
    return path.empty() || path[0] != '/' ? std::string_view() : path.substr(0, path.find('/', 1));
}

class RequestCounter final : public Observer<Counted> {
public:
    RequestCounter(const MetricsRegistry& registry, bool learns)
        : state_(registry.state()), metrics_(state_->requests()), learns_(learns) {
        state_->enableRequests();
    }

    void add(const std::string& mount) {
        if (mount.empty() || mount[0] != '/' || !zel::unicode::isUtf8(mount)) {
            throw std::invalid_argument("a mount begins with '/' and is UTF-8");
        }
        metrics_.add(mount);
    }

    Result<void> begin(const Ask& ask, Counted& counted) override {
        const auto& view = detail::RequestView::of(ask);
        metrics_.countBegin();
        counted.command = static_cast<std::uint8_t>(RequestMetrics::commandOf(ask.command()));
        counted.isStream = view.wantsStream();
        counted.mount = metrics_.find(ask.path());
        if (counted.mount == nullptr && learns_) {
            keepSegment(firstSegment(ask.path()), counted);
        }
        counted.begin = view.now();
        return {};
    }
    void value(const Response& /*value*/, Counted& counted) override {
        if (counted.isStream && counted.untilValue.count() < 0) {
            counted.untilValue = SteadyClock::now() - counted.begin;
        }
    }
    void end(const Outcome& outcome, Counted& counted) noexcept override {
        const std::chrono::nanoseconds time = counted.untilValue.count() >= 0
                                                  ? counted.untilValue
                                                  : SteadyClock::now() - counted.begin;
        RequestMetrics::count(mountOf(outcome, counted).commands[counted.command], outcome.code,
                              time);
    }

private:
    static void keepSegment(std::string_view segment, Counted& counted) noexcept {
        if (segment.size() <= sizeof(counted.segment) && isPrintable(segment)) {
            counted.segmentSize = static_cast<std::uint8_t>(segment.size());
            segment.copy(counted.segment, segment.size());
        }
    }
    // Adds a mount only after a successful answer, which shows that the path exists. Otherwise a
    // client could use up all mounts with paths that do not exist.
    RequestMetrics::Mount& mountOf(const Outcome& outcome, const Counted& counted) noexcept {
        if (counted.mount != nullptr) {
            return *counted.mount;
        }
        const bool isGood = outcome.error == nullptr && outcome.code >= 200 && outcome.code < 400;
        if (!isGood || counted.segmentSize == 0) {
            return metrics_.other();
        }
        try {
            return metrics_.add({counted.segment, counted.segmentSize});
        } catch (const std::bad_alloc&) {
            return metrics_.other();
        }
    }

    const std::shared_ptr<detail::MetricsState> state_;
    RequestMetrics& metrics_;
    const bool learns_;
};

}  // namespace

std::shared_ptr<Middleware> metrics(const MetricsRegistry& registry) {
    return std::make_shared<RequestCounter>(registry, true);
}

std::shared_ptr<Middleware> metrics(const MetricsRegistry& registry,
                                    const std::vector<std::string>& mounts) {
    auto counter = std::make_shared<RequestCounter>(registry, false);
    for (const std::string& mount : mounts) {
        counter->add(mount);
    }
    return counter;
}

}  // namespace kova::kit
