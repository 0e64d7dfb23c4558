#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "kova/core/IResourceHandler.h"
#include "kova/core/IResponseHandler.h"
#include "kova/core/Request.h"
#include "kova/core/Response.h"

namespace kova::bench {

/// A simple implementation of a service for a single program. It looks up the mounts in a map,
/// wraps the caller's handler twice, and stores an entry under a lock while the request is pending.
class PlainService {
public:
    using Handler = std::unique_ptr<IResponseHandler<Response>>;
    using Handlers = std::map<std::string, std::unique_ptr<IResourceHandler>, std::less<>>;

    explicit PlainService(Handlers handlers) : handlers_(std::move(handlers)) {}

    void* actionRequest(const Request& request, Handler handler) {
        const std::string& path = request.getPath();
        std::string_view mount = path;
        auto found = handlers_.find(mount);
        while (found == handlers_.end() && mount.size() > 1) {
            mount = mount.substr(0, mount.rfind('/'));
            found = handlers_.find(mount);
        }
        if (found == handlers_.end()) {
            return nullptr;
        }
        void* const handle = handler.get();
        {
            const std::lock_guard lock(mutex_);
            pending_.emplace(handle, found->second.get());
        }
        auto wrapped = std::make_unique<Filter>(
            *this, std::make_unique<Finisher>(*this, handle, std::move(handler)));
        return found->second->actionRequest(request, std::move(wrapped),
                                            path.substr(std::min(path.size(), mount.size() + 1)));
    }

private:
    /// Discards values after the shutdown.
    class Filter : public IResponseHandler<Response> {
    public:
        Filter(PlainService& service, Handler inner)
            : service_(service), inner_(std::move(inner)) {}
        bool onNext(const Response& value) override {
            return !service_.shutdown_ && inner_->onNext(value);
        }
        void onError(const Response& error) override { inner_->onError(error); }
        void onCompleted() override { inner_->onCompleted(); }

    private:
        PlainService& service_;
        Handler inner_;
    };

    /// Removes the entry when the request terminates.
    class Finisher : public IResponseHandler<Response> {
    public:
        Finisher(PlainService& service, void* handle, Handler inner)
            : service_(service), handle_(handle), inner_(std::move(inner)) {}
        bool onNext(const Response& value) override { return !ended_ && inner_->onNext(value); }
        void onError(const Response& error) override {
            end();
            inner_->onError(error);
        }
        void onCompleted() override {
            end();
            inner_->onCompleted();
        }

    private:
        void end() {
            ended_ = true;
            const std::lock_guard lock(service_.mutex_);
            service_.pending_.erase(handle_);
        }

        PlainService& service_;
        void* handle_;
        Handler inner_;
        bool ended_ = false;
    };

    Handlers handlers_;
    std::mutex mutex_;
    std::map<void*, IResourceHandler*> pending_;
    bool shutdown_ = false;
};

}  // namespace kova::bench
