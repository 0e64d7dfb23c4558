#pragma once

#include <array>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

#include "kova/kit/Job.h"
#include "resources/Router.h"
#include "resources/Served.h"

namespace kova::kit::detail {

/// A request that waits for a worker or runs on it.
class JobState : public std::enable_shared_from_this<JobState> {
public:
    /// Creates a job. `format` must outlive the object.
    JobState(std::shared_ptr<Served> served, std::shared_ptr<Exchange> exchange, const Ask& ask,
             const std::string& format, const Route& route, const Router::Match& match,
             std::shared_ptr<MountState> mount);
    /// Ends the request with 503 if the job has not run.
    ~JobState();
    JobState(const JobState&) = delete;
    JobState& operator=(const JobState&) = delete;

    /// Makes a cancellation of the request wake the job from `sleep`.
    void watchCancellation();
    /// Runs the job on the current thread.
    void run() noexcept;

    const std::shared_ptr<Exchange> exchange;
    const std::string& format;
    const Request request;
    const std::string path;
    const Ask ask;

    bool sleep(std::chrono::milliseconds time);

private:
    void runIn(MountState* mount) noexcept;
    void call() noexcept;

    const std::shared_ptr<Served> served_;
    const Route& route_;
    const Peer peer_;
    const std::shared_ptr<MountState> mount_;
    /// The parts of the path that the parameters of the template match.
    std::array<std::string_view, PathTemplate::LONGEST> captures_;
    std::size_t captureCount_ = 0;

    std::mutex mutex_;
    std::condition_variable changed_;
    bool cancelled_ = false;
    bool hasRun_ = false;
};

/// Calls the function of a route. An exception is reported, and the request is answered with it.
void invoke(const Route& route, Dispatch& dispatch, const OnUncaught& onUncaught) noexcept;

}  // namespace kova::kit::detail
