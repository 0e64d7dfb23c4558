#include "servicecomposition/ServiceResponseHandler.h"

#include "kova/core/StaticComposedKovaServiceImpl.h"
#include "kova/core/response_handlers.h"

namespace kova::detail {

inline bool ServiceResponseHandler::terminates(char const* event) noexcept {
    // Both checks are needed. If a trace sink sends an event while the first trace is written, the
    // second flag is set.
    if (refuseTermination(filterTerminated_, event) ||
        refuseTermination(actionTerminated_, event)) {
        return false;
    }
    service_.requestDone(inner_.get());
    return true;
}

bool ServiceResponseHandler::onNext(const Response& value) {
    // `actionTerminated_` is set only if `filterTerminated_` is set.
    if (refuseNext(filterTerminated_)) {
        return true;
    }
    return !shutdown_ && inner_->onNext(value);
}

void ServiceResponseHandler::onError(const Response& error) noexcept {
    if (terminates("onError")) {
        inner_->onError(error);
    }
}

void ServiceResponseHandler::onCompleted() noexcept {
    if (terminates("onCompleted")) {
        inner_->onCompleted();
    }
}

}  // namespace kova::detail
