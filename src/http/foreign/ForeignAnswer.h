#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "foreign/Mapping.h"
#include "kova/core/IResponseHandler.h"
#include "kova/core/Response.h"
#include "kova/kit/StreamOptions.h"
#include "wire/EventLoop.h"

namespace kova::http::detail {

/// The answer of the services to one request of HTTP, between the threads that send the events and
/// the thread of the loop.
///
/// Of an answer that is not a stream it keeps one value. The events of a stream wait in a queue for
/// the client. Each part of the stream has the bound and the policy that its first value names
/// (`kit::STREAM_QUEUE`), or `kit::Disconnect`. A part that exceeds a bound that no policy can keep
/// ends with the error 503. If memory runs out, the answer has failed, and so have all its parts.
class ForeignAnswer final : public wire::EventLoop::Job,
                            public std::enable_shared_from_this<ForeignAnswer> {
public:
    struct Limits {
        /// The highest number of bytes of queued payloads. A single value may have more.
        std::size_t bytes = std::size_t{256} * 1024;
        /// The time for which a value waits for space, with the policy `kit::Wait`. On the thread
        /// of the loop it does not wait; there only the limit of the bytes applies.
        std::chrono::milliseconds patience = std::chrono::seconds(1);
    };

    /// `onReady` is called on the thread of the loop when there is something to read after
    /// `isReady` has returned false, and when a part has to be cancelled.
    ForeignAnswer(const ForeignCall& call, const Limits& limits,
                  std::shared_ptr<wire::EventLoop> loop, wire::EventLoop::Task onReady);

    /// Returns the response handler of a part. It has one end: if it is destroyed without one, the
    /// part was dropped. Call it once for each part.
    std::unique_ptr<IResponseHandler<Response>> makeHandler(std::size_t part);

    /// @{
    /// The functions of the reader, on the thread of the loop.
    /// Returns whether there is a reply, a text, the end, or the failure. If not, `onReady`
    /// follows.
    bool isReady();
    /// Returns whether there was no memory for the answer. It has neither a reply nor a text then.
    bool hasFailed() const;
    /// Returns the reply of an answer that is not a stream; and of a stream that began with an
    /// error, before any text was taken. Returns nothing otherwise.
    std::optional<HttpReply> takeReply();
    /// Appends the text of the events that wait, at least one and until `size` bytes are reached.
    /// Returns false if none is there and none will follow.
    bool takeText(std::string& out, std::size_t size);
    /// Returns whether the request of the part need no longer be cancelled: its service ended it.
    bool hasEnded(std::size_t part) const;
    /// Returns whether no further value of the part is wanted, although the service has not ended
    /// the part.
    bool isEnough(std::size_t part) const;
    /// Drops all events, and refuses further ones. `onReady` is not called any more.
    void close() noexcept;
    /// @}

private:
    friend class PartHandler;
    enum class Kind : std::uint8_t { next, error, completed, dropped };

    struct Part {
        std::string path;  ///< "" if the stream has one resource
        std::size_t bound = SIZE_MAX;
        kit::WhenFull whenFull = kit::Disconnect;
        std::size_t waiting = 0;  ///< the values in the queue
        std::uint64_t lost = 0;   ///< the values that were dropped before the next one
        bool isFirst = true;
        bool hasEnded = false;  ///< by the service
        bool isEnough = false;
    };
    struct Event {
        std::size_t part;
        Kind kind;
        Response response;
        std::uint64_t lost = 0;
    };
    using Lock = std::unique_lock<std::mutex>;

    // On any thread:
    bool next(std::size_t part, const Response& value) noexcept;
    void end(std::size_t part, Kind kind, Response const* response) noexcept;
    bool addNext(std::size_t part, const Response& value);
    void addEnd(std::size_t part, Kind kind, Response const* response);
    void fail() noexcept;
    bool addValue(Lock& lock, std::size_t part, const Response& value);
    bool reserve(Lock& lock, std::size_t part, std::size_t size);
    bool isFull(const Part& part, std::size_t size) const noexcept;
    bool waitForSpace(Lock& lock, std::size_t part, std::size_t size);
    void dropValues(std::size_t part, bool isAll);
    void disconnect(std::size_t part);
    void append(Event&& event);
    void announce() noexcept;
    void run() override;
    bool isOver() const noexcept;
    std::optional<Event> takeEvent();
    void appendText(std::string& out, const Event& event) const;

    const ForeignCall::Answer answer_;
    const Accept accept_;
    const Limits limits_;
    const std::shared_ptr<wire::EventLoop> loop_;
    wire::EventLoop::Task onReady_;  ///< of the thread of the loop

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Part> parts_;
    std::list<Event> events_;       ///< a list, because a quiet stream has none
    std::optional<Response> last_;  ///< the latest value of an answer that is not a stream
    std::size_t bytes_ = 0;
    bool isAnnounced_ = true;
    bool isClosed_ = false;
    bool isFailed_ = false;
    bool hasText_ = false;  ///< text of the stream was taken
};

}  // namespace kova::http::detail
