#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kova/core/IResponseHandler.h"
#include "kova/core/Response.h"
#include "kova/kit/Result.h"
#include "nats/Frames.h"
#include "nats/Pulse.h"
#include "wire/EventLoop.h"
#include "wire/Records.h"

namespace kova::nats::detail {

/// Where a request goes.
struct Target {
    std::string subject;
    std::string name;  ///< of what the subject reaches, for messages
};

/// Writes the name of an instance into the header of a response.
void addInstance(Response& response, const std::string& instance);

/// One request of a client, and its answer as it arrives. A search for instances is a request, too:
/// its values have the header entry `INSTANCE_HEADER`, and nothing else.
///
/// Calls the response handler with any number of values, then with exactly one end. After `drop` it
/// is not called any more. One thread at a time.
class ClientStream {
public:
    using ResponseHandler = std::unique_ptr<IResponseHandler<Response>>;
    using TimePoint = wire::EventLoop::Clock::time_point;

    /// The longest record of an answer. The broker's limit for messages is lower.
    static constexpr std::size_t LONGEST_RECORD = std::size_t{64} * 1024 * 1024;

    /// `request` is the message of the request. `window` is the credit that it grants; 0 for a
    /// search.
    ClientStream(ResponseHandler handler, std::shared_ptr<const Target> target, std::string request,
                 std::uint32_t window)
        : target(std::move(target)),
          request(std::move(request)),
          handler_(std::move(handler)),
          window_(window),
          reader_(LONGEST_RECORD) {}
    /// Ends the heartbeats of the request.
    ~ClientStream();
    ClientStream(const ClientStream&) = delete;
    ClientStream& operator=(const ClientStream&) = delete;

    /// Processes a frame of the answer: calls the response handler.
    void onFrame(const Frame& frame);
    /// Returns the credit to grant, and counts it as granted; 0 if it is not worth a message yet.
    std::uint32_t takeCredit() noexcept;

    /// Ends the request, unless it has ended: with 503 "lost: REASON".
    void lose(const std::string& reason);
    /// Ends the request with an error, unless it has ended.
    void fail(const kit::Error& error);
    /// Ends the request with 502, because the answer does not follow the protocol. A search goes
    /// on.
    void refuse(const std::string& reason);
    /// Destroys the response handler without an end.
    void drop() noexcept { handler_.reset(); }
    bool isEnded() const noexcept { return !handler_; }
    /// Returns whether the server has ended the answer itself, so that it need not be cancelled.
    bool isComplete() const noexcept { return isComplete_; }

    /// @{
    /// Facts for the owner of the object, which sets them.
    std::uint64_t handle = 0;
    const std::shared_ptr<const Target> target;
    std::string request;  ///< empty when it has been sent
    TimePoint arrival;    ///< when the request began to wait for a connection
    TimePoint heardAt;    ///< when the latest message arrived, or the request was sent
    bool isSent = false;
    std::shared_ptr<Pulse> pulse;  ///< to the server that answers, if it is known
    /// @}

private:
    bool isSearch() const noexcept { return window_ == 0; }
    void onInstance(const Frame& frame);
    void onAnswer(const Frame& frame);
    void deliver(const wire::Record& record);
    void complete();

    ResponseHandler handler_;
    const std::uint32_t window_;
    wire::RecordReader reader_;
    std::uint64_t received_ = 0;  ///< messages of the answer
    std::uint32_t consumed_ = 0;  ///< values since credit was granted
    bool isComplete_ = false;
};

}  // namespace kova::nats::detail
