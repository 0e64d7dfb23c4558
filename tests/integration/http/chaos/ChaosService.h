#pragma once

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/IKovaApi.h"

namespace kova::http::test {

/// The service of the chaos tests. Any thread may call any function.
///
/// A request for a path that begins with "/hold" or "/stream" stays pending; a stream gets a value
/// at once. "/push" sends a value to each stream, and completes. All others get a value and
/// complete. The status of the value is 200, except for two paths: "/strangers" is answered with
/// 200 plus the number of cancellations of requests that were not pending, and "/heap" with the KiB
/// that the process has allocated, at most 65535.
class ChaosService final : public IKovaApi {
public:
    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler) override {
        ++requests_;
        const std::string& path = request.getPath();
        const std::shared_ptr<IResponseHandler<Response>> owned = std::move(handler);
        const bool isStream = path.rfind("/stream", 0) == 0;
        if (isStream || path.rfind("/hold", 0) == 0) {
            void* const handle = add({path, owned, isStream});
            if (isStream) {
                owned->onNext(Response(299));
            }
            return handle;
        }
        if (path == "/push") {
            push();
        }
        owned->onNext(Response(static_cast<unsigned short>(statusOf(path))));
        owned->onCompleted();
        return UNDEFINED_REQUEST_HANDLE;
    }
    void cancelRequest(void* handle) override {
        Pending cancelled;
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto found = pending_.find(reinterpret_cast<std::uintptr_t>(handle));
        if (found == pending_.end()) {
            ++strangers_;
            return;
        }
        cancelled = std::move(found->second);
        pending_.erase(found);
    }

    /// Returns the number of requests that are pending and whose path begins so.
    std::size_t pending(const std::string& path = "/") const {
        const std::lock_guard<std::mutex> guard(mutex_);
        std::size_t count = 0;
        for (const auto& [handle, request] : pending_) {
            count += request.path.rfind(path, 0) == 0 ? 1 : 0;
        }
        return count;
    }
    /// Returns the number of requests that have arrived.
    std::size_t requests() const noexcept { return requests_; }
    /// Returns the number of cancellations of requests that were not pending.
    std::size_t strangers() const noexcept { return strangers_; }

private:
    struct Pending {
        std::string path;
        std::shared_ptr<IResponseHandler<Response>> handler;
        bool isStream = false;
    };

    std::size_t statusOf(const std::string& path) const {
        return path == "/strangers" ? 200 + strangers()
               : path == "/heap"    ? std::min<std::size_t>(::mallinfo2().uordblks / 1024, 65535)
                                    : 200;
    }
    void* add(Pending request) {
        const std::lock_guard<std::mutex> guard(mutex_);
        pending_.emplace(++last_, std::move(request));
        return reinterpret_cast<void*>(last_);  // NOLINT(performance-no-int-to-ptr)
    }
    void push() {
        std::vector<std::shared_ptr<IResponseHandler<Response>>> streams;
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            for (const auto& [handle, request] : pending_) {
                if (request.isStream) {
                    streams.push_back(request.handler);
                }
            }
        }
        for (const auto& stream : streams) {
            stream->onNext(Response(299));
        }
    }

    mutable std::mutex mutex_;
    std::map<std::uintptr_t, Pending> pending_;
    std::uintptr_t last_ = 0;
    std::atomic<std::size_t> requests_{0};
    std::atomic<std::size_t> strangers_{0};
};

}  // namespace kova::http::test
