#include "kova/kit/Job.h"

#include <utility>

#include "resources/JobState.h"

namespace kova::kit {

bool Job::cancelled() const noexcept {
    return !state_.exchange->isOpen();
}

bool Job::sleep(std::chrono::milliseconds time) const {
    return state_.sleep(time);
}

const Ask& Job::ask() const noexcept {
    return state_.ask;
}

const std::string& Job::format() const noexcept {
    return state_.format;
}

bool Job::send(const Result<Payload>& value) const {
    if (!value) {
        state_.exchange->abort(value.error().toResponse());  // `abort` also wakes the job
        return false;
    }
    return state_.exchange->next(Response(statuscodes::MULTI_RESPONSE, *value));
}

namespace detail {

JobState::JobState(std::shared_ptr<Served> served, std::shared_ptr<Exchange> exchange,
                   const Ask& ask, const std::string& format, const Route& route,
                   const Router::Match& match, std::shared_ptr<MountState> mount)
    : exchange(std::move(exchange)),
      format(format),
      request(ask.request()),
      path(ask.path()),
      ask(request, path),
      served_(std::move(served)),
      route_(route),
      peer_(ask.peer()),
      mount_(std::move(mount)),
      captureCount_(match.count) {
    for (std::size_t i = 0; i < match.count; ++i) {
        const std::size_t offset =
            static_cast<std::size_t>(match.captures()[i].data() - ask.path().data());
        captures_[i] = std::string_view(path).substr(offset, match.captures()[i].size());
    }
}

JobState::~JobState() {
    if (!hasRun_) {
        exchange->abort(closedResponse());
    }
}

void JobState::watchCancellation() {
    exchange->onStop([weak = weak_from_this()] {
        if (const std::shared_ptr<JobState> self = weak.lock()) {
            const std::lock_guard<std::mutex> guard(self->mutex_);
            self->cancelled_ = true;
            self->changed_.notify_all();
        }
    });
}

bool JobState::sleep(std::chrono::milliseconds time) {
    std::unique_lock<std::mutex> lock(mutex_);
    return !changed_.wait_for(lock, time, [this] { return cancelled_; });
}

void JobState::run() noexcept {
    const Gate::Entry entry(served_->gate());
    if (entry) {
        runIn(mount_.get());
    }
}

// Enters the mount and its parent, then calls the function.
void JobState::runIn(MountState* mount) noexcept {
    if (mount == nullptr) {
        call();
        return;
    }
    const Gate::Entry entry(mount->gate());
    if (entry) {
        const MountState::Running running(*mount, request.getCommand(), request.getPath(),
                                          ask.clientId());
        runIn(mount->parent());
    }
}

void JobState::call() noexcept {
    if (!exchange->isOpen()) {
        return;
    }
    hasRun_ = true;
    const PeerScope scope(peer_);
    Job job(*this);
    Dispatch dispatch(ask, {captures_.data(), captureCount_}, format, exchange, job);
    invoke(route_, dispatch, mount_->onUncaught());
}

}  // namespace detail

}  // namespace kova::kit
