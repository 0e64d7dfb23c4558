#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/IResourceHandler.h"
#include "kova/core/response_handlers.h"

namespace kova::test {

/// Calls of a response handler as texts: "next 200", "error 404 path …", "completed".
using Events = std::vector<std::string>;

/// Returns a response handler that appends its calls to `events`, which must outlive it.
inline std::unique_ptr<IResponseHandler<Response>> recorder(Events& events) {
    return std::make_unique<responsehandlers::FuncResponseHandler<Response>>(
        [&events](const Response& value) {
            events.push_back("next " + std::to_string(value.getStatusCode()));
            return false;
        },
        [&events](const Response& error) {
            events.push_back("error " + std::to_string(error.getStatusCode()) + " " +
                             error.getErrorMessage().value_or("-"));
        },
        [&events] { events.push_back("completed"); });
}

/// A resource handler that records its requests and stores their response handlers, so that the
/// test can respond at any time.
class ScriptedResource : public IResourceHandler {
public:
    struct Asked {
        std::string command;
        std::string resourcePath;
        std::unique_ptr<IResponseHandler<Response>> handler;
    };

    /// The handle that `actionRequest` returns. With null, the request is not pending afterwards.
    void* handle = nullptr;
    std::deque<Asked> asked;
    std::vector<void*> cancelled;
    /// Called inside `actionRequest` before it returns.
    std::function<void(IResponseHandler<Response>&)> onRequest;
    std::function<void(void*)> onCancel;

    void* actionRequest(const Request& request,
                        std::unique_ptr<IResponseHandler<Response>>&& handler,
                        const std::string& resourcePath) override {
        asked.push_back({request.getCommand(), resourcePath, std::move(handler)});
        if (onRequest) {
            onRequest(*asked.back().handler);
        }
        return handle;
    }
    void cancelRequest(void* cancelledHandle) override {
        cancelled.push_back(cancelledHandle);
        if (onCancel) {
            onCancel(cancelledHandle);
        }
    }
};

/// The mounts of a composed service, with access to their resources for the test.
class Mounts {
public:
    explicit Mounts(const std::vector<std::string>& paths) {
        for (const std::string& path : paths) {
            auto resource = std::make_unique<ScriptedResource>();
            resources_[path] = resource.get();
            handlers_[path] = std::move(resource);
        }
    }

    /// Returns the map for the constructor of the service, which takes ownership of the resources.
    std::map<std::string, std::unique_ptr<IResourceHandler>>&& take() {
        return std::move(handlers_);
    }
    /// Returns the resource at a mount. The service must not have been destroyed.
    ScriptedResource& operator[](const std::string& path) { return *resources_.at(path); }

private:
    std::map<std::string, std::unique_ptr<IResourceHandler>> handlers_;
    std::map<std::string, ScriptedResource*> resources_;
};

}  // namespace kova::test
