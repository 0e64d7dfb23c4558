#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "kova/core/StatusCodes.h"
#include "kova/kit/Ask.h"
#include "kova/kit/Export.h"
#include "kova/kit/Values.h"

namespace kova::kit {

namespace detail {
class JobState;
}

/// A request that is served on a thread of a `Worker`. The function that serves it receives a
/// `Job`.
///
/// Valid until the function returns. The function should call `cancelled` often. `cancelled`
/// returns true if the client has cancelled the request, if the deadline of the request has passed,
/// or if the resource is closed. The result of the function is then ignored. A job that is
/// cancelled while it is queued does not run. Only the thread of the function may use the job.
///
///     const auto scan = [](kova::kit::Job& job, const std::string& folder) {
///         int found = 0;
///         for (int step = 1; step <= 5 && !job.cancelled(); ++step) {
///             found += static_cast<int>(folder.size());
///             job.progress(step);
///         }
///         return found;
///     };
class KOVA_KIT_API Job {
public:
    /// Used only by the kit.
    explicit Job(detail::JobState& state) noexcept : state_(state) {}
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    /// Returns whether the request was cancelled, so that its answer is no longer needed.
    bool cancelled() const noexcept;
    /// Waits until `time` has passed or the job is cancelled. Returns false if the job is
    /// cancelled.
    bool sleep(std::chrono::milliseconds time) const;
    /// Sends a progress value (code 298). Returns false if the job is cancelled.
    template <typename T>
    bool progress(const T& value) const {
        return send(toPayload(value, format()));
    }
    /// Returns the request. The reference is valid as long as the job.
    const Ask& ask() const noexcept;

    /// @{
    /// Used only by the kit.
    const std::string& format() const noexcept;
    bool send(const Result<Payload>& value) const;
    /// @}

private:
    detail::JobState& state_;
};

}  // namespace kova::kit
