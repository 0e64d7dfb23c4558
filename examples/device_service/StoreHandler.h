#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "StoreDocument.h"
#include "kova/core/IResourceHandler.h"

namespace device {

/// Serves a `StoreDocument`: retrieve, update, insert and delete on any path in it. All responses
/// are sent inside the call. Thread-safe; concurrent requests are serialized.
class StoreHandler : public kova::IResourceHandler {
public:
    explicit StoreHandler(StoreDocument document) : document_(std::move(document)) {}

    void* actionRequest(const kova::Request& request,
                        std::unique_ptr<kova::IResponseHandler<kova::Response>>&& handler,
                        const std::string& resourcePath) override;
    void cancelRequest(void* handle) override;

private:
    kova::Response respond(const kova::Request& request, const std::string& resourcePath);
    kova::Response change(const kova::Request& request, const StoreDocument::Path& path);

    std::mutex mutex_;
    StoreDocument document_;
};

}  // namespace device
