#include "middleware/Segment.h"

#include <utility>

#include "middleware/RequestHeader.h"

namespace kova::kit::detail {

void* Segment::actionRequest(const Request& request, ResponseHandler&& handler) {
    if (plan_.steps.empty()) {
        return send(request, std::move(handler));
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

void* Segment::send(const Request& request, ResponseHandler&& handler) {
    CallOptions options;
    options.deadline = plan_.calls.deadline;
    options.stream = options.deadline.count() > 0 && wantsStream(request);
    PendingCall::Target target;
    target.handler = std::move(handler);
    return core_.sendAway(request, std::move(target), options);
}

void Passing::run(std::size_t step, const Request& request) {
    const auto& steps = segment_.plan_.steps;
    if (passage_ == nullptr) {
        return;
    }
    for (; step < steps.size(); ++step) {
        const auto* const observer = std::get_if<std::size_t>(&steps[step]);
        if (observer == nullptr) {
            call(*std::get_if<Chain::Function>(&steps[step]), step, request);
            return;
        }
        const Ask ask(request, request.getPath());
        if (const Result<void> begun = passage_->begin(*observer, ask); !begun) {
            refuse(begun.error());
            return;
        }
    }
    handle_ = segment_.send(request, std::move(passage_));
}

void Passing::call(const Chain::Function& function, std::size_t step, const Request& request) {
    Ask ask(request, request.getPath());
    const Verdict verdict = function(ask, Next(*this, step + 1));
    if (passage_ != nullptr) {
        // The verdict of an earlier request has no error.
        refuse(verdict.error_.value_or(
            Error{statuscodes::INTERNAL_SERVER_ERROR, "a middleware did not pass the request on"}));
    }
}

// The handler is destroyed after the call, which may destroy the chain.
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
