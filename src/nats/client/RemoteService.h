#pragma once

#include <memory>

#include "kova/core/IKovaApi.h"
#include "kova/kit/Calls.h"
#include "nats/client/ClientState.h"

namespace kova::nats::detail {

/// The service that `connect` returns: `kit::Calls` in front of what sends the requests, which
/// gives each request one end and a handle of its own, and silences it when it is cancelled.
class RemoteService final : public IKovaApi {
public:
    /// `sender` is the client, or what sends requests through it.
    RemoteService(std::shared_ptr<ClientState> state, std::shared_ptr<IKovaApi> sender)
        : state_(std::move(state)),
          sender_(std::move(sender)),
          calls_(std::make_unique<kit::Calls>(*sender_)) {}
    ~RemoteService() override {
        calls_.reset();
        state_->stop();
    }
    RemoteService(const RemoteService&) = delete;
    RemoteService& operator=(const RemoteService&) = delete;

    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override {
        return calls_->actionRequest(request, std::move(handler));
    }
    void cancelRequest(void* handle) override { calls_->cancelRequest(handle); }

private:
    const std::shared_ptr<ClientState> state_;
    const std::shared_ptr<IKovaApi> sender_;
    std::unique_ptr<kit::Calls> calls_;
};

}  // namespace kova::nats::detail
