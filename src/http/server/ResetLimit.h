#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>

namespace kova::http::detail {

/// Limits how often a client may reset streams: `burst` at once, and `perSecond` for as long as it
/// likes. Programs cancel requests in this way; a client that resets without end makes the server
/// start and cancel requests for nothing.
class ResetLimit {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    ResetLimit(std::size_t burst, std::size_t perSecond) noexcept
        : burst_(static_cast<double>(burst)),
          perSecond_(static_cast<double>(perSecond)),
          left_(burst_) {}

    /// Counts a reset. Returns false if there are too many.
    bool add(TimePoint now) noexcept {
        if (last_ != TimePoint()) {
            const std::chrono::duration<double> passed = now - last_;
            left_ = std::min(burst_, left_ + passed.count() * perSecond_);
        }
        last_ = now;
        if (left_ < 1) {
            return false;
        }
        left_ -= 1;
        return true;
    }

private:
    const double burst_;
    const double perSecond_;
    double left_;
    TimePoint last_;
};

}  // namespace kova::http::detail
