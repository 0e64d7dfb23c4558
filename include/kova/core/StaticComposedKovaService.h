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

/// One service made of a fixed set of resource handlers, each mounted at a path.
///
/// A request goes to the handler whose mount path is the request's path or its nearest ancestor on
/// a segment boundary; the handler gets the path relative to its mount. Without a handler at "/"
/// the service answers "/" itself: "retrieve" lists the mount paths. A request that no mount serves
/// is answered with 404.
///
/// Any thread may call `actionRequest`, `cancelRequest` and `shutdown`, also from inside a
/// callback; no lock is held while a handler is called. No exception leaves them: one that a
/// handler throws ends the process. Resource handlers live until the service is destroyed, and so
/// must end their own threads in their destructors; response handlers must not be used after that.
///
///     kova::servicecomp::overrideMimeTypeFunc(
///         [](const kova::Request&) { return std::string(kova::mimetypes::JSON_TYPE); });
///     std::map<std::string, std::unique_ptr<kova::IResourceHandler>> handlers;
///     // handlers["/light"] = std::make_unique<LightHandler>(); and so on
///     kova::StaticComposedKovaService service(std::move(handlers));
class KOVA_API StaticComposedKovaService : public IKovaApi {
public:
    /// Takes the handlers over, by mount path; none may be null. A service whose root is to be read
    /// needs a mime-type function (`servicecomp::overrideMimeTypeFunc`) set before it is built.
    explicit StaticComposedKovaService(
        std::map<std::string, std::unique_ptr<IResourceHandler>>&& handlers);
    /// Destroys the handlers. Pending requests are not cancelled: call `shutdown` first.
    ~StaticComposedKovaService() override;

    /// As in `IKovaApi`. The handle is the address of the caller's handler, so it is unique while
    /// that handler lives. After `shutdown` the request is refused: the handler stays with the
    /// caller and gets no event.
    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) noexcept override;
    /// As in `IKovaApi`: forwards the cancellation to the resource handler. Ignored after
    /// `shutdown`.
    void cancelRequest(void* handle) noexcept override;
    /// Refuses new requests, then cancels every pending one, in ascending order of the handles.
    /// Values that still arrive are dropped, terminating events are passed on. A request that was
    /// with its resource handler meanwhile may be stored too late to be cancelled; a second call,
    /// made when no request is on its way any more, cancels it, and otherwise finds nothing to do.
    virtual void shutdown();

private:
    std::unique_ptr<StaticComposedKovaServiceImpl> impl_;
};

namespace servicecomp {

/// Sets the function that picks the mime type in which a service root answers a request. Each
/// service copies the one that is set when it is built. Not locked: set it at start-up. A service
/// built without one ends the process when its root is read.
KOVA_API void overrideMimeTypeFunc(std::function<std::string(const Request&)>&& func);

}  // namespace servicecomp

}  // namespace kova
