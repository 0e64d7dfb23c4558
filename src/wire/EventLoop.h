#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "wire/FileDescriptor.h"

namespace kova::wire {

/// A thread that waits for file descriptors and deadlines, and calls functions for them.
///
/// Everything but `post`, `isLoopThread`, `stop` and `borrow` belongs to the thread of the loop:
/// call it from a function that the loop calls. No lock is held while a function is called. A
/// function that throws ends the process.
///
/// While nothing is to be done, the thread may rest (`restWhile`). Another thread may then borrow
/// the loop: it is the thread of the loop until it gives the loop back.
class EventLoop {
public:
    using Clock = std::chrono::steady_clock;
    using Task = std::function<void()>;
    /// Gets the events that have occurred (`EPOLLIN` and others).
    using OnReady = std::function<void(std::uint32_t events)>;
    using TimerId = std::pair<Clock::time_point, std::uint64_t>;

    /// A function of the loop that exists before it is posted, so that posting it needs no memory.
    class Job {
    public:
        Job() = default;
        virtual ~Job() = default;
        Job(const Job&) = delete;
        Job& operator=(const Job&) = delete;

    protected:
        virtual void run() = 0;

    private:
        friend class EventLoop;
        std::shared_ptr<Job> next_;
        bool isPosted_ = false;
    };

    /// Starts a loop, whose thread has a name of at most 15 characters. The thread owns the loop,
    /// too, until `stop`, which must follow. Throws `std::system_error`.
    static std::shared_ptr<EventLoop> start(char const* threadName);
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /// Calls a function on the thread of the loop. Functions are called in the order of their
    /// `post`. After `stop` was called, `post` destroys the function without a call. Any thread may
    /// call `post`.
    void post(Task task);
    /// Runs a job on the thread of the loop. If a job is posted again before it begins to run, it
    /// runs once. It may run before functions that were posted earlier. The loop owns the job until
    /// then. Allocates no memory. Any thread may call `post`.
    void post(std::shared_ptr<Job> job) noexcept;
    /// Returns whether the current thread is that of the loop, or has borrowed the loop.
    bool isLoopThread() const noexcept { return std::this_thread::get_id() == driver_.load(); }
    /// Calls the functions that are posted already, then ends the thread, and waits for it. From
    /// inside a function of the loop it does not wait. Any thread may call it, once.
    void stop() noexcept;

    /// Watches a descriptor until `remove`, which must be called before the descriptor is closed.
    /// Returns false if the system refuses the descriptor, or if there is no memory.
    bool add(int descriptor, std::uint32_t events, OnReady onReady);
    /// Changes the events that a descriptor is watched for.
    void change(int descriptor, std::uint32_t events) noexcept;
    /// Stops watching the descriptor. An event that has occurred already is not delivered.
    void remove(int descriptor) noexcept;

    /// Calls a function after a delay, once.
    TimerId after(Clock::duration delay, Task task);
    /// Cancels a timer, if it has not fired yet.
    void cancel(const TimerId& timer) noexcept { timers_.erase(timer); }

    /// Lets the thread of the loop rest while the function returns true. Meanwhile nothing watches
    /// descriptors and timers. A rest that no other thread ends takes `REST`; then the thread
    /// handles events and timers once. Each further rest is twice as long as the one before, up
    /// to `LONGEST_REST`. An empty function makes the thread rest no more.
    void restWhile(std::function<bool()> isIdle) { isIdle_ = std::move(isIdle); }
    /// Makes the current thread the thread of the loop until `giveBack`, if the thread rests.
    /// Returns false if it does not. Any thread may call it.
    bool borrow() noexcept;
    /// @{
    /// Only for the thread that has borrowed the loop. Calls the functions for the events that have
    /// occurred.
    void poll() noexcept { waitForEvents(0); }
    /// Waits for events, at most until `due`, and calls the functions for them and for timers.
    /// Returns false if the loop must be given back, because a function was posted.
    bool turn(Clock::time_point due) noexcept;
    /// Gives the borrowed loop back. Its own thread goes on unless it may rest.
    void giveBack() noexcept;
    /// @}

    /// The length of the first rest, and of the longest one.
    static constexpr std::chrono::milliseconds REST{20};
    static constexpr std::chrono::milliseconds LONGEST_REST{10'000};

private:
    struct Watch;
    enum class Role : std::uint8_t { own, resting, borrowed };

    EventLoop();
    void run();
    void waitForEvents(int timeout);
    void runJobs(std::shared_ptr<Job> job);
    void runTasks();
    void runTimers();
    bool rest();
    void wake(Role role) noexcept;
    bool hasWork() const noexcept { return !tasks_.empty() || firstJob_; }
    bool mustGiveBack() noexcept;
    bool isNeeded() const noexcept { return isStopped_ || isWanted_ || hasWork(); }
    int timeout(Clock::time_point due) const noexcept;

    FileDescriptor epoll_;
    FileDescriptor wake_;
    std::unordered_map<int, std::shared_ptr<Watch>> watches_;
    std::map<TimerId, Task> timers_;
    std::uint64_t nextTimer_ = 0;

    std::mutex mutex_;
    std::vector<Task> tasks_;
    std::shared_ptr<Job> firstJob_;
    Job* lastJob_ = nullptr;
    bool isStopped_ = false;  ///< no task is accepted any more
    Role role_ = Role::own;   ///< what the thread does
    bool isWanted_ = false;   ///< the thread must end its rest
    std::uint64_t borrows_ = 0;
    std::chrono::milliseconds rest_ = REST;  ///< the length of the next rest
    std::condition_variable changed_;  ///< the thread must end its rest, or the loop is given back

    std::function<bool()> isIdle_;
    std::atomic<std::thread::id> driver_{};  ///< the thread that is the thread of the loop now
    std::thread thread_;
};

}  // namespace kova::wire
