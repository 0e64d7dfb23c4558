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

/// Serves the facts of `SystemInfo`: "retrieve" answers once or, with the response semantic
/// "persistent-stream", stays pending and sends fresh values until it is cancelled.
///
/// The first value of a stream goes out before `actionRequest` returns, so that a stream which ends
/// at once never becomes a pending request. One thread of its own sends the others. A stream is
/// shared by the table and the thread that is sending from it, so a cancellation never waits for a
/// receiver, and no lock is held while one is called. Not to be destroyed from inside a receiver.
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
    /// By handle. None is used twice: a late cancellation must not meet another stream.
    std::map<void*, std::shared_ptr<Stream>> streams_;
    std::uintptr_t lastHandle_ = 0;
    bool stopping_ = false;
    std::thread sender_;
};

}  // namespace device
