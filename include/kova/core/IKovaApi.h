#pragma once

#include <memory>

#include "kova/core/Export.h"
#include "kova/core/IResponseHandler.h"
#include "kova/core/Request.h"
#include "kova/core/Response.h"

namespace kova {

/// A service: takes requests and cancels them. What a client talks to.
///
/// The order of the virtual operations is part of the contract.
class KOVA_API IKovaApi {
public:
    /// The handle of no request.
    static constexpr void* UNDEFINED_REQUEST_HANDLE = nullptr;

    virtual ~IKovaApi();

    /// Asks. Returns the handle of the pending request, good for `cancelRequest`, or
    /// `UNDEFINED_REQUEST_HANDLE` when nothing stays pending: refused, failed, or answered before
    /// the call returned. A service that takes the request takes the handler over; one that refuses
    /// leaves it with the caller. Events may arrive before the call returns and on any thread.
    virtual void* actionRequest(const Request& request,
                                std::unique_ptr<IResponseHandler<Response>>&& handler) = 0;
    /// Cancels a pending request; the caller's handler gets no further event from the service
    /// itself. An unknown handle is ignored.
    virtual void cancelRequest(void* handle) = 0;
};

}  // namespace kova
