#include "kova/kit/Subscription.h"

#include "calls/PendingCall.h"
#include "calls/Threads.h"

namespace kova::kit {

Subscription& Subscription::operator=(Subscription&& other) noexcept {
    if (this != &other) {
        reset();
        call_ = std::exchange(other.call_, nullptr);
    }
    return *this;
}

Subscription::~Subscription() {
    reset();
}

void Subscription::reset() noexcept {
    if (call_ != nullptr) {
        call_->silence();
        detail::waitForCallback(*call_);
        detach();
    }
}

void Subscription::cancel() noexcept {
    if (call_ != nullptr) {
        call_->end(End::Kind::cancelled,
                   {statuscodes::SERVICE_UNAVAILABLE, "cancelled: " + call_->describe()});
    }
}

void Subscription::detach() noexcept {
    if (call_ != nullptr) {
        std::exchange(call_, nullptr)->release();
    }
}

bool Subscription::pending() const noexcept {
    return call_ != nullptr && (call_->peek() & detail::state::ENDED) == 0;
}

}  // namespace kova::kit
