#include "middleware/Segment.h"

#include <optional>
#include <utility>

#include "osal/Clock.h"

namespace kova::kit::detail {

void* Segment::actionRequest(const Request& request, ResponseHandler&& handler) {
    if (plan_.steps.empty()) {
        return send(RequestView(request), std::move(handler));
    }
    Passing passing(*this, Passage::create(plan_.observers, std::move(handler)));
    passing.run(0, request);
    return passing.handle();
}

void Segment::cancelRequest(void* handle) {
    if (const CallReference call = core_.table.find(handle)) {
        call->silence();
    }
}

void* Segment::send(const RequestView& view, ResponseHandler&& handler) {
    PendingCall::Target target;
    target.handler = std::move(handler);
    CallOptions options;
    std::optional<RequestView::TimePoint> now;
    if (plan_.calls.deadline.count() > 0) {
        options.deadline = plan_.calls.deadline;
        options.stream = view.wantsStream();
        now = plan_.calls.clock != nullptr ? plan_.calls.clock->now() : view.now();
    }
    return core_.sendAway(view.request(), std::move(target), options, now);
}

void Passing::run(std::size_t step, const Request& request) {
    const auto& steps = segment_.plan_.steps;
    if (passage_ == nullptr) {
        return;
    }
    const RequestView view(request);
    for (; step < steps.size(); ++step) {
        const auto* const observer = std::get_if<std::size_t>(&steps[step]);
        if (observer == nullptr) {
            call(*std::get_if<Chain::Function>(&steps[step]), step, request);
            return;
        }
        if (const Result<void> begun = passage_->begin(*observer, view); !begun) {
            refuse(begun.error());
            return;
        }
    }
    handle_ = segment_.send(view, std::move(passage_));
}

void Passing::call(const Chain::Function& function, std::size_t step, const Request& request) {
    Ask ask(request, request.getPath());
    const Verdict verdict = function(ask, Next(*this, step + 1));
    if (passage_ != nullptr) {
        // If the verdict contains no error, the function has kept it from an earlier request.
        refuse(verdict.error_.value_or(
            Error{statuscodes::INTERNAL_SERVER_ERROR, "a middleware did not pass the request on"}));
    }
}

// Keeps the handler alive until `onError` has returned, because this call may destroy the chain.
void Passing::refuse(const Error& error) {
    const std::unique_ptr<Passage> passage = std::move(passage_);
    passage->onError(error.toResponse());
}

}  // namespace kova::kit::detail

namespace kova::kit {

Verdict Next::operator()(const Request& request) const {
    passing_->run(step_, request);
    return {};
}

}  // namespace kova::kit
