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
/// a segment boundary; the handler gets the path relative to its mount. Without a handler at "/"
/// the service answers "/" itself: "retrieve" lists the mount paths. The service answers a request
/// that no mount serves with 404.
///
/// Any thread may call `actionRequest`, `cancelRequest` and `shutdown`, also from inside a
/// callback; the service holds no lock while it calls a handler. None of them throws: an exception
/// of a handler ends the process. Resource handlers live until the service is destroyed, so they
/// end their own threads in their destructors. No response handler may be used after that.
///
///     kova::servicecomp::overrideMimeTypeFunc(
///         [](const kova::Request&) { return std::string(kova::mimetypes::JSON_TYPE); });
///     std::map<std::string, std::unique_ptr<kova::IResourceHandler>> handlers;
///     // handlers["/light"] = std::make_unique<LightHandler>(); and so on
///     kova::StaticComposedKovaService service(std::move(handlers));
class KOVA_API StaticComposedKovaService : public IKovaApi {
public:
    /// Takes ownership of the handlers, which are given by mount path and must not be null. The
    /// root of the service can be read only if a mime-type function was set before
    /// (`servicecomp::overrideMimeTypeFunc`).
    explicit StaticComposedKovaService(
        std::map<std::string, std::unique_ptr<IResourceHandler>>&& handlers);
    /// Destroys the handlers. Pending requests are not cancelled: call `shutdown` first.
    ~StaticComposedKovaService() override;

    /// Sends a request (`IKovaApi::actionRequest`). The handle is the address of the caller's
    /// handler, so it is unique while that handler lives. After `shutdown` the service rejects the
    /// request: the handler stays with the caller and gets no event.
    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) noexcept override;
    /// Forwards the cancellation to the resource handler (`IKovaApi::cancelRequest`). Has no effect
    /// after `shutdown`.
    void cancelRequest(void* handle) noexcept override;
    /// Rejects new requests, then cancels every pending request in ascending order of the handles.
    /// From then on values are discarded and terminating events are forwarded. A request whose
    /// resource handler has not returned yet may be stored too late to be cancelled. A second call
    /// cancels it, if every `actionRequest` has returned before that call.
    virtual void shutdown();

private:
    std::unique_ptr<StaticComposedKovaServiceImpl> impl_;
};

namespace servicecomp {

/// Sets the function that selects the mime type of the answer to a request of a service root. Each
/// service copies the function when it is constructed. Not synchronized: set it at start-up. A
/// service that was constructed without one ends the process when its root is read.
KOVA_API void overrideMimeTypeFunc(std::function<std::string(const Request&)>&& func);

}  // namespace servicecomp

}  // namespace kova
