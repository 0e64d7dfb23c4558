#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "kova/core/Alarm.h"
#include "kova/core/IResourceHandler.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Resource.h"

namespace device {

/// Serves values that change by themselves: read at each request for one value, and at every
/// interval for the clients that watch them. While no client watches a value, no alarm reads it. A
/// value that cannot be read is answered with the error, and skipped in a stream. Thread-safe after
/// `start`.
class Live : public kova::IResourceHandler {
public:
    Live() : handler_(once.handler()) {}

    /// Adds a value with a path, "" for the mount path itself. `read` is called on any thread.
    template <typename T>
    void add(const std::string& path, std::function<kova::kit::Result<T>()> read) {
        auto stream = std::make_shared<kova::kit::Observable<T>>();
        once.on(kova::kit::command::retrieve, path,
                [read](const kova::kit::Ask&) { return read(); });
        const auto refresh = [stream, read] {
            auto value = read();
            if (value) {
                stream->set(*std::move(value));
            }
            return value.ok();
        };
        const auto watched = [stream] { return !stream->watchers().empty(); };
        streams_[path] = {stream->handler(), refresh, watched};
    }
    /// Begins to read what is watched, at every interval of at least one millisecond.
    void start(std::chrono::milliseconds interval);

    void* actionRequest(const kova::Request& request,
                        std::unique_ptr<kova::IResponseHandler<kova::Response>>&& handler,
                        const std::string& resourcePath) override;
    void cancelRequest(void* handle) override;

    /// The functions for requests that want one value.
    kova::kit::Resource once;

private:
    struct Stream {
        std::unique_ptr<kova::IResourceHandler> handler;
        std::function<bool()> refresh;
        std::function<bool()> watched;
    };

    const std::unique_ptr<kova::IResourceHandler> handler_;
    std::map<std::string, Stream> streams_;
    /// Destroyed first, because its function uses the streams.
    kova::FunctionalAlarm alarm_{[this] {
        for (auto& [path, stream] : streams_) {
            if (stream.watched()) {
                stream.refresh();
            }
        }
    }};
};

}  // namespace device
