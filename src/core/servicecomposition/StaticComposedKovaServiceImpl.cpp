#include "kova/core/StaticComposedKovaServiceImpl.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "kova/core/Errors.h"
#include "kova/core/Path.h"
#include "kova/core/response_handlers.h"
#include "servicecomposition/MimeTypeFunction.h"
#include "servicecomposition/ServiceChannel.h"
#include "zel/ErrorOutput.h"
#include "zel/ErrorStorage.h"

namespace kova {

namespace servicecomp {

const tracing::Channel channel("KOVA_SERVICE_COMPOSED_STATIC", tracing::Channel::SILENT,
                               tracing::Channel::SHARED);

}  // namespace servicecomp

namespace {

using responsehandlers::DoOnTerminationResponseHandler;
using responsehandlers::FilteringResponseHandler;
using servicecomp::channel;

constexpr char const* FILE_NAME = "src/core/servicecomposition/StaticComposedKovaServiceImpl";
constexpr std::string_view ROOT = "/";

// The path without trailing separators. The first character is never looked at, so "/", "//" and
// "a/" stay as they are.
std::string_view trimmed(std::string_view path) {
    const std::size_t last = path.find_last_not_of(Path::SEP_CHAR);
    return last == std::string_view::npos || last == 0 ? path : path.substr(0, last + 1);
}

// Segments are short, so going from character to character is quicker than searching for "//".
bool hasEmptySegment(std::string_view path) {
    char before = '\0';
    for (const char c : path) {
        if (c == Path::SEP_CHAR && before == Path::SEP_CHAR) {
            return true;
        }
        before = c;
    }
    return false;
}

bool endsOpen(std::string_view path) {
    return path.size() > 1 && path.back() == Path::SEP_CHAR;
}

// The parent of a canonical path as a view of it; empty when there is none.
std::string_view parentOf(std::string_view path) {
    const std::size_t separator = path.rfind(Path::SEP_CHAR);
    if (separator == std::string_view::npos || path == ROOT) {
        return {};
    }
    return separator == 0 ? ROOT : path.substr(0, separator);
}

// Returns what `Path::relativize(mountPath, target)` gives. Fast path: the mount is a textual
// prefix that ends at a segment boundary, and the remainder is already normalized.
std::string relativeTo(const std::string& mountPath, std::string_view target) {
    const std::size_t size = mountPath == ROOT ? 0 : mountPath.size();
    if (target.substr(0, size) == std::string_view(mountPath).substr(0, size)) {
        const std::string_view rest = target.substr(size);
        const bool endsAtBoundary = rest.empty() || rest.front() == Path::SEP_CHAR;
        if (endsAtBoundary && !endsOpen(rest) && !hasEmptySegment(rest)) {
            return std::string(rest.substr(rest.empty() ? 0 : 1));
        }
    }
    std::string relative;
    Path::relativize(mountPath, std::string(target), relative);
    return relative;
}

// What the traces of a request show once its handler has returned. A copy, because the caller may
// change or destroy the request in a callback.
struct TracedRequest {
    TracedRequest(const Request& request, std::string_view normalizedPath)
        : normalizedPath(normalizedPath), command(request.getCommand()), path(request.getPath()) {}

    std::string normalizedPath;
    std::string command;
    std::string path;
};

}  // namespace

StaticComposedKovaServiceImpl::StaticComposedKovaServiceImpl(Handlers&& handlers)
    : mutex_(false), handlers_(std::move(handlers)) {
    mounts_.reserve(handlers_.size());
    for (const Mount& mount : handlers_) {
        mounts_.emplace(mount.first, &mount);
        longestMount_ = std::max(longestMount_, mount.first.size());
    }
    if (mounts_.count(ROOT) != 0) {
        return;
    }
    std::vector<std::string> names;
    names.reserve(handlers_.size());
    for (const Mount& mount : handlers_) {
        names.push_back(mount.first);
    }
    std::function<std::string(const Request&)> mimeTypeFunc = servicecomp::mimeTypeFunc();
    rootHandler_ = std::make_unique<RootHandler>(std::move(mimeTypeFunc), std::move(names));
}

StaticComposedKovaServiceImpl::~StaticComposedKovaServiceImpl() {
    rootHandler_.reset();
    {
        const std::lock_guard<osal::Mutex> guard(mutex_);
        pending_.clear();
        hasPending_.store(false, std::memory_order_release);
    }
    // The table itself outlives the handlers, for those that terminate requests while they are
    // destroyed.
    mounts_.clear();
    handlers_.clear();
}

void* StaticComposedKovaServiceImpl::actionRequest(
    const Request& request, std::unique_ptr<IResponseHandler<Response>>&& handler) noexcept {
    channel.trace(2, "[actionRequest] path='%s' cmd=%s", request.getPath().c_str(),
                  request.getCommand().c_str());
    if (shutdown_) {
        channel.trace(1, "[actionRequest] Service is Shutdown.");
        return UNDEFINED_REQUEST_HANDLE;
    }
    if (!handler) {
        zel::ErrorOutput(FILE_NAME, __LINE__, true)(errors::Error, errors::NullPointerNotAllowed,
                                                    "response handler");
        return UNDEFINED_REQUEST_HANDLE;
    }
    if (rootHandler_ && trimmed(request.getPath()) == ROOT) {
        return delegateRequest(rootHandler_.get(), std::string(ROOT), request, std::move(handler));
    }
    if (const Mount* const mount = findMount(request.getPath())) {
        return delegateRequest(mount->second.get(), mount->first, request, std::move(handler));
    }
    const std::unique_ptr<IResponseHandler<Response>> taken = std::move(handler);
    rejectUnknownPath(request, *taken);
    return UNDEFINED_REQUEST_HANDLE;
}

const StaticComposedKovaServiceImpl::Mount* StaticComposedKovaServiceImpl::findMount(
    const std::string& path) const {
    const auto lookUpParents = [this](std::string_view child) -> const Mount* {
        for (auto parent = parentOf(child); !parent.empty(); parent = parentOf(parent)) {
            if (const Mount* const mount = lookUp(parent)) {
                return mount;
            }
        }
        return nullptr;
    };
    // The text is looked up as it was given; its parents are those of the path that it means.
    const std::string_view text = trimmed(path);
    if (const Mount* const mount = text.empty() ? nullptr : lookUp(text)) {
        return mount;
    }
    // No mount is longer than the longest, so the rest of a path matters to the trace only: without
    // it, the look-up takes two thirds of the time among 10 mounts, and no longer for a longer
    // path.
    const bool isWhole = endsOpen(text) || channel.isEnabled(2);
    const std::string_view head = isWhole ? text : text.substr(0, longestMount_ + 1);
    if (endsOpen(text) || hasEmptySegment(head)) {
        const std::string canonical = Path(path).toString();
        return lookUpParents(canonical);
    }
    return lookUpParents(head);
}

const StaticComposedKovaServiceImpl::Mount* StaticComposedKovaServiceImpl::lookUp(
    std::string_view path) const {
    const int size = static_cast<int>(path.size());
    channel.trace(2, "[actionRequest] search for '%.*s'", size, path.data());
    // Hashing a path that is longer than every mount path would be wasted, and quadratic in sum.
    const auto found = path.size() <= longestMount_ ? mounts_.find(path) : mounts_.end();
    if (found == mounts_.end()) {
        return nullptr;
    }
    channel.trace(2, "[actionRequest] found '%.*s'", size, path.data());
    return found->second;
}

void StaticComposedKovaServiceImpl::rejectUnknownPath(const Request& request,
                                                      IResponseHandler<Response>& handler) {
    zel::ErrorOutput(FILE_NAME, 121, true)(errors::Error, errors::PathNotFound, request.getPath());
    zel::ErrorStorage& error = zel::ErrorStorage::current();
    channel.trace(3, "[actionRequest] %s", error.reason().c_str());
    handler.onError(Response::createErrorResponse(errors::error2StatusCode(errors::PathNotFound),
                                                  error.reason().c_str()));
    error.acknowledge();
}

std::string StaticComposedKovaServiceImpl::normalize(const std::string& path) {
    return std::string(trimmed(path));
}

void* StaticComposedKovaServiceImpl::delegateRequest(
    IResourceHandler* handler, const std::string& mountPath, const Request& request,
    std::unique_ptr<IResponseHandler<Response>>&& responseHandler) noexcept {
    const std::string_view path = trimmed(request.getPath());
    void* const serviceHandle = responseHandler.get();
    auto clearing = std::make_unique<DoOnTerminationResponseHandler<Response>>(
        [this, serviceHandle] { requestDone(serviceHandle); }, std::move(responseHandler));
    std::unique_ptr<IResponseHandler<Response>> wrapped =
        std::make_unique<FilteringResponseHandler<Response>>(
            std::move(clearing), [this](const Response&) { return !shutdown_; });

    std::optional<TracedRequest> traced;
    if (channel.isEnabled(2)) {
        traced.emplace(request, path);
    }
    // The request and the views of it are not read after this call.
    void* const resourceHandle =
        handler->actionRequest(request, std::move(wrapped), relativeTo(mountPath, path));
    if (resourceHandle == UNDEFINED_REQUEST_HANDLE) {
        if (traced) {
            channel.trace(
                2,
                "[actionRequest] resource handle %p (%s) returned undefined request handle "
                "on request '%s' '%s'",
                handler, traced->normalizedPath.c_str(), traced->command.c_str(),
                traced->path.c_str());
        }
        return UNDEFINED_REQUEST_HANDLE;
    }
    if (traced) {
        channel.trace(
            2, "[actionRequest] storing pending request { %p %p (%s) } under service handle %p",
            resourceHandle, handler, traced->normalizedPath.c_str(), serviceHandle);
    }
    // After the handler has returned: a request that was terminated inside it is stored all the
    // same and stays until it is cancelled or the service is shut down.
    //
    // Told before and after waiting for the mutex: who terminates the request from now on takes the
    // mutex, too; and meanwhile others may have emptied the table.
    hasPending_.store(true, std::memory_order_release);
    const std::lock_guard<osal::Mutex> guard(mutex_);
    pending_.emplace(serviceHandle, std::make_pair(resourceHandle, handler));
    hasPending_.store(true, std::memory_order_release);
    return serviceHandle;
}

void StaticComposedKovaServiceImpl::requestDone(void* handle) noexcept {
    channel.trace(2, "[requestDone] handle %p", handle);
    bool known = false;
    // A request that is answered inside the handler is not stored yet. As long as none is stored,
    // it neither waits for other threads nor makes them wait: two threads would take twice the
    // time.
    if (hasPending_.load(std::memory_order_acquire)) {
        const std::lock_guard<osal::Mutex> guard(mutex_);
        known = pending_.erase(handle) != 0;
        hasPending_.store(!pending_.empty(), std::memory_order_release);
    }
    if (!known) {
        channel.trace(3, "[requestDone] handle %p unknown", handle);
    }
}

void StaticComposedKovaServiceImpl::cancelRequest(void* handle) noexcept {
    channel.trace(2, "[cancelRequest] service handle %p", handle);
    if (shutdown_) {
        channel.trace(1, "[cancelRequest] Service is Shutdown.");
        return;
    }
    Pending::node_type entry;
    {
        const std::lock_guard<osal::Mutex> guard(mutex_);
        entry = pending_.extract(handle);
        hasPending_.store(!pending_.empty(), std::memory_order_release);
    }
    if (entry.empty()) {
        channel.trace(3, "[cancelRequest] service handle %p unknown", handle);
        return;
    }
    const auto& [resourceHandle, handler] = entry.mapped();
    channel.trace(1, "[cancelRequest] service handle %p -> (handler=%p; resource handle=%p)",
                  handle, handler, resourceHandle);
    channel.trace(2,
                  "[cancelRequest] delegating cancellation to handler %p using resource handle %p",
                  handler, resourceHandle);
    handler->cancelRequest(resourceHandle);
}

void StaticComposedKovaServiceImpl::shutdown() {
    shutdown_ = true;
    Pending cancelled;
    {
        const std::lock_guard<osal::Mutex> guard(mutex_);
        cancelled.swap(pending_);
        hasPending_.store(false, std::memory_order_release);
    }
    // An exception ends the process: otherwise the requests behind it were never cancelled.
    const auto cancelAll = [&cancelled]() noexcept {
        for (const auto& [serviceHandle, entry] : cancelled) {
            entry.second->cancelRequest(entry.first);
        }
    };
    cancelAll();
}

}  // namespace kova
