#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "nats/Frames.h"
#include "nats/Pulse.h"
#include "nats/server/Discovery.h"
#include "wire/AnswerQueue.h"
#include "wire/EventLoop.h"
#include "wire/ServedService.h"

namespace kova::nats::detail {

/// One request at the server, and its answer. Belongs to the thread of the loop.
class ServerRequest final : public wire::AnswerReader {
public:
    using TimePoint = wire::EventLoop::Clock::time_point;

    /// The owner of requests. Both functions may destroy the request.
    class Owner {
    public:
        /// The answer is complete, or cannot be sent.
        virtual void onOver(ServerRequest& request) = 0;

    protected:
        ~Owner() = default;
    };

    /// The number of bytes of records after which a message is sent.
    static constexpr std::size_t BATCH = std::size_t{32} * 1024;

    /// `pulse` leads to the client. `credit` is the number of values that the client allows.
    ServerRequest(Owner& owner, std::uint64_t number, Discovery::Endpoint endpoint,
                  std::shared_ptr<Pulse> pulse, std::uint64_t credit)
        : number(number),
          owner_(owner),
          endpoint_(endpoint),
          pulse_(std::move(pulse)),
          credit_(credit) {}
    /// Cancels the request at the service, unless it has ended, and drops the answer.
    ~ServerRequest() override;
    ServerRequest(const ServerRequest&) = delete;
    ServerRequest& operator=(const ServerRequest&) = delete;

    /// Sends the request to the service. Its answer goes to the queue. May end with `onOver`.
    void send(wire::ServedService& service, const Request& request,
              const std::shared_ptr<wire::AnswerQueue>& queue);
    /// Allows further values, and sends them. May end with `onOver`.
    void grant(std::uint64_t credit);
    /// Ends the answer with an error. Ends with `onOver`.
    void fail(const kit::Error& reason);

    void onRecords() override;

    /// Adds the request, which is over, to the figures of its endpoint.
    void count(Discovery& discovery) const;

    const std::uint64_t number;
    TimePoint heardAt = wire::EventLoop::Clock::now();  ///< when the client has sent something

    std::chrono::milliseconds heartbeat() const noexcept { return pulse_->heartbeat; }

private:
    void flush();
    template <typename Step>
    void advance(Step step);
    bool sendRecords();
    bool sendEnd(const std::string& record);
    bool sendError(const kit::Error& reason);
    bool addRecord(const std::string& record);
    bool sendMessage(bool isLast);
    void cancel();

    Owner& owner_;
    const Discovery::Endpoint endpoint_;
    const TimePoint begunAt_ = wire::EventLoop::Clock::now();
    std::optional<TimePoint> answeredAt_;  ///< when the first values or the end were sent
    std::optional<kit::Error> error_;      ///< what the request has ended with
    const std::shared_ptr<Pulse> pulse_;
    std::uint64_t credit_;
    std::uint64_t sent_ = 0;  ///< messages
    std::string records_;     ///< of the next message
    wire::ServedService* service_ = nullptr;
    void* handle_ = nullptr;
    std::shared_ptr<wire::AnswerQueue> queue_;
};

}  // namespace kova::nats::detail
