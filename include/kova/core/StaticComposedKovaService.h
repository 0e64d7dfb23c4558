#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "kova/core/Export.h"
#include "kova/core/IKovaApi.h"
#include "kova/core/IResourceHandler.h"
#include "kova/core/MimeTypes.h"

namespace kova {

class StaticComposedKovaServiceImpl;

/// A service that consists of a fixed set of resource handlers, each mounted at a path.
///
/// A request goes to the handler whose mount path is the request's path or its nearest ancestor on
/// a segment boundary. The handler receives the path relative to its mount path. If no handler is
/// mounted at "/", the service answers "/" itself: "retrieve" lists the mount paths. If no handler
/// is found, the service answers with 404.
///
/// Any thread may call `actionRequest`, `cancelRequest` and `shutdown`, also from inside a
/// callback; the service holds no lock while it calls a handler. None of them throws: an exception
/// of a handler ends the process. Resource handlers live until the service is destroyed. A handler
/// with threads of its own must end them in its destructor. A response handler must not be used
/// after the service is destroyed.
///
///     kova::servicecomp::overrideMimeTypeFunc(
///         [](const kova::Request&) { return std::string(kova::mimetypes::JSON_TYPE); });
///     std::map<std::string, std::unique_ptr<kova::IResourceHandler>> handlers;
///     // handlers["/light"] = std::make_unique<LightHandler>(); and so on
///     kova::StaticComposedKovaService service(std::move(handlers));
class KOVA_API StaticComposedKovaService : public IKovaApi {
public:
    /// Takes ownership of the handlers. The key of each handler is its mount path; no handler may
    /// be null. The root of the service can be read only if a mime-type function was set before
    /// (`servicecomp::overrideMimeTypeFunc`).
    explicit StaticComposedKovaService(
        std::map<std::string, std::unique_ptr<IResourceHandler>>&& handlers);
    /// Destroys the handlers. Pending requests are not cancelled: call `shutdown` first.
    ~StaticComposedKovaService() override;

    /// Sends a request (`IKovaApi::actionRequest`). The handle is the address of the caller's
    /// handler, so it is unique while that handler lives. After `shutdown` the service rejects the
    /// request: the caller keeps the handler, which receives no event.
    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) noexcept override;
    /// Forwards the cancellation to the resource handler (`IKovaApi::cancelRequest`). Has no effect
    /// after `shutdown`.
    void cancelRequest(void* handle) noexcept override;
    /// Rejects new requests, then cancels every pending request in ascending order of the handles.
    /// Values that arrive later are discarded; terminating events are forwarded. If a resource
    /// handler has not returned yet, its request may be stored too late to be cancelled. A second
    /// call of `shutdown` cancels such a request, if all calls of `actionRequest` have returned
    /// before.
    virtual void shutdown();

private:
    std::unique_ptr<StaticComposedKovaServiceImpl> impl_;
};

namespace servicecomp {

/// Sets the function that selects the mime type of the answer to a request of a service root. Each
/// service copies the function when it is constructed. Not synchronized: set the function at
/// start-up. If no function was set, a service ends the process when its root is read.
KOVA_API void overrideMimeTypeFunc(std::function<std::string(const Request&)>&& func);

}  // namespace servicecomp

}  // namespace kova
