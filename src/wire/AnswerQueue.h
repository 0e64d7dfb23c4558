#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "kova/core/IResponseHandler.h"
#include "kova/core/Response.h"
#include "kova/kit/StreamOptions.h"
#include "wire/EventLoop.h"
#include "wire/Records.h"

namespace kova::wire {

class AnswerQueue;

/// The reader of an `AnswerQueue`, on the thread of the loop.
class AnswerReader {
public:
    virtual ~AnswerReader() = default;
    /// Called when the queue has records again, after `AnswerQueue::hasMore` or `take` has found
    /// none.
    virtual void onRecords() = 0;
};

/// The queues that have records for their readers. A burst wakes the loop once.
///
/// Neither the list nor its wake-up allocates memory, so that a queue can report the lack of
/// memory.
class ReadyQueues final : public EventLoop::Job, public std::enable_shared_from_this<ReadyQueues> {
public:
    /// `afterBurst` is called on the thread of the loop after the readers were notified.
    ReadyQueues(std::shared_ptr<EventLoop> loop, EventLoop::Task afterBurst)
        : loop_(std::move(loop)), afterBurst_(std::move(afterBurst)) {}
    ~ReadyQueues() override;
    ReadyQueues(const ReadyQueues&) = delete;
    ReadyQueues& operator=(const ReadyQueues&) = delete;

    /// Notifies the reader of the queue later, on the thread of the loop. Any thread may call it.
    void add(const std::shared_ptr<AnswerQueue>& queue) noexcept;
    bool isLoopThread() const noexcept { return loop_->isLoopThread(); }
    /// Forgets `afterBurst` and all queues, and refuses further ones, because a queue owns this
    /// object, too. On the thread of the loop.
    void close() noexcept;

private:
    using Queue = std::shared_ptr<AnswerQueue>;

    void run() override;
    static Queue unlink(AnswerQueue& queue) noexcept;
    static void drop(Queue first) noexcept;

    const std::shared_ptr<EventLoop> loop_;
    EventLoop::Task afterBurst_;
    std::mutex mutex_;
    Queue first_;  ///< of the list
    AnswerQueue* last_ = nullptr;
    bool isClosed_ = false;
};

/// The records of one answer that wait for the client, between the thread that sends the events and
/// the thread of the loop. It is bounded, and has the policy that the first value names
/// (`kit::STREAM_QUEUE`), or `kit::Disconnect`.
///
/// The first record is never dropped, because it carries the version of the wire. A stream that
/// exceeds a bound that no policy can keep ends with the error 503. Records are encoded by the
/// sending thread, outside the lock. If memory runs out, the answer has failed: it has no end that
/// could be sent.
class AnswerQueue : public std::enable_shared_from_this<AnswerQueue> {
public:
    struct Limits {
        /// The highest number of queued bytes. A single record may be longer.
        std::size_t bytes = std::size_t{256} * 1024;
        /// The time for which a value waits for space, with the policy `kit::Wait`. On the thread
        /// of the loop it does not wait; there only the limit of the bytes applies.
        std::chrono::milliseconds patience = std::chrono::seconds(1);
    };

    /// The reader expects the first record: it is not notified before `hasMore` or `take` has found
    /// none.
    AnswerQueue(std::shared_ptr<ReadyQueues> ready, const Limits& limits)
        : ready_(std::move(ready)), limits_(limits) {}

    /// @{
    /// The events of the answer. Values come from one thread at a time. Several threads may end the
    /// answer: the first end counts, for example if the service destroys its response handler and
    /// then throws. `next` returns false if no further value is wanted.
    bool next(const Response& value) noexcept;
    void error(const Response& error) noexcept { end(RecordKind::error, &error); }
    void completed() noexcept { end(RecordKind::completed, nullptr); }
    /// @}

    /// @{
    /// The functions of the reader, on the thread of the loop.
    enum class Taken { record, nothing, end, failed };
    /// Sets `record` to the oldest record. If no record waits, the reader is notified later.
    Taken take(std::string& record);
    /// Returns whether `take` has something to return now. If it returns false, the reader is
    /// notified as soon as there is something.
    bool hasMore();
    /// Returns whether the stream has exceeded its bound, or a record could not be made: the
    /// request is of no use any more.
    bool isGivenUp() const;
    /// Returns the number of bytes that wait.
    std::size_t bytes() const;
    /// Drops all records and refuses further ones. The reader is not notified any more.
    void close() noexcept;
    /// The reader; null if it is gone.
    AnswerReader* reader = nullptr;
    /// @}

private:
    friend class ReadyQueues;

    struct Entry {
        std::string record;
        std::optional<Response> value;  ///< for `kit::STREAM_LOST`; only with `kit::DropOldest`
        std::uint64_t lost = 0;         ///< the values that were dropped before this one
    };
    enum class Space { available, none, closed };

    Response adoptTerms(const Response& first);
    Space reserve(std::unique_lock<std::mutex>& lock, std::size_t size);
    bool isFull(std::size_t size) const noexcept;
    bool waitForSpace(std::unique_lock<std::mutex>& lock, std::size_t size);
    void dropAll() noexcept;
    void dropOldest();
    bool hasDroppable() const noexcept { return entries_.size() > (isFirstWaiting_ ? 1U : 0U); }
    void remove(std::list<Entry>::iterator at) noexcept;
    void append(std::unique_lock<std::mutex>& lock, std::list<Entry>& entry);
    bool addNext(const Response& value);
    void end(RecordKind kind, Response const* error) noexcept;
    void addEnd(RecordKind kind, Response const* error);
    void fail() noexcept;
    void giveUp(const kit::Error& error);

    const std::shared_ptr<ReadyQueues> ready_;
    const Limits limits_;
    /// No record has been queued. Written inside the lock.
    std::atomic<bool> isFirst_{true};

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::list<Entry> entries_;  ///< a list, because an open stream without values allocates nothing
    std::size_t bytes_ = 0;
    std::uint64_t lostBeforeNext_ = 0;  ///< the dropped values that no queued value reports
    std::size_t bound_ = SIZE_MAX;
    kit::WhenFull whenFull_ = kit::Disconnect;
    bool isFirstWaiting_ = false;  ///< the first record is the front of the queue
    bool isAnnounced_ = true;      ///< the reader knows that there are records
    bool isEnded_ = false;         ///< no record follows
    bool isGivenUp_ = false;
    bool isFailed_ = false;
    bool isClosed_ = false;

    std::shared_ptr<AnswerQueue> nextReady_;  ///< in the list of `ReadyQueues`
    std::atomic<bool> isInList_{false};
};

/// Puts the events of a request into the queue of its answer.
class AnswerHandler : public IResponseHandler<Response> {
public:
    explicit AnswerHandler(std::shared_ptr<AnswerQueue> queue) noexcept
        : queue_(std::move(queue)) {}

    bool onNext(const Response& value) override { return !queue_->next(value); }
    void onError(const Response& error) override { queue_->error(error); }
    void onCompleted() override { queue_->completed(); }

private:
    const std::shared_ptr<AnswerQueue> queue_;
};

}  // namespace kova::wire
