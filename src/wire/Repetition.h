#pragma once

#include "kova/core/Request.h"
#include "kova/core/Response.h"

namespace kova::wire {

/// Decides whether a request of a client is sent again after its connection or its server was lost.
/// Only retrievals are ever sent again.
///
/// A plain value type. Not synchronized.
class Repetition {
public:
    /// The most times that a retrieval without a value is sent again.
    static constexpr int MOST_RETRIES = 3;

    /// Creates the decision for a request that is never sent again.
    Repetition() noexcept = default;
    /// `retries` sends retrievals again before their first value, `resubscribes` streams at any
    /// time. A stream is a retrieval that asks for one, or whose last value has the status 299.
    Repetition(const Request& request, bool retries, bool resubscribes);

    /// Returns whether the request may be sent again at some time, so that its bytes must be kept.
    bool isPossible() const noexcept { return isResubscribed_ || isRetryable(); }
    /// Returns whether the request is to be sent again if it is lost now.
    bool isDue() const noexcept { return isPatient() || isRetryable(); }
    /// Returns whether the request is a stream that waits for a connection without a limit.
    bool isPatient() const noexcept { return isResubscribed_ && isStream_; }
    /// Returns whether a value has arrived since the request was sent.
    bool hasValue() const noexcept { return hasValue_; }

    /// @{
    /// Notes that a value has arrived, and that the request is sent again.
    void onValue(const Response& value) noexcept;
    void onRepeat() noexcept;
    /// @}

private:
    bool isRetryable() const noexcept {
        return isRetried_ && !wasAnswered_ && retries_ < MOST_RETRIES;
    }

    bool isRetried_ = false;
    bool isResubscribed_ = false;
    bool isStream_ = false;     ///< more values are expected
    bool hasValue_ = false;     ///< since the request was sent
    bool wasAnswered_ = false;  ///< with a value, at any time
    int retries_ = 0;
};

}  // namespace kova::wire
