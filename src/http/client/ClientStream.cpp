#include "client/ClientStream.h"

#include <nghttp2/nghttp2.h>

#include <algorithm>
#include <charconv>
#include <utility>

#include "kova/core/StatusCodes.h"
#include "kova/kit/End.h"

namespace kova::http::detail {

namespace {

constexpr std::string_view PLAIN_TEXT = "text/plain";

// Returns the first line, without control characters.
std::string firstLine(const std::string& text) {
    const auto end = std::find_if(text.begin(), text.end(),
                                  [](char c) { return static_cast<unsigned char>(c) < 0x20; });
    return {text.begin(), end};
}

}  // namespace

ClientStream::ClientStream(ResponseHandler handler, std::string request, std::size_t recordBytes,
                           const wire::Repetition& repetition)
    : handler_(std::move(handler)),
      request_(std::move(request)),
      recordBytes_(recordBytes),
      repetition_(repetition),
      reader_(recordBytes) {}

std::size_t ClientStream::read(std::uint8_t* out, std::size_t size) {
    const std::size_t count = request_.copy(reinterpret_cast<char*>(out), size, sent_);
    sent_ += count;
    if (isSent() && !isKept()) {
        forgetRequest();
    }
    return count;
}

// Frees the memory of a request that is sent, unless it may be sent again.
void ClientStream::forgetRequest() noexcept {
    if (repetition_.isPossible()) {
        return;
    }
    request_ = std::string();
    sent_ = 0;
}

void ClientStream::onHeader(std::string_view name, std::string_view value) {
    if (name == ":status") {  // of the answer, or of an informational one before it
        type_.clear();
        std::from_chars(value.data(), value.data() + value.size(), status_);
    } else if (name == "content-type") {
        type_ = value.substr(0, value.find_first_of("; "));
    }
}

void ClientStream::onHeaderEnd() {
    if (isSent()) {
        forgetRequest();
    }
    if (isRecords() && type_ != wire::RECORDS_TYPE) {
        refuse("the answer has the type '" + type_ + "'");
    }
}

void ClientStream::onData(std::string_view bytes) {
    if (isEnded() || loss_) {
        if (!refusal_) {
            refusal_ = NGHTTP2_CANCEL;  // the server sends more after the end
        }
        return;
    }
    if (!isRecords()) {
        if (type_ == PLAIN_TEXT) {
            text_ += bytes.substr(0, LONGEST_TEXT - text_.size());
        }
        return;
    }
    reader_.add(bytes);
    while (!isEnded() && !loss_) {
        const kit::Result<std::optional<wire::Record>> record = reader_.next();
        if (!record) {
            refuse(record.error().message);
        } else if (*record) {
            deliver(**record);
        } else {
            return;
        }
    }
}

void ClientStream::deliver(const wire::Record& record) {
    if (record.kind == wire::RecordKind::completed) {
        complete();
        return;
    }
    if (record.kind == wire::RecordKind::request) {
        refuse("the answer has the record of a request");
        return;
    }
    const kit::Result<Response> response = record.toResponse();
    if (!response) {
        refuse(response.error().message);
    } else if (record.kind == wire::RecordKind::error) {
        onError(*response);
    } else {
        deliverValue(*response);
    }
}

// The server's own error "lost: ..." ends the request only if the request is not sent again. That
// is decided when the stream is closed.
void ClientStream::onError(const Response& error) {
    if (isRepeatable() && kit::End(error).kind() == kit::End::Kind::lost) {
        loss_ = error;
        refusal_ = NGHTTP2_CANCEL;
    } else {
        fail(error);
    }
}

void ClientStream::deliverValue(const Response& value) {
    repetition_.onValue(value);
    if (handler_->onNext(value)) {
        refusal_ = NGHTTP2_CANCEL;
        complete();
    }
}

void ClientStream::complete() {
    const ResponseHandler handler = std::move(handler_);
    handler->onCompleted();
}

void ClientStream::fail(const Response& error) {
    const ResponseHandler handler = std::move(handler_);
    handler->onError(error);
}

void ClientStream::refuse(const std::string& reason) {
    refusal_ = NGHTTP2_PROTOCOL_ERROR;
    fail(kit::Error{statuscodes::BAD_GATEWAY, "malformed answer: " + reason}.toResponse());
}

void ClientStream::onEnd() {
    if (isEnded() || loss_) {
        return;
    }
    if (isRecords()) {
        lose(reader_.isInside() ? "the answer ends inside a record" : "the answer has no end");
    } else {
        onError(kit::Error{status_, firstLine(text_)}.toResponse());
    }
}

void ClientStream::beginAgain() {
    rewind();
    status_ = 0;
    type_.clear();
    text_.clear();
    reader_ = wire::RecordReader(recordBytes_);
    refusal_.reset();
    loss_.reset();
    repetition_.onRepeat();
    connection = nullptr;
    number = 0;
}

void ClientStream::lose(const std::string& reason) {
    if (isEnded()) {
        return;
    }
    if (loss_) {
        fail(*std::exchange(loss_, std::nullopt));
    } else {
        fail(kit::Error{statuscodes::SERVICE_UNAVAILABLE, kit::LOST_MESSAGE + reason}.toResponse());
    }
}

}  // namespace kova::http::detail
