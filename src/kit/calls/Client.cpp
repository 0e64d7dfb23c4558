#include "kova/kit/Client.h"

#include <utility>

#include "osal/Alarm.h"

namespace kova::kit {

namespace {

std::shared_ptr<Calls> makeCalls(IKovaApi& service, const ClientOptions& options) {
    CallsOptions callsOptions;
    callsOptions.deadline = options.deadline;
    callsOptions.clock = options.clock;
    return std::make_shared<Calls>(service, callsOptions);
}

}  // namespace

Client::Client(IKovaApi& service, const ClientOptions& options)
    : options_(options), calls_(makeCalls(service, options)) {}

Client::~Client() {
    calls_->close(osal::Alarm::LONGEST);
}

CallDraft Client::makeDraft(std::string_view command, const std::string& path,
                            const Result<Payload>& body) const {
    CallOptions callOptions;
    callOptions.executor = options_.executor;
    callOptions.deadline = options_.deadline;
    CallDraft draft(calls_, Request(std::string(command), path, body.valueOr(Payload())),
                    std::move(callOptions));
    if (!body) {
        draft.fail(body.error());
    }
    headers::appendTracingInfo(draft.request, options_.servicePath, options_.clientId);
    draft.request.setMimeType(options_.accept);
    headers::appendAuthInfo(draft.request);
    return draft;
}

std::vector<CallInfo> Client::close(std::chrono::milliseconds limit) {
    return calls_->close(limit);
}

std::vector<CallInfo> Client::pending() const {
    return calls_->pending();
}

}  // namespace kova::kit
