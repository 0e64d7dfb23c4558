#include "wire/EventLoop.h"

#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <future>
#include <new>
#include <system_error>
#include <utility>

namespace kova::wire {

struct EventLoop::Watch {
    int descriptor;
    OnReady onReady;
};

namespace {

FileDescriptor checked(int descriptor, char const* what) {
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return FileDescriptor(descriptor);
}

}  // namespace

std::shared_ptr<EventLoop> EventLoop::start(char const* threadName) {
    std::shared_ptr<EventLoop> loop(new EventLoop);
    // The thread begins when `thread_` is set, because `isLoopThread` reads it.
    std::promise<void> begin;
    loop->thread_ = std::thread([loop, isSet = begin.get_future()]() mutable {
        isSet.wait();
        loop->run();
    });
    pthread_setname_np(loop->thread_.native_handle(), threadName);
    begin.set_value();
    return loop;
}

EventLoop::EventLoop()
    : epoll_(checked(epoll_create1(EPOLL_CLOEXEC), "epoll_create1")),
      wake_(checked(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = wake_.get();
    if (epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, wake_.get(), &event) != 0) {
        throw std::system_error(errno, std::generic_category(), "epoll_ctl");
    }
}

EventLoop::~EventLoop() = default;

// A function that the loop's thread posts runs in the same turn or the next one.
void EventLoop::post(Task task) {
    Role role{};
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (isStopped_) {
            return;
        }
        tasks_.push_back(std::move(task));
        if (tasks_.size() > 1) {
            return;  // the thread is woken already
        }
        role = role_;
    }
    wake(role);
}

void EventLoop::post(std::shared_ptr<Job> job) noexcept {
    Role role = Role::own;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (isStopped_ || std::exchange(job->isPosted_, true)) {
            return;
        }
        Job* const last = std::exchange(lastJob_, job.get());
        if (last != nullptr) {
            last->next_ = std::move(job);
            return;  // the thread is woken already
        }
        firstJob_ = std::move(job);
        role = role_;
    }
    wake(role);
}

// Wakes the thread, whose role was `role` when work was added.
void EventLoop::wake(Role role) noexcept {
    if (role == Role::resting) {
        changed_.notify_one();
    } else if (role == Role::borrowed || !isLoopThread()) {
        eventfd_write(wake_.get(), 1);
    }
}

void EventLoop::stop() noexcept {
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        isStopped_ = true;
    }
    changed_.notify_one();
    eventfd_write(wake_.get(), 1);
    if (isLoopThread()) {
        thread_.detach();
    } else {
        thread_.join();
    }
}

bool EventLoop::add(int descriptor, std::uint32_t events, OnReady onReady) {
    epoll_event event{};
    event.events = events;
    event.data.fd = descriptor;
    try {
        watches_[descriptor] = std::make_shared<Watch>(Watch{descriptor, std::move(onReady)});
    } catch (const std::bad_alloc&) {
        return false;
    }
    const bool isAdded = epoll_ctl(epoll_.get(), EPOLL_CTL_ADD, descriptor, &event) == 0;
    if (!isAdded) {
        watches_.erase(descriptor);
    }
    return isAdded;
}

void EventLoop::change(int descriptor, std::uint32_t events) noexcept {
    epoll_event event{};
    event.events = events;
    event.data.fd = descriptor;
    epoll_ctl(epoll_.get(), EPOLL_CTL_MOD, descriptor, &event);
}

void EventLoop::remove(int descriptor) noexcept {
    epoll_ctl(epoll_.get(), EPOLL_CTL_DEL, descriptor, nullptr);
    watches_.erase(descriptor);
}

EventLoop::TimerId EventLoop::after(Clock::duration delay, Task task) {
    const TimerId id{Clock::now() + delay, nextTimer_++};
    timers_.emplace(id, std::move(task));
    return id;
}

void EventLoop::run() {
    driver_ = std::this_thread::get_id();
    bool isBusy = false;
    for (;;) {
        waitForEvents(isBusy ? 0 : timeout(Clock::time_point::max()));
        runTasks();
        runTimers();
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            isBusy = hasWork();
            if (isStopped_ && !isBusy) {
                return;
            }
        }
        // Events that occurred during a rest are handled before the functions that ended the rest.
        isBusy = rest() || isBusy;
    }
}

// Returns whether the thread has rested.
bool EventLoop::rest() {
    if (!isIdle_ || !isIdle_()) {
        return false;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    if (isNeeded()) {
        return false;
    }
    role_ = Role::resting;
    driver_ = std::thread::id();
    for (std::uint64_t seen = borrows_;; seen = borrows_) {
        changed_.wait_for(lock, rest_, [this] { return role_ == Role::resting && isNeeded(); });
        rest_ = std::min(2 * rest_, LONGEST_REST);
        if (role_ == Role::resting && (isNeeded() || seen == borrows_)) {
            break;
        }
    }
    if (isNeeded()) {
        rest_ = REST;
    }
    role_ = Role::own;
    isWanted_ = false;
    driver_ = std::this_thread::get_id();
    return true;
}

bool EventLoop::borrow() noexcept {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (role_ != Role::resting || isNeeded()) {
        return false;
    }
    role_ = Role::borrowed;
    ++borrows_;
    driver_ = std::this_thread::get_id();
    return true;
}

// Checks for posted functions before it waits, too, because `poll` may have consumed the event that
// announced one.
bool EventLoop::turn(Clock::time_point due) noexcept {
    if (mustGiveBack()) {
        return false;
    }
    waitForEvents(timeout(due));
    runTimers();
    return !mustGiveBack();
}

bool EventLoop::mustGiveBack() noexcept {
    const std::lock_guard<std::mutex> guard(mutex_);
    return isNeeded();
}

void EventLoop::giveBack() noexcept {
    const bool isIdle = isIdle_ && isIdle_();
    bool isNeededNow = false;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        role_ = Role::resting;
        driver_ = std::thread::id();
        isWanted_ = !isIdle;
        isNeededNow = isNeeded();
    }
    if (isNeededNow) {
        changed_.notify_one();
    }
}

// A function may remove the watch of another descriptor of the same batch, and the system may give
// its number to a new one. Therefore the watches that the events belong to are looked up before the
// first function is called, so that no event is delivered to the wrong function.
void EventLoop::waitForEvents(int timeout) {
    std::array<epoll_event, 64> events;
    const int count =
        epoll_wait(epoll_.get(), events.data(), static_cast<int>(events.size()), timeout);
    std::array<std::shared_ptr<Watch>, 64> watches;
    for (int i = 0; i < count; ++i) {
        const auto at = static_cast<std::size_t>(i);
        const auto found = watches_.find(events[at].data.fd);
        if (found != watches_.end()) {
            watches[at] = found->second;
        } else {
            eventfd_t ignored = 0;
            eventfd_read(wake_.get(), &ignored);
        }
    }
    for (int i = 0; i < count; ++i) {
        const auto at = static_cast<std::size_t>(i);
        const auto found = watches[at] ? watches_.find(watches[at]->descriptor) : watches_.end();
        if (found != watches_.end() && found->second == watches[at]) {
            watches[at]->onReady(events[at].events);
        }
    }
}

void EventLoop::runJobs(std::shared_ptr<Job> job) {
    while (job) {
        std::shared_ptr<Job> next;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            next = std::move(job->next_);
            job->isPosted_ = false;
        }
        job->run();
        job = std::move(next);
    }
}

void EventLoop::runTasks() {
    std::vector<Task> tasks;
    std::shared_ptr<Job> job;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        tasks.swap(tasks_);
        job = std::move(firstJob_);
        lastJob_ = nullptr;
    }
    runJobs(std::move(job));
    for (Task& task : tasks) {
        task();
        task = nullptr;
    }
}

void EventLoop::runTimers() {
    const Clock::time_point now = Clock::now();
    while (!timers_.empty() && timers_.begin()->first.first <= now) {
        const Task task = std::move(timers_.begin()->second);
        timers_.erase(timers_.begin());
        task();
    }
}

// Returns the milliseconds until the first timer, but at most until `due`. Rounds up, so that the
// loop does not wake before a deadline.
int EventLoop::timeout(Clock::time_point due) const noexcept {
    if (!timers_.empty()) {
        due = std::min(due, timers_.begin()->first.first);
    }
    if (due == Clock::time_point::max()) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - Clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT_MAX));
}

}  // namespace kova::wire
