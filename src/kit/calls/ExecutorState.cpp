#include "calls/ExecutorState.h"

#include <vector>

#include "calls/KitThread.h"
#include "calls/Threads.h"

namespace kova::kit::detail {

ExecutorState::~ExecutorState() = default;

bool ExecutorState::reserve(Reservation& place) noexcept {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (stopping_ || used_ >= capacity_) {
        return false;
    }
    ++used_;
    place.previous_ = nullptr;
    place.next_ = places_;
    if (places_ != nullptr) {
        places_->previous_ = &place;
    }
    places_ = &place;
    return true;
}

void ExecutorState::release(Reservation& place) noexcept {
    const std::lock_guard<std::mutex> guard(mutex_);
    --used_;
    (place.previous_ != nullptr ? place.previous_->next_ : places_) = place.next_;
    if (place.next_ != nullptr) {
        place.next_->previous_ = place.previous_;
    }
    if (stopping_) {
        wake();
    }
}

void ExecutorState::post(Task& task) noexcept {
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (!left_) {
            tasks_.push(task);
            ++queued_;
            wake();
            return;
        }
    }
    kitThread().post(task);
}

void ExecutorState::post(TaskList& tasks, std::size_t count) noexcept {
    const std::lock_guard<std::mutex> guard(mutex_);
    tasks_.append(tasks);
    queued_ += count;
    wake();
}

bool ExecutorState::tryPost(Task& task) noexcept {
    // If a service posts a task during `actionRequest`, the kit assumes that this executor serves
    // the request.
    thisThread().servedBy = this;
    const std::lock_guard<std::mutex> guard(mutex_);
    if (stopping_ || used_ >= capacity_) {
        return false;
    }
    ++used_;
    tasks_.push(task);
    ++queued_;
    wake();
    return true;
}

void ExecutorState::giveBackPlace() noexcept {
    const std::lock_guard<std::mutex> guard(mutex_);
    --used_;
    if (stopping_) {
        wake();
    }
}

Task* ExecutorState::popLocked() noexcept {
    if (tasks_.empty()) {
        return nullptr;
    }
    ++running_;
    --queued_;
    return &tasks_.pop();
}

void ExecutorState::popAllLocked(TaskList& tasks) noexcept {
    tasks.append(tasks_);
    queued_ = 0;
}

void ExecutorState::run(Task& task) noexcept {
    runUncounted(task);
    const std::lock_guard<std::mutex> guard(mutex_);
    --running_;
    if (stopping_) {
        wake();
    }
}

void ExecutorState::runUncounted(Task& task) noexcept {
    ThreadRecord& thread = thisThread();
    ExecutorState* const outer = thread.executor;
    thread.executor = this;
    {
        const BlockWatch::Running running(watch_, task);
        task.run();
    }
    thread.executor = outer;
    task.done();
}

void ExecutorState::endCalls() noexcept {
    std::vector<Reservation*> calls;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        stopping_ = true;
        for (Reservation* place = places_; place != nullptr; place = place->next_) {
            place->hold();
            calls.push_back(place);
        }
        wake();
    }
    for (Reservation* const call : calls) {
        call->endForStop();
    }
}

void ExecutorState::leaveToKit() noexcept {
    std::vector<Task*> tasks;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        left_ = true;
        for (; !tasks_.empty(); --queued_) {
            tasks.push_back(&tasks_.pop());
        }
    }
    for (Task* const task : tasks) {
        kitThread().post(*task);
    }
}

}  // namespace kova::kit::detail
