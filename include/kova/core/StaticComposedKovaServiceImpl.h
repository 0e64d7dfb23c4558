#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kova/core/Export.h"
#include "kova/core/IKovaApi.h"
#include "kova/core/IResourceHandler.h"

namespace kova {

namespace detail {
class MountTable;
class PendingRequests;
}  // namespace detail

/// The implementation of `StaticComposedKovaService`: routing, the table of pending requests,
/// cancellation and shutdown. Applications use `StaticComposedKovaService`.
///
/// A mutex guards only the table of pending requests. It is never held while a handler or a trace
/// sink is called. The handlers never change after construction and are read without a lock.
class KOVA_API StaticComposedKovaServiceImpl : public IKovaApi {
public:
    class RootHandler;
    /// The resource handlers by mount path.
    using Handlers = std::map<std::string, std::unique_ptr<IResourceHandler>>;

    /// Takes ownership of the handlers. Creates a root handler unless a mount path is exactly "/".
    explicit StaticComposedKovaServiceImpl(Handlers&& handlers);
    /// Destroys the root handler, the pending table and the handlers, in that order. The destructor
    /// of a handler may terminate its requests.
    ~StaticComposedKovaServiceImpl() override;

    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) noexcept override;
    void cancelRequest(void* handle) noexcept override;
    /// Implements `StaticComposedKovaService::shutdown`.
    void shutdown();

    /// Returns the path without its trailing "/" characters. The first character always stays.
    static std::string normalize(const std::string& path);
    /// Passes a request to the resource handler that is mounted at `mountPath`, with the response
    /// handler wrapped. If the request stays pending, stores its entry and returns the service
    /// handle; otherwise returns `UNDEFINED_REQUEST_HANDLE`. Does not read the request after the
    /// resource handler has returned.
    void* delegateRequest(IResourceHandler* handler, const std::string& mountPath,
                          const Request& request,
                          std::unique_ptr<IResponseHandler<Response>>&& responseHandler) noexcept;
    /// Removes the entry of a request that has terminated.
    void requestDone(void* handle) noexcept;

private:
    std::atomic<bool> shutdown_{false};
    // The handlers are destroyed before the table of pending requests.
    std::unique_ptr<detail::PendingRequests> pending_;
    std::unique_ptr<detail::MountTable> mounts_;
    std::unique_ptr<RootHandler> rootHandler_;
};

/// Answers requests to "/" of a service that has no handler mounted at "/". Answers "retrieve" with
/// the mount paths in ascending order, every other command with 400. No request stays pending.
class KOVA_API StaticComposedKovaServiceImpl::RootHandler : public IResourceHandler {
public:
    /// Takes ownership of the function that selects the mime type of an answer, and of the mount
    /// paths. The answers list the mount paths in the given order.
    RootHandler(std::function<std::string(const Request&)>&& mimeTypeFunc,
                std::vector<std::string>&& names);

    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler,
                        const std::string& resourcePath) noexcept override;
    void cancelRequest(void* handle) noexcept override;
    /// Sends the list in the given mime type and completes the request. If the list cannot be
    /// serialized, sends 500 and returns true.
    bool sendUpdate(std::unique_ptr<IResponseHandler<Response>>& handler,
                    const std::string& mimeType);

private:
    std::vector<std::string> names_;
    std::function<std::string(const Request&)> mimeTypeFunc_;
};

}  // namespace kova
