#pragma once

#include <memory>
#include <string>

#include "kova/core/Export.h"
#include "kova/core/IKovaApi.h"

namespace kova {

/// Serves the resources under one mount path of a composed service.
///
/// Several threads may send requests at the same time. The service holds no lock while it calls a
/// handler. No function may throw. The order of the virtual functions is part of the contract.
class KOVA_API IResourceHandler {
public:
    virtual ~IResourceHandler();

    /// Serves a request on `resourcePath`, the request's path relative to the mount path ("" for
    /// the mount path itself). Takes ownership of `handler` and sends the events to it, before or
    /// after returning, on any thread, one at a time. The caller may destroy `request` when it
    /// receives a terminating event.
    ///
    /// Returns a handle of its own choice if the request stays pending (`cancelRequest` receives
    /// this handle), otherwise `IKovaApi::UNDEFINED_REQUEST_HANDLE`. The service stores an entry
    /// with the handle after this function has returned, and removes the entry at the terminating
    /// event. If the terminating event arrives before the entry is stored, the entry is never
    /// removed. A later request whose response handler has the same address then gets no entry:
    /// neither `cancelRequest` nor `shutdown` cancels it. Therefore return no handle for a request
    /// that is already terminated, or that another thread may terminate before the entry is stored.
    /// Such a request cannot be cancelled.
    virtual void* actionRequest(const Request& request,
                                std::unique_ptr<IResponseHandler<Response>>&& handler,
                                const std::string& resourcePath) = 0;
    /// Cancels the pending request `handle`, because the caller cancels it or the service shuts
    /// down. Any thread may call it, also while the request is being answered. The service has
    /// removed the entry of the request before this call, so the response handler may then be
    /// destroyed without a terminating event. If no cancellation took place, destroying a response
    /// handler without a terminating event leaves a stale entry, as described above.
    virtual void cancelRequest(void* handle) = 0;
};

}  // namespace kova
