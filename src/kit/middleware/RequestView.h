#pragma once

#include <chrono>
#include <optional>

#include "kova/kit/Ask.h"
#include "middleware/RequestHeader.h"

namespace kova::kit::detail {

/// What observers see of a request: an `Ask` that keeps what several of them need, because reading
/// the clock takes 25 ns.
class RequestView : public Ask {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    explicit RequestView(const Request& request) noexcept : Ask(request, request.getPath()) {}

    /// Returns the view that an observer got. Only chains call observers, and with such views.
    static const RequestView& of(const Ask& ask) noexcept {
        return static_cast<const RequestView&>(ask);
    }

    /// Returns the time of the first call.
    TimePoint now() const {
        if (!now_) {
            now_ = std::chrono::steady_clock::now();
        }
        return *now_;
    }
    /// Returns the same as `Ask::wantsStream`.
    bool wantsStream() const noexcept {
        if (!wantsStream_) {
            wantsStream_ = detail::wantsStream(request());
        }
        return *wantsStream_;
    }

private:
    mutable std::optional<TimePoint> now_;
    mutable std::optional<bool> wantsStream_;
};

}  // namespace kova::kit::detail
