#pragma once

#include <memory>
#include <string>
#include <utility>

#include "kova/core/IResponseHandler.h"
#include "resources/Served.h"

namespace kova::kit::detail {

/// A response handler that passes the events of a request on to an exchange.
class Forward final : public IResponseHandler<Response> {
public:
    explicit Forward(std::shared_ptr<Exchange> exchange) noexcept
        : exchange_(std::move(exchange)) {}
    ~Forward() override { exchange_->abandon(); }
    Forward(const Forward&) = delete;
    Forward& operator=(const Forward&) = delete;

    bool onNext(const Response& value) override { return !exchange_->next(value); }
    void onError(const Response& error) override { exchange_->fail(error); }
    void onCompleted() override { exchange_->complete(); }

private:
    const std::shared_ptr<Exchange> exchange_;
};

/// Passes the request of an exchange on to another object, with the path of `ask`. If the exchange
/// is cancelled, cancels the request at that object.
inline void forward(const std::shared_ptr<Served>& target,
                    const std::shared_ptr<Exchange>& exchange, const Ask& ask,
                    const std::shared_ptr<MountState>& mount) {
    void* const handle = target->actionRequest(ask.request(), std::make_unique<Forward>(exchange),
                                               std::string(ask.path()), mount);
    if (handle != nullptr) {
        exchange->onCancel([target, handle] { target->cancelRequest(handle); });
    }
}

}  // namespace kova::kit::detail
