#include "kova/kit/Calls.h"

#include <utility>

#include "calls/BlockingCall.h"
#include "calls/CallsCore.h"
#include "calls/Threads.h"

namespace kova::kit {

using detail::CallReference;
using detail::PendingCall;

std::string CallInfo::toString() const {
    static constexpr char const* PHASES[] = {"in the service", "pending", "in a callback",
                                             "being cancelled"};
    std::string text = command + " '" + path + "', " + std::to_string(age.count()) + " ms, " +
                       PHASES[static_cast<int>(phase)];
    if (thread != 0) {
        text += " on thread " + std::to_string(thread);
    }
    return text;
}

Calls::Calls(IKovaApi& service, const CallsOptions& options)
    : core_(std::make_unique<detail::CallsCore>(service, options)) {}

Calls::~Calls() = default;

void* Calls::actionRequest(const Request& request,
                           std::unique_ptr<IResponseHandler<Response>>&& handler) {
    return core_->actionRequest(request, std::move(handler));
}

void Calls::cancelRequest(void* handle) {
    core_->cancelRequest(handle);
}

void Calls::reset(void* handle) {
    if (const CallReference call = core_->table.find(handle)) {
        call->silence();
        detail::waitForCallback(*call);
    }
}

bool Calls::cancel(void* handle) {
    const CallReference call = core_->table.find(handle);
    return call && call->end(End::Kind::cancelled,
                             {statuscodes::SERVICE_UNAVAILABLE, "cancelled: " + call->describe()});
}

Subscription Calls::start(const Request& request, std::unique_ptr<Receiver> receiver,
                          const CallOptions& options) {
    PendingCall::Target target;
    target.receiver = std::move(receiver);
    return Subscription(core_->send(request, std::move(target), options).release());
}

Result<Response> Calls::ask(const Request& request, const AskOptions& options) {
    return detail::BlockingCall(*core_, request, options).run();
}

void Calls::lose(const std::string& reason) {
    core_->lose({statuscodes::SERVICE_UNAVAILABLE, reason});
}

std::vector<CallInfo> Calls::stop(const std::string& reason, std::chrono::milliseconds limit) {
    return core_->stopAndWait({statuscodes::SERVICE_UNAVAILABLE, reason}, limit)
               ? std::vector<CallInfo>()
               : core_->list();
}

std::vector<CallInfo> Calls::close(std::chrono::milliseconds limit) {
    return core_->closeAndWait(true, limit) ? std::vector<CallInfo>() : core_->list();
}

std::vector<CallInfo> Calls::pending() const {
    return core_->list();
}

}  // namespace kova::kit
