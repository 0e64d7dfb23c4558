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
    return toHandle(add(0, std::make_unique<ClientStream>(std::move(handler), std::move(target),
                                                          std::move(message), settings_.window)));
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

// Handles ascend in the sequence of the requests. The first order of a burst wakes the thread,
// under the mutex.
std::uint64_t ClientState::add(std::uint64_t handle, Stream stream) {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (stream) {
        stream->handle = handle = ++lastHandle_;
    }
    const bool isFirst = orders_.empty();
    orders_.push_back({handle, std::move(stream)});
    if (isFirst) {
        loop_->post([this] { processOrders(); });
    }
    return handle;
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
    for (const auto& [handle, stream] : streams_) {
        if (!stream->isEnded()) {
            tell(*stream, FrameKind::cancel, 0);
        }
    }
    streams_.clear();
    for (auto* const timer : {&patience_, &check_}) {
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
    ClientStream& added = *stream;
    added.arrival = Clock::now();
    streams_.emplace(added.handle, std::move(stream));
    if (denied_) {
        added.fail(*denied_);
        streams_.erase(added.handle);
    } else if (broker_.isReady()) {
        send(added);
    } else {
        armPatience();
    }
}

void ClientState::cancel(std::uint64_t handle) {
    const auto found = streams_.find(handle);
    if (found == streams_.end()) {
        return;
    }
    ClientStream& stream = *found->second;
    stream.drop();
    if (stream.isSent && !stream.pulse) {
        return;  // the server is told when it is known
    }
    finish(stream);
}

// Ends a stream that has ended for its response handler.
void ClientState::finish(ClientStream& stream) {
    if (!stream.isComplete()) {
        tell(stream, FrameKind::cancel, 0);
    }
    streams_.erase(stream.handle);
}

void ClientState::send(ClientStream& stream) {
    const std::size_t longest = broker_.link()->longestMessage();
    const std::string message = std::exchange(stream.request, {});
    if (message.size() > longest) {
        stream.fail({CONTENT_TOO_LARGE, "the request has " + std::to_string(message.size()) +
                                            " bytes, the broker allows " +
                                            std::to_string(longest)});
    } else if (broker_.publish(stream.target->subject, inbox_ + "." + std::to_string(stream.handle),
                               message)) {
        stream.isSent = true;
        stream.heardAt = Clock::now();
        armCheck();
        return;
    } else {
        stream.lose("the connection to " + broker_.shown() + " is broken");
    }
    streams_.erase(stream.handle);
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
    for (auto next = streams_.begin(); next != streams_.end();) {
        ClientStream& stream = *(next++)->second;  // `send` may erase it
        if (!stream.isSent) {
            send(stream);
        }
    }
}

void ClientState::onMessage(int /*channel*/, natsMsg& message) {
    const auto handle = numberAfter(inbox_, subjectOf(message));
    const auto found = handle ? streams_.find(*handle) : streams_.end();
    if (found != streams_.end()) {
        answer(*found->second, message);
    } else if (const std::string control = replyOf(message); !control.empty()) {
        cancelAt(control);
    }
}

void ClientState::answer(ClientStream& stream, natsMsg& message) {
    stream.heardAt = Clock::now();
    if (natsMsg_IsNoResponders(&message)) {
        if (!stream.pulse) {
            stream.fail({statuscodes::SERVICE_UNAVAILABLE, "no server of " + stream.target->name});
            streams_.erase(stream.handle);
        }
        return;
    }
    meetServer(stream, message);
    const kit::Result<std::optional<Frame>> frame = readFrame(dataOf(message));
    if (!frame) {
        stream.refuse(frame.error().message);
    } else if (*frame) {
        stream.onFrame(**frame);
    }
    if (stream.isEnded()) {
        finish(stream);
    } else if (const std::uint32_t credit = stream.takeCredit(); credit > 0) {
        tell(stream, FrameKind::credit, credit);
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
    const auto found = streams_.find(toNumber(handle));
    if (found == streams_.end() || !found->second->isSent) {
        return std::nullopt;
    }
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() -
                                                                 found->second->heardAt);
}

template <typename Condition>
std::vector<ClientState::Stream> ClientState::takeIf(Condition condition) {
    std::vector<Stream> taken;
    for (auto next = streams_.begin(); next != streams_.end();) {
        if (condition(*next->second)) {
            taken.push_back(std::move(next->second));
            next = streams_.erase(next);
        } else {
            ++next;
        }
    }
    return taken;
}

void ClientState::failAll(const std::vector<Stream>& ended, const kit::Error& error) {
    for (const Stream& stream : ended) {
        tell(*stream, FrameKind::cancel, 0);
        stream->fail(error);
    }
}

void ClientState::onLost(const kit::Error& error) {
    reason_ = error.message;
    denied_.reset();
    if (error.code == statuscodes::UNAUTHORIZED) {
        denied_ = kit::Error{error.code,
                             "the broker " + broker_.shown() + " refuses the login: " + reason_};
    }
    const std::vector<Stream> lost = takeIf([](const auto& stream) { return stream.isSent; });
    for (const Stream& stream : lost) {
        stream->lose("the connection to " + broker_.shown() + " was lost: " + reason_);
    }
    if (denied_) {
        failAll(takeIf([](const auto&) { return true; }), kit::Error(*denied_));
    }
}

// The text of the broker is, for example: Permissions Violation for Publish to "kova.device.@q".
void ClientState::onRefused(const kit::Error& error) {
    const std::string subject = quotedIn(error.message);
    const kit::Error refusal{
        error.code, "the broker " + broker_.shown() + " does not permit it: " + error.message};
    if (subject == inbox_ + ".*" || !broker_.isReady()) {
        denied_ = refusal;
        failAll(takeIf([](const auto&) { return true; }), refusal);
        return;
    }
    failAll(takeIf([&](const auto& stream) {
                return stream.pulse ? stream.pulse->subject == subject
                                    : stream.isSent && stream.target->subject == subject;
            }),
            refusal);
}

// Requests wait in the order of their arrival.
void ClientState::armPatience() {
    if (patience_) {
        return;
    }
    for (const auto& [handle, stream] : streams_) {
        if (!stream->isSent) {
            patience_ = loop_->after(stream->arrival + settings_.patience - Clock::now(), [this] {
                patience_.reset();
                expire();
            });
            return;
        }
    }
}

void ClientState::expire() {
    const Clock::time_point now = Clock::now();
    const std::vector<Stream> expired = takeIf([&](const auto& stream) {
        return !stream.isSent && stream.arrival + settings_.patience <= now;
    });
    armPatience();
    for (const Stream& stream : expired) {
        stream->lose("no connection to " + broker_.shown() + ": " + reason_);
    }
}

void ClientState::armCheck() {
    if (!check_) {
        check_ = loop_->after(settings_.broker.heartbeat / Heartbeats::CHECKS, [this] {
            check_.reset();
            check();
        });
    }
}

// What has arrived meanwhile is handled first, because this thread may have been blocked.
void ClientState::check() {
    broker_.handleEvents();
    const Clock::time_point latest = Clock::now() - settings_.broker.heartbeat *
                                                        (2 * Heartbeats::CHECKS - 1) /
                                                        Heartbeats::CHECKS;
    const std::vector<Stream> silent =
        takeIf([&](const auto& stream) { return stream.isSent && stream.heardAt <= latest; });
    for (const Stream& stream : silent) {
        tell(*stream, FrameKind::cancel, 0);
        stream->lose("the server of " + stream->target->name + " is silent");
    }
    if (!streams_.empty()) {
        armCheck();
    }
}

}  // namespace kova::nats::detail
