#include "server/ServerStream.h"

#include <nghttp2/nghttp2.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "server/ServerConnection.h"
#include "wire/OutOfMemory.h"

namespace kova::http::detail {

namespace {

kit::Error malformed(char const* reason) {
    return {statuscodes::BAD_REQUEST, reason};
}

}  // namespace

bool ServerStream::addBody(std::string_view bytes) {
    bodySize_ += bytes.size();
    if (bodySize_ > bodyLimit_) {
        return false;
    }
    reader_->add(bytes);
    return true;
}

kit::Result<Request> ServerStream::readRequest() {
    const kit::Result<std::optional<wire::Record>> record = reader_->next();
    if (!record) {
        return record.error();
    }
    if (!*record || (*record)->kind != wire::RecordKind::request) {
        return malformed("the body is not the record of a request");
    }
    kit::Result<Request> request = (*record)->toRequest();
    if (request && reader_->isInside()) {
        return malformed("bytes follow the record of the request");
    }
    return request;
}

void ServerStream::send(const Request& request, const std::shared_ptr<wire::AnswerQueue>& queue) {
    queue_ = queue;
    queue->reader = this;
    reader_.reset();
    const kit::Result<void*> handle =
        service->send(request, std::make_unique<wire::AnswerHandler>(queue));
    if (handle) {
        handle_ = *handle;
    } else {
        queue->error(handle.error().toResponse());
    }
}

void ServerStream::setText(std::string text) {
    record_ = std::move(text);
    sent_ = 0;
}

std::ptrdiff_t ServerStream::read(std::uint8_t* bytes, std::size_t size, bool& isOver) {
    std::size_t filled = 0;
    isOver = false;
    while (filled < size && !isOver) {
        if (sent_ == record_.size()) {
            sent_ = 0;
            record_.clear();
            const auto taken = queue_ ? queue_->take(record_) : wire::AnswerQueue::Taken::end;
            isOver = taken == wire::AnswerQueue::Taken::end;
            if (taken == wire::AnswerQueue::Taken::failed) {
                wire::reportOutOfMemory("a stream is reset: no memory for its answer");
                return NGHTTP2_ERR_TEMPORAL_CALLBACK_FAILURE;
            }
            if (taken != wire::AnswerQueue::Taken::record) {
                break;
            }
        }
        const std::size_t count = std::min(size - filled, record_.size() - sent_);
        std::memcpy(bytes + filled, record_.data() + sent_, count);
        filled += count;
        sent_ += count;
    }
    if (filled == 0 && !isOver) {
        return NGHTTP2_ERR_DEFERRED;
    }
    return static_cast<std::ptrdiff_t>(filled);
}

void ServerStream::onRecords() {
    if (queue_->isGivenUp()) {
        cancel();
    }
    connection_.resume(*this);
}

void ServerStream::cancel() {
    if (void* const handle = std::exchange(handle_, nullptr)) {
        service->calls().cancelRequest(handle);
    }
}

void ServerStream::end() {
    if (queue_) {
        queue_->close();
    }
    cancel();
}

}  // namespace kova::http::detail
