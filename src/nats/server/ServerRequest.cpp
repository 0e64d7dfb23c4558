#include "nats/server/ServerRequest.h"

#include <algorithm>
#include <new>
#include <utility>

#include "nats/Statuses.h"
#include "wire/OutOfMemory.h"
#include "wire/Records.h"

namespace kova::nats::detail {

namespace {

constexpr std::size_t KIND_OFFSET = 4;  // of a record

wire::RecordKind kindOf(const std::string& record) noexcept {
    return static_cast<wire::RecordKind>(record[KIND_OFFSET]);
}

/// Returns the error that a record contains.
std::optional<kit::Error> errorOf(const std::string& record) {
    wire::RecordReader reader(record.size());
    reader.add(record);
    const kit::Result<std::optional<wire::Record>> read = reader.next();
    const auto response = read && *read ? (*read)->toResponse() : kit::Result<Response>(Response());
    return response ? kit::Error::of(*response) : response.error();
}

}  // namespace

ServerRequest::~ServerRequest() {
    pulse_->isOver = true;
    if (queue_) {
        queue_->close();
    }
    cancel();
}

void ServerRequest::count(Discovery& discovery) const {
    if (answeredAt_) {
        discovery.countAnswer(endpoint_, *answeredAt_ - begunAt_);
    }
    if (error_) {
        discovery.countError(endpoint_, *error_);
    }
}

void ServerRequest::cancel() {
    if (void* const handle = std::exchange(handle_, nullptr)) {
        service_->calls().cancelRequest(handle);
    }
}

// A request that is not answered at once is acknowledged, so that its client knows where to cancel
// it. If the client is gone, the broker answers the acknowledgement.
void ServerRequest::send(wire::ServedService& service, const Request& request,
                         const std::shared_ptr<wire::AnswerQueue>& queue) {
    service_ = &service;
    queue_ = queue;
    queue->reader = this;
    const kit::Result<void*> handle =
        service.send(request, std::make_unique<wire::AnswerHandler>(queue));
    if (handle) {
        handle_ = *handle;
    } else {
        queue->error(handle.error().toResponse());
    }
    if (!queue->hasMore()) {
        std::string message;
        appendFrame(message, FrameKind::alive, 0);
        pulse_->link->publish(pulse_->subject, pulse_->reply, message);
        return;
    }
    flush();
}

void ServerRequest::grant(std::uint64_t credit) {
    credit_ = std::min(credit_ + credit, MOST_CREDIT);
    flush();
}

void ServerRequest::onRecords() {
    if (queue_->isGivenUp()) {
        cancel();
    }
    flush();
}

void ServerRequest::flush() {
    advance([this] { return sendRecords(); });
}

// Ends the request if the step returns false: the request is over. Without memory it is over, too.
template <typename Step>
void ServerRequest::advance(Step step) {
    bool goesOn = false;
    try {
        goesOn = step();
    } catch (const std::bad_alloc&) {
        wire::reportOutOfMemory("a request is dropped: no memory for its answer");
    }
    if (!goesOn) {
        owner_.onOver(*this);
    }
}

// Without credit, the records stay in the queue, whose policy bounds it. Returns false if the
// request is over.
bool ServerRequest::sendRecords() {
    while (credit_ > 0) {
        std::string record;
        const wire::AnswerQueue::Taken taken = queue_->take(record);
        if (taken == wire::AnswerQueue::Taken::failed) {
            throw std::bad_alloc();
        }
        if (taken != wire::AnswerQueue::Taken::record) {
            break;
        }
        const bool isLast = kindOf(record) != wire::RecordKind::next;
        credit_ -= isLast ? 0 : 1;
        if (!addRecord(record)) {
            return false;
        }
        if (isLast) {
            return sendEnd(record);
        }
    }
    return records_.empty() || sendMessage(false);
}

// Returns false: the request is over.
bool ServerRequest::sendEnd(const std::string& record) {
    if (kindOf(record) == wire::RecordKind::error) {
        error_ = errorOf(record);
    }
    sendMessage(true);
    return false;
}

// Returns false if the request is over.
bool ServerRequest::addRecord(const std::string& record) {
    const std::size_t longest = pulse_->link->longestMessage();
    if (record.size() + FRAME_SIZE > longest) {
        return sendError(
            {CONTENT_TOO_LARGE, "a value of the answer has " + std::to_string(record.size()) +
                                    " bytes, the broker allows " +
                                    std::to_string(longest - std::min(longest, FRAME_SIZE))});
    }
    if (!records_.empty() &&
        records_.size() + record.size() > std::min(BATCH, longest - FRAME_SIZE) &&
        !sendMessage(false)) {
        return false;
    }
    records_ += record;
    return true;
}

// The last message needs no reply. Returns false if the connection is lost.
bool ServerRequest::sendMessage(bool isLast) {
    std::string message;
    message.reserve(FRAME_SIZE + records_.size());
    appendFrame(message, FrameKind::answer, sent_ + 1);
    message += records_;
    records_.clear();
    if (!pulse_->link->publish(pulse_->subject, isLast ? std::string() : pulse_->reply, message)) {
        return false;
    }
    pulse_->onSent(++sent_);
    if (!answeredAt_) {
        answeredAt_ = wire::EventLoop::Clock::now();
    }
    return true;
}

void ServerRequest::fail(const kit::Error& reason) {
    advance([&] { return sendError(reason); });
}

// Returns false: the request is over.
bool ServerRequest::sendError(const kit::Error& reason) {
    error_ = reason;
    std::string record;
    const bool isFirst = sent_ == 0 && records_.empty();
    if (wire::appendEvent(record, wire::RecordKind::error, reason.toResponse(), isFirst)) {
        if (!records_.empty()) {
            sendMessage(false);
        }
        records_ = record;
        sendMessage(true);
    }
    return false;
}

}  // namespace kova::nats::detail
