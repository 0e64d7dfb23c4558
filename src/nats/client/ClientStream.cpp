#include "nats/client/ClientStream.h"

#include <utility>

#include "kova/core/StatusCodes.h"
#include "kova/kit/End.h"
#include "kova/kit/Values.h"
#include "kova/nats/Connect.h"

namespace kova::nats::detail {

void addInstance(Response& response, const std::string& instance) {
    if (kit::Result<kit::Tree> tree = kit::toTree(instance)) {
        response.add2header(INSTANCE_HEADER, tree->release());
    }
}

ClientStream::~ClientStream() {
    if (pulse) {
        pulse->isOver = true;
    }
}

// The broker keeps the order of the messages of one server, so a message that a later one counts
// is lost.
void ClientStream::onFrame(const Frame& frame) {
    if (isEnded()) {
        return;
    }
    if (isSearch()) {
        onInstance(frame);
    } else if (frame.kind == FrameKind::answer && frame.number == received_ + 1) {
        received_ = frame.number;
        onAnswer(frame);
    } else if (frame.kind == FrameKind::answer || frame.kind == FrameKind::alive) {
        if (frame.number > received_) {
            lose("messages " + std::to_string(received_ + 1) + " to " +
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
    while (!isEnded()) {
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
        isComplete_ = true;
        const ResponseHandler handler = std::move(handler_);
        handler->onError(*response);
    } else {
        ++consumed_;
        if (handler_->onNext(*response)) {
            complete();
        }
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
