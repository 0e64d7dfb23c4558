#pragma once

#include <condition_variable>
#include <cstddef>
#include <list>
#include <mutex>
#include <optional>
#include <thread>

#include "calls/CallsCore.h"

namespace kova::kit::detail {

/// One call of `Calls::ask`. The calling thread waits here for the answer.
class BlockingCall {
public:
    BlockingCall(CallsCore& core, const Request& request, const AskOptions& options)
        : core_(core), request_(request), options_(options) {}
    ~BlockingCall() { endDriving(); }
    BlockingCall(const BlockingCall&) = delete;
    BlockingCall& operator=(const BlockingCall&) = delete;

    Result<Response> run();

private:
    class Listener;

    void beginDriving();
    void endDriving() noexcept;
    /// Runs the service on this thread until the end or a progress value has arrived, until the
    /// time limit has passed, or until the service must run on its own thread.
    void driveForMore(std::unique_lock<std::mutex>& lock);
    bool hasMore() const noexcept { return end_ || !progress_.empty(); }
    /// Waits until the call has ended. Returns the reason if it must not wait, or if the wait
    /// fails.
    std::optional<Error> wait();
    /// Returns the reason why this thread must not wait, or nothing.
    std::optional<Error> findObstacle() const;
    bool waitForMore(std::unique_lock<std::mutex>& lock);
    std::optional<Error> passProgress(std::unique_lock<std::mutex>& lock);
    Result<Response> result();
    std::string describe() const;

    CallsCore& core_;
    const Request& request_;
    const AskOptions& options_;
    PendingCall::TimePoint due_;

    std::mutex mutex_;
    std::condition_variable changed_;
    CallerDriven* driven_ = nullptr;  ///< the service, while the calling thread runs it
    std::thread::id driver_;
    std::size_t place_ = 0;         ///< where the table counts this thread while it drives
    std::list<Response> progress_;  // allocates nothing while it is empty
    std::optional<Response> value_;
    std::optional<End> end_;
};

}  // namespace kova::kit::detail
