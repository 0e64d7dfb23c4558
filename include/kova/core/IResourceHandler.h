#pragma once

#include <memory>
#include <string>

#include "kova/core/Export.h"
#include "kova/core/IKovaApi.h"

namespace kova {

/// Serves the resources under one mount path of a composed service.
///
/// Requests may arrive from several threads at once; no lock of the service is held while they do.
/// No operation may throw. The order of the virtual operations is part of the contract.
class KOVA_API IResourceHandler {
public:
    virtual ~IResourceHandler();

    /// Serves a request on `resourcePath`, the request's path relative to the mount path ("" for
    /// the mount path itself). Owns `handler` from now on and sends its events, before or after
    /// returning, on any thread, one at a time. Returns a handle of its own choice for a request
    /// that stays pending (it is given back to `cancelRequest`), else
    /// `IKovaApi::UNDEFINED_REQUEST_HANDLE`; no handle either for a request that it has already
    /// terminated: the service would keep it as pending, and a later request could be taken for it.
    virtual void* actionRequest(const Request& request,
                                std::unique_ptr<IResponseHandler<Response>>&& handler,
                                const std::string& resourcePath) = 0;
    /// The caller, or the shutdown of the service, cancels the pending request `handle`. May come
    /// on any thread, also while the request is being answered. The response handler may be
    /// destroyed without a terminating event.
    virtual void cancelRequest(void* handle) = 0;
};

}  // namespace kova
