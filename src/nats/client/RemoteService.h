#pragma once

#include <memory>

#include "kova/core/IKovaApi.h"
#include "kova/kit/Calls.h"
#include "nats/client/ClientState.h"

namespace kova::nats::detail {

/// The service that `connect` returns: `kit::Calls` in front of the client's requests, which gives
/// each request one end and a handle of its own, and silences it when it is cancelled.
class RemoteService final : public IKovaApi {
public:
    /// Throws `std::system_error` if the system refuses a thread.
    RemoteService(const Urls& urls, const ClientSettings& settings)
        : state_(ClientState::start(urls, settings)),
          calls_(std::make_unique<kit::Calls>(*state_)) {}
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
    std::unique_ptr<kit::Calls> calls_;
};

}  // namespace kova::nats::detail
