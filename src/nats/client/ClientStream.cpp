#include "nats/client/ClientStream.h"

#include <utility>

#include "kova/core/StatusCodes.h"
#include "kova/kit/End.h"
#include "kova/kit/Values.h"
#include "kova/nats/Connect.h"
#include "nats/Statuses.h"

namespace kova::nats::detail {

namespace {

// A server that still knows its reason ends its requests with one of these errors.
bool isServerLost(const Response& error) {
    const kit::Error reason = kit::Error::of(error);
    return reason.code == statuscodes::SERVICE_UNAVAILABLE &&
           (reason.message == SERVER_STOPS || reason.message == CLIENT_SILENT);
}

}  // namespace

void addInstance(Response& response, const std::string& instance) {
    if (kit::Result<kit::Tree> tree = kit::toTree(instance)) {
        response.add2header(INSTANCE_HEADER, tree->release());
    }
}

ClientStream::~ClientStream() {
    endPulse();
}

void ClientStream::endPulse() noexcept {
    if (pulse) {
        pulse->isOver = true;
    }
}

void ClientStream::forgetRequest() noexcept {
    if (!repetition_.isPossible()) {
        request = std::string();
    }
}

void ClientStream::beginAgain() {
    endPulse();
    pulse.reset();
    isSent = false;
    reader_ = wire::RecordReader(LONGEST_RECORD);
    received_ = 0;
    consumed_ = 0;
    isComplete_ = false;
    isLost_ = false;
    repetition_.onRepeat();
}

// The broker keeps the order of the messages of one server, so a message that a later one counts
// is lost.
void ClientStream::onFrame(const Frame& frame) {
    if (isEnded() || isLost_) {
        return;
    }
    if (isSearch()) {
        onInstance(frame);
    } else if (frame.kind == FrameKind::answer && frame.number == received_ + 1) {
        received_ = frame.number;
        onAnswer(frame);
    } else if (frame.kind == FrameKind::answer || frame.kind == FrameKind::alive) {
        if (frame.number > received_) {
            onLoss(
                "messages " + std::to_string(received_ + 1) + " to " +
                std::to_string(frame.kind == FrameKind::answer ? frame.number - 1 : frame.number) +
                " of the answer have not arrived");
        } else if (frame.kind == FrameKind::answer) {
            refuse("message " + std::to_string(frame.number) + " has arrived twice");
        }
    } else {
        refuse("it has a message of a client or of a search");
    }
}

void ClientStream::onInstance(const Frame& frame) {
    if (frame.kind != FrameKind::here) {
        return;
    }
    Response found(statuscodes::OK);
    addInstance(found, std::string(frame.rest));
    if (handler_->onNext(found)) {
        complete();
    }
}

void ClientStream::onAnswer(const Frame& frame) {
    reader_.add(frame.rest);
    while (!isEnded() && !isLost_) {
        const kit::Result<std::optional<wire::Record>> record = reader_.next();
        if (!record) {
            refuse(record.error().message);
        } else if (*record) {
            deliver(**record);
        } else if (reader_.isInside()) {
            refuse("a message ends inside a record");
        } else {
            return;
        }
    }
}

void ClientStream::deliver(const wire::Record& record) {
    if (record.kind == wire::RecordKind::completed) {
        isComplete_ = true;
        complete();
        return;
    }
    if (record.kind == wire::RecordKind::request) {
        refuse("it has the record of a request");
        return;
    }
    const kit::Result<Response> response = record.toResponse();
    if (!response) {
        refuse(response.error().message);
    } else if (record.kind == wire::RecordKind::error) {
        onError(*response);
    } else {
        ++consumed_;
        repetition_.onValue(*response);
        if (handler_->onNext(*response)) {
            complete();
        }
    }
}

void ClientStream::onError(const Response& error) {
    isComplete_ = true;
    if (isRepeatable() && isServerLost(error)) {
        isLost_ = true;
        return;
    }
    const ResponseHandler handler = std::move(handler_);
    handler->onError(error);
}

void ClientStream::onLoss(const std::string& reason) {
    if (isRepeatable()) {
        isLost_ = true;
    } else {
        lose(reason);
    }
}

void ClientStream::complete() {
    const ResponseHandler handler = std::move(handler_);
    handler->onCompleted();
}

// Half of the window is granted at once, so that the server need not stop meanwhile.
std::uint32_t ClientStream::takeCredit() noexcept {
    return isEnded() || consumed_ < (window_ + 1) / 2 ? 0 : std::exchange(consumed_, 0);
}

void ClientStream::fail(const kit::Error& error) {
    if (!isEnded()) {
        const ResponseHandler handler = std::move(handler_);
        handler->onError(error.toResponse());
    }
}

void ClientStream::lose(const std::string& reason) {
    fail({statuscodes::SERVICE_UNAVAILABLE, kit::LOST_MESSAGE + reason});
}

// Any number of servers answer a search, so a malformed answer must not hide the others.
void ClientStream::refuse(const std::string& reason) {
    if (!isSearch()) {
        fail({statuscodes::BAD_GATEWAY, "malformed answer: " + reason});
    }
}

}  // namespace kova::nats::detail
