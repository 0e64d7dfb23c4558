#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "kova/core/IKovaApi.h"
#include "kova/kit/Calls.h"
#include "kova/kit/Result.h"

namespace kova::wire {

/// A service behind an endpoint. Exceptions of the service become errors of its requests, because
/// neither nghttp2 nor `kit::Calls` lets them pass.
class ServedService final : public IKovaApi {
public:
    /// The service must outlive the object.
    explicit ServedService(IKovaApi& service) : guard_(service), calls_(guard_) {}

    /// Sends a request as `send` does, but the error of a service that throws is an event.
    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override;
    void cancelRequest(void* handle) override { calls_.cancelRequest(handle); }

    kit::Calls& calls() noexcept { return calls_; }
    /// Sends a request on the thread of the loop. Returns its handle, or null if it has ended.
    /// Fails if the service throws. The response handler then gets at most the end that another
    /// thread is already delivering.
    kit::Result<void*> send(const Request& request,
                            std::unique_ptr<IResponseHandler<Response>> handler);

private:
    class Guard : public IKovaApi {
    public:
        explicit Guard(IKovaApi& service) noexcept : service_(service) {}
        void* actionRequest(const Request& request,
                            std::unique_ptr<IResponseHandler<Response>>&& handler) override;
        void cancelRequest(void* handle) override;

        /// The reason of the latest exception; used by the thread of the loop.
        std::optional<kit::Error> failure;

    private:
        IKovaApi& service_;
    };

    Guard guard_;
    kit::Calls calls_;
};

}  // namespace kova::wire
