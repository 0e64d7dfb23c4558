#include "nats/Pulse.h"

#include <algorithm>

#include "nats/Frames.h"

namespace kova::nats::detail {

std::shared_ptr<Heartbeats> Heartbeats::shared() {
    static std::mutex mutex;
    static std::weak_ptr<Heartbeats> only;
    const std::lock_guard<std::mutex> guard(mutex);
    std::shared_ptr<Heartbeats> found = only.lock();
    if (!found) {
        found.reset(new Heartbeats);
        only = found;
    }
    return found;
}

Heartbeats::Heartbeats() : loop_(wire::EventLoop::start("kova-heartbeat")) {}

Heartbeats::~Heartbeats() {
    loop_->stop();
}

// A check stays armed until it finds nothing to do, so that most requests wake no thread.
void Heartbeats::add(std::shared_ptr<Pulse> pulse) {
    const std::chrono::milliseconds period = pulse->heartbeat / CHECKS;
    const std::lock_guard<std::mutex> guard(mutex_);
    pulses_.push_back(std::move(pulse));
    if (period_.count() == 0 || period < period_) {
        arm(period);
    }
}

// Changes nothing without memory, so that the next call tries again.
void Heartbeats::arm(std::chrono::milliseconds period) {
    loop_->post([this, period, round = round_ + 1] {
        loop_->after(period, [this, round] { check(round); });
    });
    ++round_;
    period_ = period;
}

// A later `arm` makes an earlier one void.
void Heartbeats::check(std::uint64_t round) {
    std::vector<std::shared_ptr<Pulse>> due;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (round != round_) {
            return;
        }
        const auto now = Pulse::Clock::now().time_since_epoch();
        std::chrono::milliseconds period{0};
        pulses_.erase(std::remove_if(pulses_.begin(), pulses_.end(),
                                     [](const auto& pulse) { return pulse->isOver.load(); }),
                      pulses_.end());
        for (const std::shared_ptr<Pulse>& pulse : pulses_) {
            const auto own = pulse->heartbeat / CHECKS;
            period = period.count() == 0 ? own : std::min(period, own);
            if (now - Pulse::Clock::duration(pulse->sentAt) >= pulse->heartbeat / 2) {
                due.push_back(pulse);
            }
        }
        period_ = period;
        if (period.count() != 0) {
            arm(period);
        }
    }
    for (const std::shared_ptr<Pulse>& pulse : due) {
        beat(*pulse);
    }
}

void Heartbeats::beat(Pulse& pulse) {
    if (!pulse.isOver) {
        const std::uint64_t latest = pulse.latest;
        std::string message;
        appendFrame(message, FrameKind::alive, latest);
        pulse.sentAt = Pulse::Clock::now().time_since_epoch().count();
        pulse.link->publish(pulse.subject, pulse.reply, message);
    }
}

}  // namespace kova::nats::detail
