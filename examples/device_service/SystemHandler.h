#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "SystemInfo.h"
#include "kova/core/IResourceHandler.h"

namespace device {

/// Serves the facts of `SystemInfo`: "retrieve" responds once or, with the response semantic
/// "persistent-stream", remains pending and sends current values until it is cancelled.
///
/// The first value of a stream is sent before `actionRequest` returns, so that a stream that ends
/// with it never becomes a pending request. A separate thread sends the other values. The table and
/// the sending thread share a stream, so a cancellation never waits for a response handler. No lock
/// is held while a response handler is called. A response handler must not destroy this object.
class SystemHandler : public kova::IResourceHandler {
public:
    SystemHandler(SystemInfo info, std::chrono::milliseconds interval);
    ~SystemHandler() override;

    void* actionRequest(const kova::Request& request,
                        std::unique_ptr<kova::IResponseHandler<kova::Response>>&& handler,
                        const std::string& resourcePath) override;
    void cancelRequest(void* handle) override;

private:
    struct Stream;
    using Clock = std::chrono::steady_clock;

    kova::Response respond(const kova::Request& request, unsigned short code,
                           const std::string& name) const;
    void* openStream(const kova::Request& request,
                     std::unique_ptr<kova::IResponseHandler<kova::Response>>&& handler,
                     const std::string& name);
    void sendStreams();
    bool send(Stream& stream) const;

    const SystemInfo info_;
    const std::chrono::milliseconds interval_;
    std::mutex mutex_;
    std::condition_variable wake_;
    /// By handle. Handles are never reused: a late cancellation must not cancel another stream.
    std::map<void*, std::shared_ptr<Stream>> streams_;
    std::uintptr_t lastHandle_ = 0;
    bool stopping_ = false;
    std::thread sender_;
};

}  // namespace device
