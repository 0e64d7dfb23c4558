#include "nats/Inbound.h"

namespace kova::nats::detail {

void Inbound::push(Event event) noexcept {
    const std::lock_guard<std::mutex> guard(mutex_);
    const std::size_t size =
        event.message ? static_cast<std::size_t>(natsMsg_GetDataLength(event.message.get())) : 0;
    if (isClosed_ || (event.message && bytes_ + size > longest_)) {
        return;
    }
    bytes_ += size;
    events_.push_back(std::move(event));
    if (events_.size() == 1) {
        wake_();
    }
}

std::vector<Event> Inbound::take() {
    const std::lock_guard<std::mutex> guard(mutex_);
    bytes_ = 0;
    return std::exchange(events_, {});
}

void Inbound::close() noexcept {
    std::vector<Event> dropped;  // destroyed outside the lock
    const std::lock_guard<std::mutex> guard(mutex_);
    isClosed_ = true;
    dropped.swap(events_);
}

bool Inbound::isClosed() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return isClosed_;
}

}  // namespace kova::nats::detail
