#pragma once

#include <chrono>
#include <random>

namespace kova::nats::detail {

/// The delays before the attempts of one client or server to reach its peer again.
///
/// Each delay is twice the one before, up to a limit. A random part of up to a half is left out, so
/// that all clients of a peer that was restarted do not come back at once. Not synchronized.
class Backoff {
public:
    static constexpr std::chrono::milliseconds FIRST{20};
    static constexpr std::chrono::milliseconds LONGEST{1000};

    Backoff() : random_(std::random_device()()) {}

    /// Returns the delay before the next attempt: from half of `FIRST` to `LONGEST`.
    std::chrono::microseconds next();
    /// Begins with the first delay again.
    void reset() noexcept { delay_ = FIRST; }

private:
    std::chrono::milliseconds delay_ = FIRST;
    std::minstd_rand random_;
};

}  // namespace kova::nats::detail
