#include "streams/DeliveryPool.h"

#include <sys/prctl.h>

#include <algorithm>
#include <system_error>
#include <thread>
#include <utility>

#include "calls/CallsChannel.h"
#include "kova/core/Errors.h"
#include "zel/ErrorOutput.h"

namespace kova::kit::detail {

namespace {

constexpr unsigned MAX_CONCURRENCY = 4;

thread_local bool runsTask = false;

}  // namespace

PooledTask::~PooledTask() = default;

DeliveryPool& DeliveryPool::instance() {
    // Never destroyed: its threads run until the process ends.
    static DeliveryPool& pool = *new DeliveryPool;
    return pool;
}

DeliveryPool::DeliveryPool()
    : concurrency_(std::clamp(std::thread::hardware_concurrency(), 1U, MAX_CONCURRENCY)) {
    for (std::size_t i = 0; i < places_.size(); ++i) {
        places_[i].number = i;
    }
}

bool DeliveryPool::isInside() noexcept {
    return runsTask;
}

DeliveryFigures DeliveryPool::figures() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto stuck = std::count_if(places_.begin(), places_.end(), [](const Place& place) {
        return place.state == Place::State::stuck && !place.isReplaced;
    });
    return {threads_, static_cast<std::size_t>(stuck), replaced_};
}

void DeliveryPool::submit(std::shared_ptr<PooledTask> task) {
    const Lock lock(mutex_);
    queue_.push_back(std::move(task));
    wakeOrStart();
    if (isMonitorAsleep_) {
        isMonitorAsleep_ = false;
        monitorWork_.notify_one();
    }
}

// Wakes or starts a thread that takes a task from the queue, unless enough threads are running
// tasks.
void DeliveryPool::wakeOrStart() {
    if (active_ >= concurrency_) {
        return;
    }
    if (idle_ < std::min(queue_.size(), concurrency_ - active_)) {
        start();
    }
    work_.notify_one();
}

// Starts a thread. The first start also starts the monitor. If the system cannot create a thread,
// the monitor tries again later.
void DeliveryPool::start() {
    try {
        if (!hasMonitor_) {
            std::thread([this] { monitor(); }).detach();
            hasMonitor_ = true;
        }
        auto* const place = std::find_if(places_.begin(), places_.end(), [](const Place& each) {
            return each.state == Place::State::unused;
        });
        if (threads_ < MAX_THREADS && place != places_.end()) {
            std::thread([this, &place = *place] { work(place); }).detach();
            place->state = Place::State::idle;
            ++threads_;
            ++idle_;
        }
    } catch (const std::system_error&) {
        callsChannel().traceText(6, "no thread for the values of streams");
    }
}

// --- Threads -------------------------------------------------------------------------------------

void DeliveryPool::work(Place& place) noexcept {
    prctl(PR_SET_NAME, "kova-streams");
    runsTask = true;
    Lock lock(mutex_);
    while (!place.isReplaced) {
        if (queue_.empty() || active_ >= concurrency_) {
            work_.wait(lock);
        } else {
            run(place, lock);
        }
    }
    place.isReplaced = false;
    place.state = Place::State::unused;
    --replaced_;
    wasReported_ = false;
}

void DeliveryPool::run(Place& place, Lock& lock) {
    place.task = std::move(queue_.front());
    queue_.pop_front();
    place.ownsTask.store(true);
    place.seen = place.visit.load();
    place.state = Place::State::working;
    --idle_;
    ++active_;
    if (!queue_.empty()) {
        wakeOrStart();
    }
    PooledTask& task = *place.task;
    lock.unlock();
    task.deliver(place);
    lock.lock();
    finish(place, lock);
}

// Ends the work of a thread on its task, and releases the task.
void DeliveryPool::finish(Place& place, Lock& lock) {
    if (place.state == Place::State::working) {
        --active_;
    }
    place.state = Place::State::idle;
    if (!place.isReplaced) {
        ++idle_;
    }
    std::shared_ptr<PooledTask> task = std::move(place.task);
    const bool owned = place.ownsTask.exchange(false);
    lock.unlock();
    if (owned) {
        task->release();
    }
    task.reset();  // released without the lock, because this may destroy the task
    lock.lock();
}

// --- Monitor -------------------------------------------------------------------------------------

void DeliveryPool::monitor() noexcept {
    prctl(PR_SET_NAME, "kova-monitor");
    Lock lock(mutex_);
    for (;;) {
        if (active_ == 0 && queue_.empty()) {
            isMonitorAsleep_ = true;
            monitorWork_.wait(lock, [this] { return !isMonitorAsleep_; });
        }
        monitorWork_.wait_for(lock, TICK);
        look(lock);
    }
}

void DeliveryPool::look(Lock& lock) {
    findStuck();
    if (queue_.empty()) {
        return;
    }
    wakeOrStart();
    if (active_ == 0 && idle_ == 0 && threads_ == MAX_THREADS) {
        replaceLongestStuck(lock);
    }
}

void DeliveryPool::findStuck() {
    for (Place& place : places_) {
        if (place.state != Place::State::working) {
            continue;
        }
        const std::uint64_t visit = place.visit.load();
        if (visit % 2 == 0 || visit != place.seen) {
            place.seen = visit;
            continue;
        }
        place.state = Place::State::stuck;
        place.stuckSince = Clock::now();
        --active_;
        if (place.ownsTask.exchange(false)) {
            queue_.push_back(place.task);
        }
    }
}

DeliveryPool::Place* DeliveryPool::longestStuck() noexcept {
    Place* longest = nullptr;
    for (Place& place : places_) {
        if (place.state == Place::State::stuck && !place.isReplaced &&
            (longest == nullptr || place.stuckSince < longest->stuckSince)) {
            longest = &place;
        }
    }
    return longest;
}

void DeliveryPool::replaceLongestStuck(Lock& lock) {
    Place* const place = longestStuck();
    if (place == nullptr || Clock::now() - place->stuckSince < PATIENCE) {
        return;
    }
    if (replaced_ == MAX_REPLACED) {
        reportExhaustion(lock);
        return;
    }
    place->isReplaced = true;
    --threads_;
    ++replaced_;
    const std::shared_ptr<PooledTask> task = place->task;
    const std::size_t number = place->number;
    const std::uint64_t visit = place->seen;
    start();
    lock.unlock();
    task->disconnect(number, visit);
    lock.lock();
}

void DeliveryPool::reportExhaustion(Lock& lock) {
    if (std::exchange(wasReported_, true)) {
        return;
    }
    lock.unlock();
    zel::ErrorOutput("src/kit/streams/DeliveryPool", __LINE__, true)(
        errors::Error, errors::RequestFailed,
        "streams wait: 32 receivers block the threads that deliver values");
    lock.lock();
}

}  // namespace kova::kit::detail
