#include "kova/kit/CallDraft.h"

namespace kova::kit {

namespace {

bool isError(const Response& value) {
    return value.isErrorResponse() || value.getStatusCode() >= statuscodes::BAD_REQUEST;
}

// A receiver that calls the functions that are set in a draft.
class FunctionReceiver final : public Receiver {
public:
    FunctionReceiver(CallDraft::ValueFunction onValue, CallDraft::ValueFunction onProgress,
                     CallDraft::EndFunction onEnd)
        : onValue_(std::move(onValue)),
          onProgress_(std::move(onProgress)),
          onEnd_(std::move(onEnd)) {}

    Result<void> onValue(const Response& value) override {
        if (isError(value)) {
            return Error::of(value);
        }
        const auto& function =
            value.getStatusCode() == statuscodes::MULTI_RESPONSE ? onProgress_ : onValue_;
        return function ? function(value) : Result<void>();
    }
    void onEnd(const End& end) override {
        if (onEnd_) {
            onEnd_(end);
        }
    }

private:
    const CallDraft::ValueFunction onValue_;
    const CallDraft::ValueFunction onProgress_;
    const CallDraft::EndFunction onEnd_;
};

}  // namespace

void CallDraft::addHeader(const std::string& key, Result<Tree>&& value) {
    if (value) {
        request.add2header(key.c_str(), value->release());
    } else {
        fail({value.error().code, "header " + key + ": " + value.error().message});
    }
}

void CallDraft::fail(const Error& error) {
    if (!error_) {
        error_ = error;
    }
}

Subscription CallDraft::start() {
    if (error_) {
        if (onEnd) {
            onEnd(End(End::Kind::refused, *error_));
        }
        return {};
    }
    return calls_->start(request,
                         std::make_unique<FunctionReceiver>(
                             std::move(onValue), std::move(onProgress), std::move(onEnd)),
                         options);
}

Result<Response> CallDraft::wait(std::chrono::milliseconds limit) {
    if (error_) {
        return *error_;
    }
    AskOptions ask;
    ask.limit = limit;
    ask.executor = options.executor;
    ask.onProgress = onProgress ? &onProgress : nullptr;
    Result<Response> response = calls_->ask(request, ask);
    if (!response && !needsValue && response.error().code == statuscodes::NO_CONTENT) {
        return Response(statuscodes::OK);
    }
    if (!response && response.error().code == statuscodes::NO_CONTENT) {
        return Error{statuscodes::BAD_GATEWAY, response.error().message};
    }
    if (response && isError(*response)) {
        return Error::of(*response);
    }
    return response;
}

}  // namespace kova::kit
