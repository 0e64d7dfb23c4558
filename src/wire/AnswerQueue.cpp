#include "wire/AnswerQueue.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <string_view>
#include <utility>

#include "kova/core/StatusCodes.h"
#include "kova/kit/Tree.h"
#include "kova/kit/Values.h"
#include "util/config/Dictionary.h"
#include "wire/OutOfMemory.h"

namespace kova::wire {

namespace {

using util::config::Dictionary;

struct Policy {
    std::string_view word;
    kit::WhenFull whenFull;
};
constexpr Policy POLICIES[] = {{"wait", kit::Wait},
                               {"conflate", kit::Conflate},
                               {"drop-oldest", kit::DropOldest},
                               {"disconnect", kit::Disconnect}};

// Reads "16 conflate".
std::optional<kit::StreamQueue> readTerms(const std::string& text) {
    kit::StreamQueue terms;
    char const* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, terms.bound);
    if (error != std::errc() || terms.bound == 0 || end == last || *end != ' ') {
        return std::nullopt;
    }
    const std::string_view word(end + 1, static_cast<std::size_t>(last - end) - 1);
    const auto* const found =
        std::find_if(std::begin(POLICIES), std::end(POLICIES),
                     [&](const Policy& policy) { return policy.word == word; });
    if (found == std::end(POLICIES)) {
        return std::nullopt;
    }
    terms.whenFull = found->whenFull;
    return terms;
}

// Returns the value with a header that no other thread reads.
Response withOwnHeader(const Response& value) {
    Response::Header header = value.getHeader().isDictionary() ? copyOf(value.getHeader())
                                                               : std::make_shared<Dictionary>();
    return {value.getStatusCode(), value.getPayload(), header};
}

// A header that becomes empty is no header.
Response withoutEntry(const Response& value, char const* key) {
    const Response copy = withOwnHeader(value);
    Dictionary* const header = copy.getHeader().getEditableDictionary();
    header->remove(key, true);
    return header->size() > 0 ? copy : Response(value.getStatusCode(), value.getPayload());
}

std::uint64_t lostBefore(const Response& value) {
    unsigned long lost = 0;
    return value.getHeaderValue(kit::STREAM_LOST).get(lost) ? 0 : lost;
}

// Returns the record of a value with the number of values that were lost before it.
std::string encodeWithLost(const Response& value, std::uint64_t lost) {
    Response copy = withOwnHeader(value);
    if (kit::Result<kit::Tree> number = kit::toTree(lost)) {
        copy.add2header(kit::STREAM_LOST, number->release());
    }
    std::string record;
    const kit::Result<void> encoded = appendEvent(record, RecordKind::next, copy, false);
    return encoded ? record : std::string();
}

}  // namespace

ReadyQueues::~ReadyQueues() {
    drop(std::move(first_));
}

void ReadyQueues::add(const std::shared_ptr<AnswerQueue>& queue) noexcept {
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (isClosed_ || queue->isInList_.exchange(true, std::memory_order_acquire)) {
            return;
        }
        AnswerQueue* const last = std::exchange(last_, queue.get());
        (last == nullptr ? first_ : last->nextReady_) = queue;
        if (last != nullptr) {
            return;
        }
    }
    loop_->post(shared_from_this());
}

// Removes the queue from the list, and returns the next one. The queue may be added again.
ReadyQueues::Queue ReadyQueues::unlink(AnswerQueue& queue) noexcept {
    Queue next = std::move(queue.nextReady_);
    queue.isInList_.store(false, std::memory_order_release);
    return next;
}

// Destroys the list one by one, since the end of a queue would destroy the next one recursively.
void ReadyQueues::drop(Queue first) noexcept {
    while (first) {
        first = unlink(*first);
    }
}

void ReadyQueues::close() noexcept {
    afterBurst_ = nullptr;
    Queue dropped;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        isClosed_ = true;
        dropped = std::move(first_);
        last_ = nullptr;
    }
    drop(std::move(dropped));
}

void ReadyQueues::run() {
    Queue queue;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        queue = std::move(first_);
        last_ = nullptr;
    }
    while (queue) {
        Queue next = unlink(*queue);
        if (queue->reader != nullptr) {
            queue->reader->onRecords();
        }
        queue = std::move(next);
    }
    if (afterBurst_) {
        afterBurst_();
    }
}

bool AnswerQueue::next(const Response& value) noexcept {
    try {
        return addNext(value);
    } catch (const std::exception&) {
        fail();
        return false;
    }
}

void AnswerQueue::end(RecordKind kind, Response const* error) noexcept {
    try {
        addEnd(kind, error);
    } catch (const std::exception&) {
        fail();
    }
}

// Ends the answer without a record, for lack of memory. The reader is notified even if the client
// does not read, so that the reader cancels the request.
void AnswerQueue::fail() noexcept {
    std::list<Entry> dropped;  // destroyed outside the lock
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (isEnded_ || isClosed_) {
            return;
        }
        isFailed_ = isEnded_ = isGivenUp_ = isAnnounced_ = true;
        dropped.swap(entries_);
        bytes_ = 0;
    }
    ready_->add(shared_from_this());
}

bool AnswerQueue::addNext(const Response& value) {
    const bool isFirst = isFirst_;
    const std::optional<Response> adopted =
        isFirst ? std::optional(adoptTerms(value)) : std::nullopt;
    const Response& sent = adopted ? *adopted : value;
    std::list<Entry> made(1);
    Entry& entry = made.front();
    const kit::Result<void> encoded = appendEvent(entry.record, RecordKind::next, sent, isFirst);
    if (!encoded) {
        giveUp(encoded.error());
        return false;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    if (whenFull_ == kit::DropOldest && !isFirst) {
        entry.value = sent;
    }
    const Space space = reserve(lock, entry.record.size());
    if (space == Space::available) {
        isFirstWaiting_ = isFirstWaiting_ || isFirst;
        append(lock, made);
        return true;
    }
    lock.unlock();
    if (space == Space::none) {
        giveUp({statuscodes::SERVICE_UNAVAILABLE,
                "lost: the client does not read the answer: its queue is full"});
    }
    return false;
}

// Returns the value to send. The entry with the terms is for this queue, not for the client.
Response AnswerQueue::adoptTerms(const Response& first) {
    std::string text;
    if (first.getHeaderValue(kit::STREAM_QUEUE).get(text)) {
        return first;
    }
    if (const std::optional<kit::StreamQueue> terms = readTerms(text)) {
        const std::lock_guard<std::mutex> guard(mutex_);
        bound_ = terms->bound;
        whenFull_ = terms->whenFull;
    }
    return withoutEntry(first, kit::STREAM_QUEUE);
}

// Makes space for a record of the given size.
AnswerQueue::Space AnswerQueue::reserve(std::unique_lock<std::mutex>& lock, std::size_t size) {
    if (!isClosed_ && !isEnded_ && isFull(size)) {
        if (whenFull_ == kit::Conflate) {
            dropAll();
        } else if (whenFull_ == kit::DropOldest) {
            while (hasDroppable() && isFull(size)) {
                dropOldest();
            }
        } else if (whenFull_ == kit::Disconnect || !waitForSpace(lock, size)) {
            return isClosed_ ? Space::closed : Space::none;
        }
    }
    return isClosed_ || isEnded_ ? Space::closed : Space::available;
}

bool AnswerQueue::isFull(std::size_t size) const noexcept {
    return !entries_.empty() && (entries_.size() >= bound_ || bytes_ + size > limits_.bytes);
}

bool AnswerQueue::waitForSpace(std::unique_lock<std::mutex>& lock, std::size_t size) {
    if (ready_->isLoopThread()) {
        return bytes_ + size <= limits_.bytes;
    }
    return changed_.wait_for(lock, limits_.patience, [&] { return isClosed_ || !isFull(size); });
}

void AnswerQueue::remove(std::list<Entry>::iterator at) noexcept {
    bytes_ -= at->record.size();
    entries_.erase(at);
}

void AnswerQueue::dropAll() noexcept {
    while (hasDroppable()) {
        remove(std::prev(entries_.end()));
    }
}

// The number of lost values moves to the next value in the queue, or to the one that is about to be
// appended.
void AnswerQueue::dropOldest() {
    const auto oldest = std::next(entries_.begin(), isFirstWaiting_ ? 1 : 0);
    const std::uint64_t lost = oldest->lost + 1 + lostBefore(*oldest->value);
    remove(oldest);
    const auto following = std::next(entries_.begin(), isFirstWaiting_ ? 1 : 0);
    (following == entries_.end() ? lostBeforeNext_ : following->lost) += lost;
}

// The entry was made outside the lock, so that no memory is allocated inside.
void AnswerQueue::append(std::unique_lock<std::mutex>& lock, std::list<Entry>& entry) {
    bytes_ += entry.front().record.size();
    entry.front().lost = std::exchange(lostBeforeNext_, 0);
    isFirst_.store(false, std::memory_order_relaxed);
    entries_.splice(entries_.end(), entry);
    const bool announces = !std::exchange(isAnnounced_, true);
    lock.unlock();
    if (announces) {
        ready_->add(shared_from_this());
    }
}

void AnswerQueue::addEnd(RecordKind kind, Response const* error) {
    std::list<Entry> made(1);
    Entry& entry = made.front();
    if (error == nullptr) {
        appendCompleted(entry.record, isFirst_);
    } else if (const auto encoded = appendEvent(entry.record, kind, *error, isFirst_); !encoded) {
        giveUp(encoded.error());
        return;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    if (!isEnded_ && !isClosed_) {
        isEnded_ = true;
        append(lock, made);
    }
}

// Ends the answer with an error, and the request at the service. The queued records are sent first.
void AnswerQueue::giveUp(const kit::Error& error) {
    const Response response = error.toResponse();
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        isGivenUp_ = true;
        isAnnounced_ = true;
    }
    addEnd(RecordKind::error, &response);
    // The reader is notified even if the client does not read, so that the request is cancelled.
    ready_->add(shared_from_this());
}

AnswerQueue::Taken AnswerQueue::take(std::string& record) {
    std::list<Entry> taken;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        if (entries_.empty()) {
            isAnnounced_ = isEnded_;
            return isFailed_ ? Taken::failed : isEnded_ ? Taken::end : Taken::nothing;
        }
        bytes_ -= entries_.front().record.size();
        taken.splice(taken.end(), entries_, entries_.begin());
        isFirstWaiting_ = false;
    }
    changed_.notify_one();
    Entry& entry = taken.front();
    record = entry.lost == 0 ? std::move(entry.record)
                             : encodeWithLost(*entry.value, entry.lost + lostBefore(*entry.value));
    return Taken::record;
}

bool AnswerQueue::hasMore() {
    const std::lock_guard<std::mutex> guard(mutex_);
    isAnnounced_ = isEnded_ || !entries_.empty();
    return isAnnounced_;
}

bool AnswerQueue::isGivenUp() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return isGivenUp_;
}

std::size_t AnswerQueue::bytes() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return bytes_;
}

void AnswerQueue::close() noexcept {
    reader = nullptr;
    std::list<Entry> dropped;  // destroyed outside the lock
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        isClosed_ = true;
        dropped.swap(entries_);
        bytes_ = 0;
    }
    changed_.notify_all();
}

}  // namespace kova::wire
