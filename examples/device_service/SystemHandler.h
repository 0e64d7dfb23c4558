#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "SystemInfo.h"
#include "kova/core/IResourceHandler.h"

namespace device {

/// Serves the facts of `SystemInfo`: "retrieve" answers once or, with the response semantic
/// "persistent-stream", stays pending and sends fresh values until it is cancelled.
///
/// One thread of its own sends the streams. A stream is shared by the table and the thread that is
/// sending from it, so a cancellation never waits for a receiver, and no lock is held while one is
/// called.
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
    using Streams = std::map<void*, std::shared_ptr<Stream>>;

    kova::Response respond(const kova::Request& request, unsigned short code,
                           const std::string& name) const;
    void* openStream(const kova::Request& request,
                     std::unique_ptr<kova::IResponseHandler<kova::Response>>&& handler,
                     const std::string& name);
    void sendStreams();
    void send(Stream& stream);

    const SystemInfo info_;
    const std::chrono::milliseconds interval_;
    std::mutex mutex_;
    std::condition_variable wake_;
    Streams streams_;
    bool stopping_ = false;
    std::thread sender_;
};

}  // namespace device
