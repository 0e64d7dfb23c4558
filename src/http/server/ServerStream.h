#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "server/RequestHead.h"
#include "wire/AnswerQueue.h"
#include "wire/EventLoop.h"
#include "wire/Records.h"
#include "wire/ServedService.h"

namespace kova::http::detail {

class ServerConnection;

/// One HTTP/2 stream at the server: a request that arrives, and its answer. Belongs to the thread
/// of the loop.
class ServerStream final : public wire::AnswerReader {
public:
    using TimePoint = wire::EventLoop::Clock::time_point;

    ServerStream(ServerConnection& connection, std::int32_t id, std::size_t headerBytes,
                 std::size_t bodyBytes) noexcept
        : head(headerBytes),
          connection_(connection),
          id_(id),
          bodyLimit_(bodyBytes),
          reader_(std::in_place, bodyBytes) {}
    /// Calls `end`.
    ~ServerStream() override { end(); }
    ServerStream(const ServerStream&) = delete;
    ServerStream& operator=(const ServerStream&) = delete;

    std::int32_t id() const noexcept { return id_; }

    /// Adds bytes of the body. Returns false if it is longer than allowed.
    bool addBody(std::string_view bytes);
    std::size_t bodySize() const noexcept { return bodySize_; }
    /// Returns the request that the body contains, or the error 400.
    kit::Result<Request> readRequest();

    /// Sends the request to the service. Its answer goes to the queue.
    void send(const Request& request, const std::shared_ptr<wire::AnswerQueue>& queue);
    /// Makes the text the whole answer.
    void setText(std::string text);
    /// Copies bytes of the answer. Returns the number, or `NGHTTP2_ERR_DEFERRED` if no byte is
    /// queued yet, or `NGHTTP2_ERR_TEMPORAL_CALLBACK_FAILURE` if there was no memory for the
    /// answer. Sets `isOver` if none follow.
    std::ptrdiff_t read(std::uint8_t* bytes, std::size_t size, bool& isOver);
    /// Returns whether there are bytes, or the end. If not, `onRecords` is called later.
    bool hasMore() { return !queue_ || queue_->hasMore(); }
    /// Cancels the request at the service, unless it has ended.
    void cancel();
    /// Cancels the request, and drops the answer.
    void end();

    void onRecords() override;

    RequestHead head;
    TimePoint lastProgress;    ///< when the latest bytes of the request arrived
    bool isComplete = false;   ///< the whole request has arrived
    bool isRefused = false;    ///< an HTTP error answers it
    bool isSubmitted = false;  ///< the head of the response is made
    bool isCountedForPeer = false;
    wire::ServedService* service = nullptr;  ///< the service that the path names

private:
    ServerConnection& connection_;
    const std::int32_t id_;
    const std::size_t bodyLimit_;
    std::size_t bodySize_ = 0;
    std::optional<wire::RecordReader> reader_;  ///< until the request is sent
    void* handle_ = nullptr;
    std::shared_ptr<wire::AnswerQueue> queue_;
    std::string record_;    ///< the record that is being sent
    std::size_t sent_ = 0;  ///< the bytes of `record_` that are sent
};

}  // namespace kova::http::detail
