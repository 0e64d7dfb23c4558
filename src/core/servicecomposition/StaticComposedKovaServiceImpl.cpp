#include "kova/core/StaticComposedKovaServiceImpl.h"

#include <optional>
#include <utility>

#include "api/Report.h"
#include "datatypes/PathViews.h"
#include "servicecomposition/MimeTypeFunction.h"
#include "servicecomposition/MountTable.h"
#include "servicecomposition/PendingRequests.h"
#include "servicecomposition/ServiceChannel.h"
#include "servicecomposition/ServiceResponseHandler.h"
#include "zel/ErrorStorage.h"

namespace kova {

namespace {

using detail::MountTable;
using detail::serviceChannel;

using ResponseHandler = std::unique_ptr<IResponseHandler<Response>>;

constexpr char const* FILE_NAME = "src/core/servicecomposition/StaticComposedKovaServiceImpl";
// The source positions in reports are fixed by the interface.
constexpr detail::SourcePosition UNKNOWN_PATH{FILE_NAME, 121};

// Traces the paths that a search tried before it returned `found`.
void traceSearch(const std::string& path, MountTable::Mount const* found) {
    const std::string normalized = Path(path).toString();
    std::string_view tried = detail::withoutTrailingSeparators(path);
    for (std::string_view next = normalized; !tried.empty(); tried = next) {
        const int size = static_cast<int>(tried.size());
        serviceChannel.trace(2, "[actionRequest] search for '%.*s'", size, tried.data());
        if (found != nullptr && tried == found->first) {
            serviceChannel.trace(2, "[actionRequest] found '%.*s'", size, tried.data());
            return;
        }
        next = detail::parentPath(next);
    }
}

void rejectUnknownPath(const std::string& path, IResponseHandler<Response>& handler) {
    detail::report(UNKNOWN_PATH, errors::PathNotFound, path);
    zel::ErrorStorage& error = zel::ErrorStorage::current();
    serviceChannel.trace(3, "[actionRequest] %s", error.reason().c_str());
    handler.onError(Response::createErrorResponse(errors::error2StatusCode(errors::PathNotFound),
                                                  error.reason().c_str()));
    error.acknowledge();
}

// The data of a request for the trace after its handler has returned. It is a copy, because the
// caller may change or destroy the request in a callback.
class TracedRequest {
public:
    TracedRequest(const Request& request, std::string_view normalizedPath)
        : normalizedPath_(normalizedPath),
          command_(request.getCommand()),
          path_(request.getPath()) {}

    void traceStored(void* serviceHandle, void* resourceHandle, IResourceHandler* handler) const {
        serviceChannel.trace(
            2, "[actionRequest] storing pending request { %p %p (%s) } under service handle %p",
            resourceHandle, handler, normalizedPath_.c_str(), serviceHandle);
    }
    void traceNotPending(IResourceHandler* handler) const {
        serviceChannel.trace(
            2,
            "[actionRequest] resource handle %p (%s) returned undefined request handle "
            "on request '%s' '%s'",
            handler, normalizedPath_.c_str(), command_.c_str(), path_.c_str());
    }

private:
    std::string normalizedPath_;
    std::string command_;
    std::string path_;
};

}  // namespace

StaticComposedKovaServiceImpl::StaticComposedKovaServiceImpl(Handlers&& handlers)
    : pending_(std::make_unique<detail::PendingRequests>()),
      mounts_(std::make_unique<MountTable>(std::move(handlers))) {
    if (mounts_->at(detail::ROOT_PATH) == nullptr) {
        std::function<std::string(const Request&)> mimeTypeFunc = detail::mimeTypeFunc();
        rootHandler_ = std::make_unique<RootHandler>(std::move(mimeTypeFunc), mounts_->paths());
    }
}

StaticComposedKovaServiceImpl::~StaticComposedKovaServiceImpl() {
    rootHandler_.reset();
    pending_->takeAll();
    // The handlers are destroyed before the table of pending requests, because the destructor of a
    // handler may terminate requests.
    mounts_->clear();
}

void* StaticComposedKovaServiceImpl::actionRequest(const Request& request,
                                                   ResponseHandler&& handler) noexcept {
    const std::string& path = request.getPath();
    serviceChannel.trace(2, "[actionRequest] path='%s' cmd=%s", path.c_str(),
                         request.getCommand().c_str());
    if (shutdown_) {
        serviceChannel.trace(1, "[actionRequest] Service is Shutdown.");
        return UNDEFINED_REQUEST_HANDLE;
    }
    if (!handler) {
        detail::report({FILE_NAME, __LINE__}, errors::NullPointerNotAllowed, "response handler");
        return UNDEFINED_REQUEST_HANDLE;
    }
    if (rootHandler_ && path == detail::ROOT_PATH) {
        return delegateRequest(rootHandler_.get(), std::string(detail::ROOT_PATH), request,
                               std::move(handler));
    }
    MountTable::Mount const* const mount = mounts_->find(path);
    if (serviceChannel.isEnabled(2)) {
        traceSearch(path, mount);
    }
    if (mount != nullptr) {
        return delegateRequest(mount->second.get(), mount->first, request, std::move(handler));
    }
    const ResponseHandler owned = std::move(handler);
    rejectUnknownPath(path, *owned);
    return UNDEFINED_REQUEST_HANDLE;
}

std::string StaticComposedKovaServiceImpl::normalize(const std::string& path) {
    return std::string(detail::withoutTrailingSeparators(path));
}

void* StaticComposedKovaServiceImpl::delegateRequest(IResourceHandler* handler,
                                                     const std::string& mountPath,
                                                     const Request& request,
                                                     ResponseHandler&& responseHandler) noexcept {
    void* const serviceHandle = responseHandler.get();
    ResponseHandler wrapped = std::make_unique<detail::ServiceResponseHandler>(
        *this, shutdown_, std::move(responseHandler));

    const std::string_view path = detail::withoutTrailingSeparators(request.getPath());
    // Not a `std::optional`: its initialization costs 4 % of a request that is not traced.
    const auto traced =
        serviceChannel.isEnabled(2) ? std::make_unique<TracedRequest>(request, path) : nullptr;
    // Neither the request nor the view of its path is read after this call.
    void* const resourceHandle =
        handler->actionRequest(request, std::move(wrapped), detail::relativePath(mountPath, path));
    if (resourceHandle == UNDEFINED_REQUEST_HANDLE) {
        if (traced) {
            traced->traceNotPending(handler);
        }
        return UNDEFINED_REQUEST_HANDLE;
    }
    if (traced) {
        traced->traceStored(serviceHandle, resourceHandle, handler);
    }
    // The entry is stored after the handler has returned. Therefore the entry of a request that
    // terminated inside the handler stays until the request is cancelled or the service is shut
    // down.
    pending_->add(serviceHandle, resourceHandle, handler);
    return serviceHandle;
}

void StaticComposedKovaServiceImpl::requestDone(void* handle) noexcept {
    serviceChannel.trace(2, "[requestDone] handle %p", handle);
    if (!pending_->remove(handle)) {
        serviceChannel.trace(3, "[requestDone] handle %p unknown", handle);
    }
}

void StaticComposedKovaServiceImpl::cancelRequest(void* handle) noexcept {
    serviceChannel.trace(2, "[cancelRequest] service handle %p", handle);
    if (shutdown_) {
        serviceChannel.trace(1, "[cancelRequest] Service is Shutdown.");
        return;
    }
    const std::optional<detail::PendingRequests::Entry> entry = pending_->take(handle);
    if (!entry) {
        serviceChannel.trace(3, "[cancelRequest] service handle %p unknown", handle);
        return;
    }
    serviceChannel.trace(1, "[cancelRequest] service handle %p -> (handler=%p; resource handle=%p)",
                         handle, entry->handler, entry->resourceHandle);
    serviceChannel.trace(
        2, "[cancelRequest] delegating cancellation to handler %p using resource handle %p",
        entry->handler, entry->resourceHandle);
    entry->handler->cancelRequest(entry->resourceHandle);
}

void StaticComposedKovaServiceImpl::shutdown() {
    shutdown_ = true;
    const detail::PendingRequests::Table cancelled = pending_->takeAll();
    // An exception ends the process. Otherwise it would prevent the cancellation of the remaining
    // requests.
    const auto cancelAll = [&cancelled]() noexcept {
        for (const auto& [serviceHandle, entry] : cancelled) {
            entry.handler->cancelRequest(entry.resourceHandle);
        }
    };
    cancelAll();
}

}  // namespace kova
