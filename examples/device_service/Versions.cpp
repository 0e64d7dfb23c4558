#include "Versions.h"

#include <future>
#include <memory>
#include <utility>
#include <vector>

#include "kova/core/GenericObject.h"
#include "kova/core/SemVer.h"
#include "kova/core/response_handlers.h"
#include "util/config/Value.h"

namespace device {

namespace {

using Texts = std::vector<std::string>;
using Answer = std::optional<kova::Response>;

/// Fulfils the promise with the first event and ignores the others.
class FirstEvent : public kova::IResponseHandler<kova::Response> {
public:
    explicit FirstEvent(std::promise<Answer>&& answer) : answer_(std::move(answer)) {}
    ~FirstEvent() override { settle(std::nullopt); }

    bool onNext(const kova::Response& value) override {
        settle(value);
        return true;
    }
    void onError(const kova::Response& error) override { settle(error); }
    void onCompleted() override { settle(std::nullopt); }

private:
    void settle(Answer&& answer) {
        if (!std::exchange(settled_, true)) {
            answer_.set_value(std::move(answer));
        }
    }

    std::promise<Answer> answer_;
    bool settled_ = false;
};

Answer ask(kova::IKovaApi& service, const kova::Request& request,
           std::chrono::milliseconds patience) {
    std::promise<Answer> promise;
    std::future<Answer> answer = promise.get_future();
    void* handle = nullptr;
    {
        // If the service rejects the request, the handler is destroyed at the end of the block,
        // which fulfils the promise.
        std::unique_ptr<kova::IResponseHandler<kova::Response>> handler =
            std::make_unique<FirstEvent>(std::move(promise));
        handle = service.actionRequest(request, std::move(handler));
    }
    const bool came = answer.wait_for(patience) == std::future_status::ready;
    if (handle != kova::IKovaApi::UNDEFINED_REQUEST_HANDLE) {
        service.cancelRequest(handle);
    }
    return came ? answer.get() : std::nullopt;
}

std::optional<Texts> textsIn(const kova::Payload& payload) {
    using util::config::Value;
    const std::unique_ptr<Value, void (*)(Value*)> tree(kova::Payload::createConfigFrom(payload),
                                                        Value::destroy);
    return tree ? kova::fromGenericArray<std::string>(*tree) : std::nullopt;
}

std::string joined(const Texts& texts) {
    std::string list;
    for (const std::string& text : texts) {
        list += (list.empty() ? "" : ", ") + text;
    }
    return list;
}

}  // namespace

Agreement agreeOnVersion(kova::IKovaApi& service, const kova::Request& question,
                         const std::string& wanted, std::chrono::milliseconds patience) {
    const Answer answer = ask(service, question, patience);
    if (!answer) {
        return {std::nullopt, "the service does not say which versions it offers"};
    }
    if (answer->isErrorResponse()) {
        return {std::nullopt, "the service does not say which versions it offers: " +
                                  answer->getErrorMessageWithCode()};
    }
    const std::optional<Texts> offered = textsIn(answer->getPayload());
    if (!offered) {
        return {std::nullopt, "what the service says is no list of versions"};
    }
    const std::string choice = wanted + " (offered: " + joined(*offered) + ")";
    const auto chosen = kova::semver::getMostCompatible(wanted, *offered);
    if (!chosen) {
        return {std::nullopt, "no interface serves a client built for " + choice};
    }
    return {chosen, "interface " + *chosen + " serves a client built for " + choice};
}

}  // namespace device
