#include "servicecomposition/ServiceResponseHandler.h"

#include "kova/core/StaticComposedKovaServiceImpl.h"
#include "kova/core/response_handlers.h"

namespace kova::detail {

inline bool ServiceResponseHandler::terminates(char const* event) noexcept {
    // Both checks are needed. The first check writes a trace. If the trace sink then sends a
    // terminating event, that event sets the second flag.
    if (refuseTermination(filterTerminated_, event) ||
        refuseTermination(actionTerminated_, event)) {
        return false;
    }
    service_.requestDone(inner_.get());
    return true;
}

bool ServiceResponseHandler::onNext(const Response& value) {
    // This flag is sufficient: `actionTerminated_` is set only if `filterTerminated_` is set.
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
