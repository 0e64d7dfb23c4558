#pragma once

#include <memory>

#include "kova/core/Export.h"
#include "kova/core/IResponseHandler.h"
#include "kova/core/Request.h"
#include "kova/core/Response.h"

namespace kova {

/// The interface of a service for its clients. A service accepts requests and cancels them.
///
/// The order of the virtual functions is part of the contract.
class KOVA_API IKovaApi {
public:
    /// The null handle, which no request has.
    static constexpr void* UNDEFINED_REQUEST_HANDLE = nullptr;

    virtual ~IKovaApi();

    /// Sends a request. Returns a handle for `cancelRequest`, or `UNDEFINED_REQUEST_HANDLE` if the
    /// request is not pending: it was rejected, failed, or was answered before the call returned. A
    /// service that accepts the request takes ownership of the handler; a service that rejects it
    /// leaves the handler with the caller. Events may arrive before the call returns and on any
    /// thread.
    virtual void* actionRequest(const Request& request,
                                std::unique_ptr<IResponseHandler<Response>>&& handler) = 0;
    /// Cancels a pending request. The service itself sends no further event to the caller's
    /// handler. An unknown handle is ignored.
    virtual void cancelRequest(void* handle) = 0;
};

}  // namespace kova
