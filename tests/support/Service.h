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

/// Events of a response handler, written down as text: "next 200", "error 404 path …", "completed".
using Events = std::vector<std::string>;

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

/// A resource handler that writes down what it is asked and keeps the response handlers, for the
/// test to answer when it wants to.
class ScriptedResource : public IResourceHandler {
public:
    struct Asked {
        std::string command;
        std::string resourcePath;
        std::unique_ptr<IResponseHandler<Response>> handler;
    };

    /// What `actionRequest` returns; null leaves nothing pending.
    void* handle = nullptr;
    std::deque<Asked> asked;
    std::vector<void*> cancelled;
    /// Run inside `actionRequest`, before it returns.
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

/// The map that a composed service takes, and the resources in it for the test to look at.
class Mounts {
public:
    explicit Mounts(const std::vector<std::string>& paths) {
        for (const std::string& path : paths) {
            auto resource = std::make_unique<ScriptedResource>();
            resources_[path] = resource.get();
            handlers_[path] = std::move(resource);
        }
    }

    std::map<std::string, std::unique_ptr<IResourceHandler>>&& take() {
        return std::move(handlers_);
    }
    ScriptedResource& operator[](const std::string& path) { return *resources_.at(path); }

private:
    std::map<std::string, std::unique_ptr<IResourceHandler>> handlers_;
    std::map<std::string, ScriptedResource*> resources_;
};

}  // namespace kova::test
