#include "calls/BlockWatch.h"

#include <algorithm>
#include <string>

#include "calls/CallsChannel.h"
#include "calls/Threads.h"

namespace kova::kit::detail {

BlockWatch::Running::Running(BlockWatch& watch, const Task& task)
    : watch_(watch), task_(task), thread_(thisThread().number) {
    bool arms = false;
    {
        const std::lock_guard<std::mutex> guard(watch_.mutex_);
        watch_.running_.push_back(this);
        watch_.busy_ = true;
        arms = !watch_.armed_;
        if (arms && !watch_.alarm_) {
            watch_.alarm_ = std::make_unique<osal::Alarm>(
                watch_.timer_, [](void* user) { static_cast<BlockWatch*>(user)->expired(); },
                &watch_);
        }
        watch_.armed_ = true;
    }
    if (arms) {
        // `arm` fails only if the thread of the alarms cannot be started. In this case nothing is
        // traced.
        static_cast<void>(watch_.alarm_->arm(LONG_WAIT));
    }
}

BlockWatch::Running::~Running() {
    const std::lock_guard<std::mutex> guard(watch_.mutex_);
    auto& all = watch_.running_;
    all.erase(std::find(all.begin(), all.end(), this));
}

void BlockWatch::expired() {
    std::vector<std::string> texts;
    bool again = false;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        for (Running* const running : running_) {
            if (++running->expiries_ == 2) {
                texts.push_back(running->task_.label() + " has blocked thread " +
                                std::to_string(running->thread_) + " of its executor for 1 s");
            }
        }
        again = busy_ || !running_.empty();
        busy_ = false;
        armed_ = again;
    }
    for (const std::string& text : texts) {
        callsChannel().traceText(5, text);
    }
    if (again) {
        static_cast<void>(alarm_->arm(LONG_WAIT));
    }
}

}  // namespace kova::kit::detail
