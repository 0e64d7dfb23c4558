#include "foreign/ForeignAnswer.h"

#include <algorithm>
#include <charconv>
#include <exception>
#include <string_view>
#include <utility>

#include "foreign/EventText.h"
#include "foreign/Replies.h"
#include "kova/core/StatusCodes.h"
#include "kova/kit/Tree.h"
#include "util/config/Scalars.h"
#include "wire/OutOfMemory.h"

namespace kova::http::detail {

namespace {

// Returns the value with one more header entry, which other copies of the value do not get.
Response withLost(const Response& value, std::uint64_t lost) {
    Response::Header header = value.getHeader().isDictionary()
                                  ? wire::copyOf(value.getHeader())
                                  : std::make_shared<util::config::Dictionary>();
    unsigned long before = 0;
    if ((*header)[kit::STREAM_LOST].get(before)) {
        before = 0;
    }
    wire::put(*header, kit::STREAM_LOST,
              new util::config::ValueInt(static_cast<unsigned long>(before + lost)));
    return {value.getStatusCode(), value.getPayload(), header};
}

// Reads the text of `kit::StreamQueue`, such as "16 conflate".
std::optional<kit::StreamQueue> readTerms(const Response& first) {
    std::string text;
    if (first.getHeaderValue(kit::STREAM_QUEUE).get(text)) {
        return std::nullopt;
    }
    kit::StreamQueue terms;
    std::from_chars(text.data(), text.data() + text.size(), terms.bound);
    for (const kit::WhenFull policy :
         {kit::Wait, kit::Conflate, kit::DropOldest, kit::Disconnect}) {
        terms.whenFull = policy;
        if (terms.bound != 0 && terms.toString() == text) {
            return terms;
        }
    }
    return std::nullopt;
}

}  // namespace

/// Passes the events of one part to the answer.
class PartHandler final : public IResponseHandler<Response> {
public:
    PartHandler(std::shared_ptr<ForeignAnswer> answer, std::size_t part) noexcept
        : answer_(std::move(answer)), part_(part) {}
    ~PartHandler() override {
        if (!hasEnded_) {
            answer_->end(part_, ForeignAnswer::Kind::dropped, nullptr);
        }
    }
    PartHandler(const PartHandler&) = delete;
    PartHandler& operator=(const PartHandler&) = delete;

    bool onNext(const Response& value) override { return !answer_->next(part_, value); }
    void onError(const Response& error) override {
        hasEnded_ = true;
        answer_->end(part_, ForeignAnswer::Kind::error, &error);
    }
    void onCompleted() override {
        hasEnded_ = true;
        answer_->end(part_, ForeignAnswer::Kind::completed, nullptr);
    }

private:
    const std::shared_ptr<ForeignAnswer> answer_;
    const std::size_t part_;
    bool hasEnded_ = false;
};

ForeignAnswer::ForeignAnswer(const ForeignCall& call, const Limits& limits,
                             std::shared_ptr<wire::EventLoop> loop, wire::EventLoop::Task onReady)
    : answer_(call.answer),
      accept_(call.accept),
      limits_(limits),
      loop_(std::move(loop)),
      onReady_(std::move(onReady)) {
    for (const ForeignCall::Part& part : call.parts) {
        parts_.emplace_back();
        if (call.isWatch) {
            parts_.back().path = (part.servicePath ? *part.servicePath + '$' : std::string()) +
                                 part.request.getPath();
        }
    }
}

std::unique_ptr<IResponseHandler<Response>> ForeignAnswer::makeHandler(std::size_t part) {
    return std::make_unique<PartHandler>(shared_from_this(), part);
}

// Returns whether further values are wanted.
bool ForeignAnswer::next(std::size_t part, const Response& value) noexcept {
    try {
        return addNext(part, value);
    } catch (const std::exception&) {
        fail();
        return false;
    }
}

void ForeignAnswer::end(std::size_t part, Kind kind, Response const* response) noexcept {
    try {
        addEnd(part, kind, response);
    } catch (const std::exception&) {
        fail();
    }
}

void ForeignAnswer::fail() noexcept {
    std::list<Event> dropped;  // destroyed outside the lock
    const Lock lock(mutex_);
    isFailed_ = true;
    dropped.swap(events_);
    bytes_ = 0;
    announce();
}

bool ForeignAnswer::addNext(std::size_t part, const Response& value) {
    Lock lock(mutex_);
    Part& own = parts_[part];
    if (isClosed_ || isFailed_ || own.hasEnded || own.isEnough) {
        return false;
    }
    if (answer_ == ForeignCall::Answer::events) {
        return addValue(lock, part, value);
    }
    if (value.getStatusCode() == statuscodes::MULTI_RESPONSE) {
        return true;
    }
    last_ = value;
    if (answer_ == ForeignCall::Answer::lastValue) {
        return true;
    }
    own.isEnough = true;
    append({part, Kind::completed, Response()});
    return false;
}

void ForeignAnswer::addEnd(std::size_t part, Kind kind, Response const* response) {
    const Lock lock(mutex_);
    Part& own = parts_[part];
    const bool isWanted = !isClosed_ && !isFailed_ && !own.hasEnded && !own.isEnough;
    own.hasEnded = true;
    if (isWanted && kind == Kind::dropped) {
        append({part, kind, droppedError().toResponse()});
    } else if (isWanted) {
        append({part, kind, response != nullptr ? *response : Response()});
    }
}

bool ForeignAnswer::addValue(Lock& lock, std::size_t part, const Response& value) {
    if (std::exchange(parts_[part].isFirst, false)) {
        if (const std::optional<kit::StreamQueue> terms = readTerms(value)) {
            parts_[part].bound = terms->bound;
            parts_[part].whenFull = terms->whenFull;
        }
    }
    if (!reserve(lock, part, value.getPayload().size())) {
        if (!isClosed_) {
            disconnect(part);
        }
        return false;
    }
    Part& own = parts_[part];
    ++own.waiting;
    bytes_ += value.getPayload().size();
    append({part, Kind::next, value, std::exchange(own.lost, 0)});
    return true;
}

// Reserves space for a value. Returns false if the queue is full.
bool ForeignAnswer::reserve(Lock& lock, std::size_t part, std::size_t size) {
    Part& own = parts_[part];
    if (!isFull(own, size)) {
        return true;
    }
    if (own.whenFull == kit::Conflate || own.whenFull == kit::DropOldest) {
        while (own.waiting > 0 && isFull(own, size)) {
            dropValues(part, own.whenFull == kit::Conflate);
        }
        return own.waiting == 0 || !isFull(own, size);
    }
    return own.whenFull == kit::Wait && waitForSpace(lock, part, size);
}

bool ForeignAnswer::isFull(const Part& part, std::size_t size) const noexcept {
    return part.waiting >= part.bound || (bytes_ > 0 && bytes_ + size > limits_.bytes);
}

bool ForeignAnswer::waitForSpace(Lock& lock, std::size_t part, std::size_t size) {
    if (loop_->isLoopThread()) {
        return bytes_ + size <= limits_.bytes;
    }
    changed_.wait_for(lock, limits_.patience,
                      [&] { return isClosed_ || !isFull(parts_[part], size); });
    return !isClosed_ && !isFull(parts_[part], size);
}

// Drops the oldest value of a part, or all of them. Conflated values are not counted as lost,
// because the newest value replaces them.
void ForeignAnswer::dropValues(std::size_t part, bool isAll) {
    Part& own = parts_[part];
    for (auto at = events_.begin(); at != events_.end() && own.waiting > 0;) {
        if (at->part != part || at->kind != Kind::next) {
            ++at;
            continue;
        }
        own.lost += isAll ? 0 : at->lost + 1;
        bytes_ -= at->response.getPayload().size();
        --own.waiting;
        at = events_.erase(at);
        if (!isAll) {
            break;
        }
    }
    // The oldest value that still waits reports the number of lost ones.
    const auto oldest = std::find_if(events_.begin(), events_.end(), [part](const Event& event) {
        return event.part == part && event.kind == Kind::next;
    });
    if (oldest != events_.end()) {
        oldest->lost += std::exchange(own.lost, 0);
    }
}

void ForeignAnswer::disconnect(std::size_t part) {
    parts_[part].isEnough = true;
    append({part, Kind::error,
            kit::Error{statuscodes::SERVICE_UNAVAILABLE,
                       "lost: the client does not read the answer: its queue is full"}
                .toResponse()});
    // Notifies the reader even if the client does not read, so that the request is cancelled.
    isAnnounced_ = false;
    announce();
}

void ForeignAnswer::append(Event&& event) {
    events_.push_back(std::move(event));
    announce();
}

void ForeignAnswer::announce() noexcept {
    if (!std::exchange(isAnnounced_, true)) {
        loop_->post(shared_from_this());
    }
}

void ForeignAnswer::run() {
    if (onReady_) {
        const wire::EventLoop::Task onReady = onReady_;  // it may call `close`
        onReady();
    }
}

bool ForeignAnswer::isOver() const noexcept {
    return std::all_of(parts_.begin(), parts_.end(),
                       [](const Part& part) { return part.hasEnded || part.isEnough; });
}

bool ForeignAnswer::isReady() {
    const Lock lock(mutex_);
    isAnnounced_ = isFailed_ || !events_.empty() || isOver();
    return isAnnounced_;
}

bool ForeignAnswer::hasFailed() const {
    const Lock lock(mutex_);
    return isFailed_;
}

std::optional<HttpReply> ForeignAnswer::takeReply() {
    const bool isStream = answer_ == ForeignCall::Answer::events;
    Lock lock(mutex_);
    if (events_.empty() || hasText_) {
        return std::nullopt;
    }
    const Event first = events_.front();
    const bool isProblem = first.kind == Kind::error || first.kind == Kind::dropped;
    if (isStream && (!isProblem || parts_.size() > 1)) {
        return std::nullopt;
    }
    events_.clear();
    const std::optional<Response> value = last_;
    lock.unlock();
    if (isProblem) {
        return toErrorReply(first.response, accept_);
    }
    if (!value) {
        return completedReply();
    }
    // The request has changed something already, so it succeeds whatever the client accepts.
    return answer_ == ForeignCall::Answer::firstValue ? toReply(*value, accept_) : toReply(*value);
}

bool ForeignAnswer::takeText(std::string& out, std::size_t size) {
    const std::size_t begin = out.size();
    bool isFirst = true;
    while (isFirst || out.size() - begin < size) {
        const std::optional<Event> event = takeEvent();
        if (!event) {
            break;
        }
        isFirst = false;
        appendText(out, *event);
    }
    const Lock lock(mutex_);
    return !isFirst || !isOver();
}

std::optional<ForeignAnswer::Event> ForeignAnswer::takeEvent() {
    std::optional<Event> event;
    {
        const Lock lock(mutex_);
        hasText_ = true;
        if (events_.empty()) {
            return std::nullopt;
        }
        event = std::move(events_.front());
        events_.pop_front();
        if (event->kind == Kind::next) {
            --parts_[event->part].waiting;
            bytes_ -= event->response.getPayload().size();
        }
    }
    changed_.notify_all();
    return event;
}

void ForeignAnswer::appendText(std::string& out, const Event& event) const {
    const std::string& path = parts_[event.part].path;
    switch (event.kind) {
        case Kind::next:
            appendNext(out, event.lost == 0 ? event.response : withLost(event.response, event.lost),
                       path);
            break;
        case Kind::error:
            appendError(out, event.response, path);
            break;
        case Kind::completed:
            appendCompleted(out, path);
            break;
        case Kind::dropped:
            appendDropped(out, path);
            break;
    }
}

bool ForeignAnswer::hasEnded(std::size_t part) const {
    const Lock lock(mutex_);
    return parts_[part].hasEnded;
}

bool ForeignAnswer::isEnough(std::size_t part) const {
    const Lock lock(mutex_);
    return parts_[part].isEnough;
}

void ForeignAnswer::close() noexcept {
    onReady_ = nullptr;
    std::list<Event> dropped;  // destroyed outside the lock
    {
        const Lock lock(mutex_);
        isClosed_ = true;
        dropped.swap(events_);
        bytes_ = 0;
    }
    changed_.notify_all();
}

}  // namespace kova::http::detail
