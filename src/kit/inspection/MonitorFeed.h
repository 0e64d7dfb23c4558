#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "kova/kit/Command.h"
#include "kova/kit/MonitorViews.h"
#include "kova/kit/Schema.h"
#include "kova/kit/resources/Streaming.h"
#include "osal/Alarm.h"

namespace kova::kit::detail {

/// The bounds of a feed.
struct FeedLimits {
    /// The maximum number of items in a batch.
    std::size_t items = 256;
    /// The number of bytes after which a batch is sent. A single item may have more bytes. Several
    /// batches fit into the queue of an endpoint.
    std::size_t bytes = std::size_t{64} * 1024;
    /// The maximum number of batches in the queue of a watcher. If one more is added, the oldest
    /// one is dropped.
    std::size_t batches = 64;
    /// The maximum time for which an item waits for further items of its batch. Each batch wakes
    /// two threads, which would take longer than the request if each item were sent alone.
    std::chrono::milliseconds delay{50};
};

/// A source of items that one stream sends in batches. `LIST` is the member of `Batch` with the
/// items.
///
/// Any thread may call any function. `add` neither waits for a receiver nor encodes the item.
template <typename Batch, typename Item, std::vector<Item> Batch::*LIST>
class MonitorFeed {
public:
    explicit MonitorFeed(const FeedLimits& limits)
        : limits_(limits),
          source_(std::make_shared<Source>(*this)),
          stream_(source_, {limits.batches, DropOldest}) {}
    MonitorFeed(const MonitorFeed&) = delete;
    MonitorFeed& operator=(const MonitorFeed&) = delete;
    ~MonitorFeed() {
        stream_.close();  // afterwards no new watcher can arm the alarm
        if (alarm_) {
            alarm_->disarm();
        }
    }

    /// Returns whether there may be a watcher. After the last watcher has left, the result is true
    /// until the next batch is sent.
    bool isWatched() const noexcept { return isWatched_.load(std::memory_order_acquire); }
    /// Adds an item. `bytes` is the memory that it uses.
    void add(Item&& item, std::size_t bytes) {
        const std::lock_guard<std::mutex> guard(mutex_);
        waiting_.push_back(std::move(item));
        bytes_ += bytes;
        if (waiting_.size() >= limits_.items || bytes_ >= limits_.bytes ||
            (waiting_.size() == 1 && alarm_->arm(limits_.delay))) {
            sendLocked();
        }
    }
    /// Returns the stream.
    const Mountable& stream() const noexcept { return stream_; }

private:
    class Source final : public StreamSource {
    public:
        explicit Source(MonitorFeed& feed) noexcept : feed_(feed) {}
        // The first value of a watcher has the position of the next item.
        std::shared_ptr<Change> snapshot() const override {
            Batch empty;
            empty.first = feed_.next_;
            return makeChange<ValueChange<Batch>>(std::move(empty));
        }
        // Sends the waiting items, so that the first value of a new watcher has a position after
        // them.
        Result<std::shared_ptr<Change>> read() override {
            feed_.send();
            return std::shared_ptr<Change>();
        }
        void watched() override { feed_.begin(); }
        std::vector<Operation> operations(const Hub& /*hub*/) const override {
            return {{std::string(command::retrieve), "", nullptr, &schemaOf<Batch>, true}};
        }

    private:
        MonitorFeed& feed_;
    };
    class FeedStream final : public Streaming {
    public:
        FeedStream(std::shared_ptr<StreamSource> source, const StreamQueue& queue)
            : Streaming(std::move(source), queue) {}
        using Streaming::close;
        Hub& publisher() const noexcept { return hub(); }
    };

    void begin() {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (!alarm_) {
            alarm_.emplace(osal::Alarm::DEFAULT_TIMER, &MonitorFeed::onAlarm, this);
        }
        isWatched_.store(true, std::memory_order_release);
    }
    static void onAlarm(void* user) { static_cast<MonitorFeed*>(user)->send(); }
    void send() {
        const std::lock_guard<std::mutex> guard(mutex_);
        sendLocked();
    }
    // The hub only queues the batch; threads of the kit encode and deliver it.
    void sendLocked() {
        bytes_ = 0;
        if (!waiting_.empty()) {
            Batch batch;
            const std::uint64_t count = waiting_.size();
            (batch.*LIST).swap(waiting_);
            batch.first = next_;
            publishWith(stream_.publisher(), makeChange<ValueChange<Batch>>(std::move(batch)),
                        [this, count] {
                            next_ += count;
                            return true;
                        });
        }
        // If a watcher is added after this call of `isWatched`, `begin` sets the flag again.
        // `begin` waits for the mutex, which this thread holds.
        isWatched_.store(stream_.isWatched(), std::memory_order_release);
    }

    const FeedLimits limits_;
    std::atomic<bool> isWatched_{false};
    std::mutex mutex_;
    std::vector<Item> waiting_;
    std::size_t bytes_ = 0;
    /// The position of the next item in the stream. Written with the lock of the hub.
    std::uint64_t next_ = 1;
    std::optional<osal::Alarm> alarm_;
    const std::shared_ptr<Source> source_;
    FeedStream stream_;
};

}  // namespace kova::kit::detail
