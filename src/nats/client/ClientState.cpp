#include "nats/client/ClientState.h"

#include <utility>

#include "kova/core/StatusCodes.h"
#include "nats/Frames.h"
#include "nats/MessageParts.h"
#include "nats/Names.h"
#include "nats/Statuses.h"
#include "nats/Subjects.h"
#include "wire/Records.h"

namespace kova::nats::detail {

namespace {

constexpr int INBOX = 0;  // the only channel of a client
// The time that `stop` gives the thread. It is only exceeded if the thread is inside a response
// handler that waits for the caller, because `kit::Calls` waits for all others.
constexpr std::chrono::seconds STOP_LIMIT{3};
// The longest wait for answers that the broker has sent already, when the client ends.
constexpr std::chrono::milliseconds DRAIN_LIMIT{500};

}  // namespace

std::shared_ptr<ClientState> ClientState::start(const Urls& urls, const ClientSettings& settings) {
    std::shared_ptr<ClientState> state(new ClientState(urls, settings));
    state->loop_->post([state] { state->broker_.start(); });
    return state;
}

ClientState::ClientState(const Urls& urls, const ClientSettings& settings)
    : settings_(settings),
      inbox_(settings.broker.inboxPrefix + "." + uniqueName()),
      loop_(wire::EventLoop::start("kova-nats")),
      heartbeats_(Heartbeats::shared()),
      broker_(loop_, urls, settings.broker, {Channel{INBOX, inbox_ + ".*"}}, *this) {}

// --- Any thread ----------------------------------------------------------------------------------

void* ClientState::actionRequest(const Request& request,
                                 std::unique_ptr<IResponseHandler<Response>>&& handler) {
    return send(settings_.target, request, std::move(handler));
}

void* ClientState::send(std::shared_ptr<const Target> target, const Request& request,
                        ClientStream::ResponseHandler handler) {
    std::string message;
    appendFrame(message, FrameKind::request, settings_.window,
                static_cast<std::uint32_t>(settings_.broker.heartbeat.count()));
    if (const kit::Result<void> result = wire::appendRequest(message, request); !result) {
        handler->onError(result.error().toResponse());
        return UNDEFINED_REQUEST_HANDLE;
    }
    const wire::Repetition repetition(request, settings_.retriesRetrievals, settings_.resubscribes);
    return toHandle(
        add(0, std::make_unique<ClientStream>(std::move(handler), std::move(target),
                                              std::move(message), settings_.window, repetition)));
}

void* ClientState::search(std::shared_ptr<const Target> target,
                          ClientStream::ResponseHandler handler) {
    std::string message;
    appendFrame(message, FrameKind::search, 0);
    return toHandle(add(0, std::make_unique<ClientStream>(std::move(handler), std::move(target),
                                                          std::move(message), 0)));
}

void ClientState::cancelRequest(void* handle) {
    add(toNumber(handle), nullptr);
}

// The handle of a request is its first number. Handles ascend in the sequence of the requests. The
// first order of a burst wakes the thread, under the mutex.
std::uint64_t ClientState::add(std::uint64_t handle, Stream stream) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (stream) {
        stream->handle = handle = ++lastNumber_;
    }
    const bool isFirst = orders_.empty();
    orders_.push_back({handle, std::move(stream)});
    if (isFirst) {
        loop_->post([this] { processOrders(); });
    }
    return handle;
}

std::uint64_t ClientState::nextNumber() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return ++lastNumber_;
}

// The loop keeps the object alive until `close` has returned, because tasks run in their order.
void ClientState::stop() {
    std::future<void> closed = closed_.get_future();
    loop_->post([self = shared_from_this()] { self->close(); });
    const bool isInside = loop_->isLoopThread();
    if (isInside || closed.wait_for(STOP_LIMIT) == std::future_status::ready) {
        loop_->stop();
    } else {
        loop_->post([self = shared_from_this()] { self->loop_->stop(); });
    }
}

// --- The thread of the loop ----------------------------------------------------------------------

// A server that has received a request, but is not known yet, is cancelled when its first message
// arrives: now, or from the broker, which tells the server that nobody receives the answer.
void ClientState::close() {
    processOrders();
    streams_.forEach([](ClientStream& stream) {
        if (!stream.isEnded()) {
            tell(stream, FrameKind::cancel, 0);
        }
    });
    streams_.clear();
    for (auto* const timer : {&patience_, &check_, &repetition_}) {
        if (*timer) {
            loop_->cancel(**timer);
            timer->reset();
        }
    }
    if (broker_.link()) {
        broker_.link()->drain(INBOX, DRAIN_LIMIT);
        broker_.handleEvents();
    }
    broker_.close();
    heartbeats_.reset();
    closed_.set_value();
}

void ClientState::processOrders() {
    std::vector<Order> orders;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        orders.swap(orders_);
    }
    for (Order& order : orders) {
        if (order.stream) {
            begin(std::move(order.stream));
        } else {
            cancel(order.handle);
        }
    }
}

void ClientState::begin(Stream stream) {
    stream->arrival = Clock::now();
    const std::uint64_t number = stream->handle;
    ClientStream& added = streams_.add(std::move(stream), number);
    if (denied_) {
        streams_.take(added)->fail(*denied_);
    } else if (broker_.isReady()) {
        send(added);
    } else {
        armPatience();
    }
}

void ClientState::cancel(std::uint64_t handle) {
    ClientStream* const stream = streams_.findHandle(handle);
    if (stream == nullptr) {
        return;
    }
    stream->drop();
    if (!stream->isSent || stream->pulse) {  // otherwise the server is told when it is known
        finish(*stream);
    }
}

// Ends a stream that has ended for its response handler.
void ClientState::finish(ClientStream& stream) {
    if (!stream.isComplete()) {
        tell(stream, FrameKind::cancel, 0);
    }
    streams_.take(stream);
}

void ClientState::send(ClientStream& stream) {
    const std::size_t size = stream.request.size();
    const std::size_t longest = broker_.link()->longestMessage();
    if (size > longest) {
        streams_.take(stream)->fail({CONTENT_TOO_LARGE, "the request has " + std::to_string(size) +
                                                            " bytes, the broker allows " +
                                                            std::to_string(longest)});
    } else if (broker_.publish(stream.target->subject, inbox_ + "." + std::to_string(stream.number),
                               stream.request)) {
        stream.isSent = true;
        stream.forgetRequest();
        stream.heardAt = Clock::now();
        armCheck();
    } else {
        lose(streams_.take(stream), "the connection to " + broker_.shown() + " is broken");
    }
}

void ClientState::tell(ClientStream& stream, FrameKind kind, std::uint64_t number) {
    if (stream.pulse) {
        std::string message;
        appendFrame(message, kind, number);
        stream.pulse->link->publish(stream.pulse->subject, {}, message);
        stream.pulse->onSent(0);
    }
}

void ClientState::cancelAt(const std::string& control) {
    std::string message;
    appendFrame(message, FrameKind::cancel, 0);
    broker_.publish(control, {}, message);
}

void ClientState::onReady() {
    denied_.reset();
    sendWaiting();
}

void ClientState::sendWaiting() {
    if (patience_) {
        loop_->cancel(*patience_);
        patience_.reset();
    }
    streams_.forEach([this](ClientStream& stream) {
        if (!stream.isSent && !stream.isDelayed) {
            send(stream);
        }
    });
}

void ClientState::onMessage(int /*channel*/, natsMsg& message) {
    const auto number = numberAfter(inbox_, subjectOf(message));
    if (ClientStream* const stream = number ? streams_.find(*number) : nullptr) {
        answer(*stream, message);
    } else if (const std::string control = replyOf(message); !control.empty()) {
        cancelAt(control);
    }
}

void ClientState::answer(ClientStream& stream, natsMsg& message) {
    stream.heardAt = Clock::now();
    if (natsMsg_IsNoResponders(&message)) {
        onNobody(stream);
        return;
    }
    meetServer(stream, message);
    const bool hadValue = stream.hasValue();
    const kit::Result<std::optional<Frame>> frame = readFrame(dataOf(message));
    if (!frame) {
        stream.refuse(frame.error().message);
    } else if (*frame) {
        stream.onFrame(**frame);
    }
    if (stream.hasValue() && !hadValue) {
        stream.forgetRequest();
        backoff_.reset();
    }
    if (stream.isEnded()) {
        finish(stream);
    } else if (stream.isLost()) {
        if (!stream.isComplete()) {
            tell(stream, FrameKind::cancel, 0);
        }
        repeat(streams_.take(stream));
    } else if (const std::uint32_t credit = stream.takeCredit(); credit > 0) {
        tell(stream, FrameKind::credit, credit);
    }
}

// The request was not executed. The broker's reply is about the request only before a server is
// known.
void ClientState::onNobody(ClientStream& stream) {
    if (stream.pulse) {
        return;
    }
    Stream refused = streams_.take(stream);
    if (refused->isPatient()) {
        repeat(std::move(refused));
    } else {
        refused->fail({statuscodes::SERVICE_UNAVAILABLE, "no server of " + refused->target->name});
    }
}

// The first message tells where the server is told about the request.
void ClientState::meetServer(ClientStream& stream, natsMsg& message) {
    if (stream.pulse) {
        return;
    }
    if (const std::string control = replyOf(message); !control.empty()) {
        stream.pulse = std::make_shared<Pulse>(broker_.link(), control, std::string(),
                                               settings_.broker.heartbeat);
        heartbeats_->add(stream.pulse);
    }
}

std::optional<std::chrono::milliseconds> ClientState::silenceOf(void* handle) const {
    ClientStream const* const stream = streams_.findHandle(toNumber(handle));
    if (stream == nullptr || !stream->isSent) {
        return std::nullopt;
    }
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - stream->heardAt);
}

void ClientState::onLost(const kit::Error& error) {
    reason_ = error.message;
    denied_.reset();
    if (error.code == statuscodes::UNAUTHORIZED) {
        denied_ = kit::Error{error.code,
                             "the broker " + broker_.shown() + " refuses the login: " + reason_};
    }
    loseAll(streams_.takeIf([](const auto& stream) { return stream.isSent; }),
            "the connection to " + broker_.shown() + " was lost: " + reason_);
    if (denied_) {
        failAll(streams_.takeIf([](const auto&) { return true; }), kit::Error(*denied_));
    }
    armPatience();
}

// The text of the broker is, for example: Permissions Violation for Publish to "kova.device.@q".
void ClientState::onRefused(const kit::Error& error) {
    const std::string subject = quotedIn(error.message);
    const kit::Error refusal{
        error.code, "the broker " + broker_.shown() + " does not permit it: " + error.message};
    if (subject == inbox_ + ".*" || !broker_.isReady()) {
        denied_ = refusal;
        failAll(streams_.takeIf([](const auto&) { return true; }), refusal);
        return;
    }
    failAll(streams_.takeIf([&](const auto& stream) {
        return stream.pulse ? stream.pulse->subject == subject
                            : stream.isSent && stream.target->subject == subject;
    }),
            refusal);
}

}  // namespace kova::nats::detail
