#include "resources/MountState.h"

#include <utility>

#include "calls/Threads.h"

namespace kova::kit::detail {

std::vector<CallInfo> MountState::jobs() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    std::vector<CallInfo> result;
    for (Running const* const job : running_) {
        CallInfo info;
        info.command = job->command_;
        info.path = job->path_;
        info.client = job->client_;
        info.age = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - job->begun_);
        info.phase = CallInfo::Phase::inService;
        info.thread = job->thread_;
        result.push_back(std::move(info));
    }
    return result;
}

MountState::Running::Running(MountState& mount, const std::string& command, const std::string& path,
                             std::string client)
    : mount_(mount),
      command_(command),
      path_(path),
      client_(std::move(client)),
      thread_(thisThread().number) {
    const std::lock_guard<std::mutex> guard(mount_.mutex_);
    place_ = mount_.running_.insert(mount_.running_.end(), this);
}

MountState::Running::~Running() {
    const std::lock_guard<std::mutex> guard(mount_.mutex_);
    mount_.running_.erase(place_);
}

}  // namespace kova::kit::detail
