#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "Http2Connection.h"
#include "kova/kit/Peer.h"
#include "server/ResetLimit.h"
#include "server/ServerContext.h"
#include "server/ServerStream.h"

namespace kova::http::detail {

/// One HTTP/2 connection of a program, at the server. All functions belong to the thread of the
/// loop.
///
/// The service is called inside callbacks of nghttp2. Exceptions that leave a callback close the
/// connection, such as `std::bad_alloc`.
class ServerConnection final : public Http2Connection {
public:
    /// `context` must outlive the object.
    ServerConnection(ServerContext& context, wire::FileDescriptor socket, kit::Peer peer);
    ~ServerConnection() override;

    /// Starts the session. May close the connection. Throws `std::bad_alloc`; the object must then
    /// be destroyed.
    void start();
    /// Tells the client to send no further request; the connection closes after the last answer.
    void refuseRequests();

    /// Sends records of the stream soon: when `ServerContext::flush` is called. May close the
    /// connection.
    void resume(ServerStream& stream) noexcept;
    /// Sends the available records. May close the connection. Called by `ServerContext::flush`.
    void sendRecords();
    /// Returns the number of open streams.
    std::size_t streams() const noexcept { return streams_.size(); }

protected:
    void onClosed() noexcept override;

private:
    struct Callbacks;
    using TimePoint = wire::EventLoop::Clock::time_point;

    void onFrameReceived(const nghttp2_frame& frame);
    void beginRequest(std::int32_t id);
    void endHead(ServerStream& stream);
    std::optional<Refusal> validate(ServerStream& stream);
    void addBody(ServerStream& stream, std::string_view bytes);
    void endRequest(ServerStream& stream);
    void dispatch(ServerStream& stream);
    void countReset();
    void stopTimers() noexcept;
    void onEndSent(std::int32_t id);
    void remove(std::int32_t id);
    void forget(ServerStream& stream) noexcept;

    void refuse(ServerStream& stream, Refusal refusal);
    void submitAnswer(ServerStream& stream);
    void submit(ServerStream& stream, nghttp2_nv const* fields, std::size_t count);
    ServerStream* find(std::int32_t id) const noexcept;

    template <typename Function>
    void orClose(Function function) noexcept;
    void watchProgress(wire::EventLoop::Clock::duration delay);
    void endStalledRequests();
    void watchIdleness(wire::EventLoop::Clock::duration delay);
    void endIfIdle();

    ServerContext& context_;
    const kit::Peer peer_;
    std::unordered_map<std::int32_t, std::unique_ptr<ServerStream>> streams_;
    ResetLimit resets_;
    std::size_t unfinishedBytes_ = 0;  ///< of the bodies of requests that are not complete
    bool hasSettings_ = false;         ///< the client has completed the preface
    bool isUnflushed_ = false;         ///< in `ServerContext::unflushed`
    TimePoint idleSince_;
    std::optional<wire::EventLoop::TimerId> progressTimer_;
    std::optional<wire::EventLoop::TimerId> idleTimer_;
};

}  // namespace kova::http::detail
