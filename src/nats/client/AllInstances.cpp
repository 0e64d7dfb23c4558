#include "nats/client/AllInstances.h"

#include <utility>

namespace kova::nats::detail {

void* AllInstances::actionRequest(const Request& request,
                                  std::unique_ptr<IResponseHandler<Response>>&& handler) {
    const std::uint64_t number = ++lastNumber_;
    const auto gathering = std::make_shared<Gathering>(
        state_, settings_, request, std::move(handler), [self = weak_from_this(), number] {
            if (const auto owner = self.lock()) {
                owner->gatherings_.erase(number);
            }
        });
    state_->loop()->post([self = shared_from_this(), number, gathering] {
        self->gatherings_.emplace(number, gathering);
        gathering->start();
    });
    return toHandle(number);
}

void AllInstances::cancelRequest(void* handle) {
    state_->loop()->post([self = shared_from_this(), number = toNumber(handle)] {
        if (const auto found = self->gatherings_.extract(number)) {
            found.mapped()->cancel();
        }
    });
}

}  // namespace kova::nats::detail
