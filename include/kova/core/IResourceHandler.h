#pragma once

#include <memory>
#include <string>

#include "kova/core/Export.h"
#include "kova/core/IKovaApi.h"

namespace kova {

/// Serves the resources under one mount path of a composed service.
///
/// Several threads may send requests at once. The service holds no lock while it calls a handler.
/// No operation may throw. The order of the virtual operations is part of the contract.
class KOVA_API IResourceHandler {
public:
    virtual ~IResourceHandler();

    /// Serves a request on `resourcePath`, the request's path relative to the mount path ("" for
    /// the mount path itself). Takes ownership of `handler` and sends its events, before or after
    /// returning, on any thread, one at a time. The caller may destroy `request` in a terminating
    /// event.
    ///
    /// Returns a handle of its own choice for a request that stays pending (`cancelRequest` gets
    /// it), else `IKovaApi::UNDEFINED_REQUEST_HANDLE`. The service stores the handle after this
    /// function has returned, and a terminating event removes what is stored. An event that comes
    /// earlier leaves a stale entry: a later request whose response handler has the same address is
    /// then not stored, and can neither be cancelled nor is it cancelled by `shutdown`. So return
    /// no handle for a request that is already terminated, or that another thread may terminate
    /// before the handle is stored; such a request cannot be cancelled.
    virtual void* actionRequest(const Request& request,
                                std::unique_ptr<IResponseHandler<Response>>&& handler,
                                const std::string& resourcePath) = 0;
    /// Cancels the pending request `handle`, for the caller or for the shutdown of the service. May
    /// come on any thread, also while the request is being answered. The response handler may then
    /// be destroyed without a terminating event, because the service has removed the entry. Without
    /// a cancellation, a terminating event must come first: a handler that is destroyed without one
    /// leaves the stale entry that is described above.
    virtual void cancelRequest(void* handle) = 0;
};

}  // namespace kova
