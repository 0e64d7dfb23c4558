#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "Histogram.h"
#include "kova/core/IKovaApi.h"
#include "kova/core/Request.h"

namespace kova::tool {

/// When a connection sends its requests.
struct LanePlan {
    using Clock = std::chrono::steady_clock;

    /// The time between the intended starts of two requests. Without it, the next request is due as
    /// soon as an answer has arrived.
    std::optional<std::chrono::nanoseconds> interval;
    /// The intended start of the first request.
    Clock::time_point begin;
    /// From this time on no request is due, except the first one if there is no `interval`.
    Clock::time_point end;
    /// The highest number of requests that are open at the same time.
    std::size_t inFlight = 1;
};

/// What was measured.
struct LaneResult {
    /// The times from the intended starts of requests to their ends.
    Histogram latencies;
    /// The number of requests that were answered without an error.
    std::uint64_t answered = 0;
    /// The time of the last answer.
    LanePlan::Clock::time_point lastAnswer{};
    /// The number of errors by code.
    std::map<unsigned short, std::uint64_t> errors;
    /// The number of requests that were sent and have not ended.
    std::uint64_t open = 0;
    /// The number of requests that were due and could not be sent, because too many were open.
    std::uint64_t unsent = 0;
    /// The reason if the connection was lost.
    std::optional<std::string> lost;

    /// Adds the result of another connection.
    void add(const LaneResult& other);
};

/// Sends the same request again and again over one connection, and measures the times of the
/// answers. The latency of a request counts from its intended start, so a service that answers late
/// also delays the requests behind it (otherwise the measurement omits the time in which no request
/// is sent).
///
/// Any thread may call the functions. When a request ends, the requests that are then due are sent.
class Lane {
public:
    using Clock = LanePlan::Clock;

    /// The service must be destroyed before the object.
    Lane(IKovaApi& service, Request request, LanePlan plan);

    /// Sends the requests that are due, at most `inFlight`. Returns the intended start of the next
    /// one, or the end of the plan if the next one must wait until a request has ended.
    Clock::time_point pump();
    /// Sends no more requests.
    void stop();
    /// Returns whether all requests have ended, and no more are sent.
    bool isOver() const;
    /// Returns what was measured until now.
    LaneResult result() const;

private:
    class Handler;

    std::optional<Clock::time_point> nextStart(Clock::time_point now);
    void send(Clock::time_point start);
    void onEnd(Clock::time_point start, const Response* error);
    Clock::time_point startOf(std::uint64_t number) const;

    IKovaApi& service_;
    const Request request_;
    const LanePlan plan_;
    mutable std::mutex mutex_;
    LaneResult result_;
    std::uint64_t sent_ = 0;
    bool isStopped_ = false;
};

}  // namespace kova::tool
