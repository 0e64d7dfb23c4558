#pragma once

#include <chrono>
#include <memory>

#include "client/ClientSettings.h"
#include "client/ClientState.h"
#include "kova/core/IKovaApi.h"
#include "kova/kit/CallerDriven.h"
#include "kova/kit/Calls.h"

namespace kova::http::detail {

/// The service that `connect` returns: `kit::Calls` in front of the client's requests, which gives
/// each request one end and a handle of its own, and silences it when it is cancelled. A thread
/// that waits for the only open request drives it.
class RemoteService final : public IKovaApi, public kit::CallerDriven {
public:
    /// Throws `std::system_error` if the system refuses a thread.
    RemoteService(const Address& address, const ClientSettings& settings)
        : state_(ClientState::start(address, settings)),
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

    bool beginDriving() noexcept override { return state_->beginDriving(); }
    bool drive(std::chrono::steady_clock::time_point due) override { return state_->drive(due); }
    void endDriving() noexcept override { state_->endDriving(); }
    void interruptDriving() noexcept override { state_->interruptDriving(); }

private:
    const std::shared_ptr<ClientState> state_;
    std::unique_ptr<kit::Calls> calls_;
};

}  // namespace kova::http::detail
