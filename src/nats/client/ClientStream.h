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
#include "wire/Repetition.h"

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
                 std::uint32_t window, const wire::Repetition& repetition = {})
        : target(std::move(target)),
          request(std::move(request)),
          handler_(std::move(handler)),
          window_(window),
          repetition_(repetition),
          reader_(LONGEST_RECORD) {}
    /// Ends the heartbeats of the request.
    ~ClientStream();
    ClientStream(const ClientStream&) = delete;
    ClientStream& operator=(const ClientStream&) = delete;

    /// Processes a frame of the answer: calls the response handler.
    void onFrame(const Frame& frame);
    /// Returns the credit to grant, and counts it as granted; 0 if it is not worth a message yet.
    std::uint32_t takeCredit() noexcept;

    /// @{
    /// Returns whether the request is to be sent again instead of `lose`, and whether it then waits
    /// for a connection and for a server without a limit.
    bool isRepeatable() const noexcept { return !isEnded() && repetition_.isDue(); }
    bool isPatient() const noexcept { return !isEnded() && repetition_.isPatient(); }
    /// @}
    /// Returns whether the answer is lost and the request is to be sent again. Further frames are
    /// ignored.
    bool isLost() const noexcept { return isLost_; }
    /// Returns whether a value has arrived since the request was sent.
    bool hasValue() const noexcept { return repetition_.hasValue(); }
    /// Frees the memory of the request, which is sent, unless it may be sent again.
    void forgetRequest() noexcept;
    /// Begins anew: the request is to be sent to another server.
    void beginAgain();
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
    std::uint64_t number = 0;  ///< of the subject of the answer
    std::string request;       ///< empty when it is not needed any more
    TimePoint arrival;         ///< when the request began to wait for a connection
    TimePoint heardAt;         ///< when the latest message arrived, or the request was sent
    bool isSent = false;
    bool isDelayed = false;        ///< the request is sent again later
    std::shared_ptr<Pulse> pulse;  ///< to the server that answers, if it is known
    /// @}

private:
    bool isSearch() const noexcept { return window_ == 0; }
    void onInstance(const Frame& frame);
    void onAnswer(const Frame& frame);
    void deliver(const wire::Record& record);
    void onError(const Response& error);
    void onLoss(const std::string& reason);
    void complete();
    void endPulse() noexcept;

    ResponseHandler handler_;
    const std::uint32_t window_;
    wire::Repetition repetition_;
    wire::RecordReader reader_;
    std::uint64_t received_ = 0;  ///< messages of the answer
    std::uint32_t consumed_ = 0;  ///< values since credit was granted
    bool isComplete_ = false;
    bool isLost_ = false;
};

}  // namespace kova::nats::detail
