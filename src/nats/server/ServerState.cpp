#include "nats/server/ServerState.h"

#include <algorithm>
#include <exception>
#include <new>
#include <stdexcept>
#include <utility>

#include "kova/core/StatusCodes.h"
#include "kova/nats/Connect.h"
#include "nats/Checks.h"
#include "nats/Frames.h"
#include "nats/MessageParts.h"
#include "nats/Names.h"
#include "nats/Statuses.h"
#include "nats/Subjects.h"
#include "nats/Urls.h"
#include "nats/server/Requests.h"
#include "wire/OutOfMemory.h"
#include "wire/Records.h"
#include "zel/unicode/String.h"

namespace kova::nats::detail {

namespace {

// The time for which the last answers are sent to clients that grant no credit.
constexpr std::chrono::milliseconds FLUSH_LIMIT(1000);
// The time for which threads that are sending an event of an ended request are waited for, and
// requests that the broker has sent already.
constexpr std::chrono::milliseconds SETTLE_LIMIT(200);

template <typename T>
T orInvalid(kit::Result<T> result) {
    if (!result) {
        throw std::invalid_argument(result.error().message);
    }
    return std::move(*result);
}

kit::Error malformed(char const* reason) {
    return {statuscodes::BAD_REQUEST, reason};
}

// Other programs print the name, and `ALL_INSTANCES` names no single server.
void checkInstance(const std::string& instance) {
    if (instance == ALL_INSTANCES || !zel::unicode::isUtf8(instance)) {
        throw std::invalid_argument("the instance name '" + instance + "': it is '" +
                                    ALL_INSTANCES + "' or no UTF-8");
    }
}

/// Returns the only message of an answer that is an error.
std::string messageOf(const kit::Error& error) {
    std::string message;
    appendFrame(message, FrameKind::answer, 1);
    std::string record;
    if (wire::appendEvent(record, wire::RecordKind::error, error.toResponse(), true)) {
        message += record;
    }
    return message;
}

}  // namespace

std::shared_ptr<ServerState> ServerState::start(IKovaApi& service, const std::string& url,
                                                const ServerOptions& options) {
    const Urls urls = orInvalid(Urls::parse(url));
    if (const kit::Result<void> checked = detail::check(options.broker, urls); !checked) {
        throw std::invalid_argument(checked.error().message);
    }
    checkInstance(options.instance);
    const std::string id = uniqueName();
    const std::string& prefix = options.broker.prefix;
    const std::string any = orInvalid(requestSubject(prefix, options.servicePath, {}));
    std::string one;
    std::vector<Channel> channels = {{ANY, any, Discovery::GROUP},
                                     {CONTROL, controlSubject(prefix, id) + ".*"}};
    if (!options.instance.empty()) {
        one = orInvalid(requestSubject(prefix, options.servicePath, options.instance));
        channels.push_back({ONE, one, Discovery::GROUP});
        channels.push_back({ALL, orInvalid(searchSubject(prefix, options.servicePath))});
    }
    std::optional<Discovery> discovery = orInvalid(Discovery::make(options, id, {any, one}));
    if (options.isDiscoverable) {
        for (const std::string& subject : discovery->subjects()) {
            channels.push_back({DISCOVERY, subject});
        }
    } else {
        discovery.reset();
    }
    std::shared_ptr<ServerState> state(
        new ServerState(service, urls, options, id, std::move(discovery), std::move(channels)));
    state->loop_->post([state] { state->broker_.start(); });
    return state;
}

ServerState::ServerState(IKovaApi& service, const Urls& urls, const ServerOptions& options,
                         const std::string& id, std::optional<Discovery> discovery,
                         std::vector<Channel> channels)
    : options_(options),
      control_(controlSubject(options.broker.prefix, id)),
      peer_{-1, -1, -1, "nats:" + urls.shown},
      service_(service),
      loop_(wire::EventLoop::start("kova-nats")),
      ready_(std::make_shared<wire::ReadyQueues>(loop_, wire::EventLoop::Task())),
      heartbeats_(Heartbeats::shared()),
      broker_(loop_, urls, options.broker, std::move(channels), *this),
      discovery_(std::move(discovery)),
      latest_{statuscodes::SERVICE_UNAVAILABLE, "no connection to " + urls.shown + " yet"} {}

// --- The thread of the loop ----------------------------------------------------------------------

void ServerState::onReady() {
    const std::lock_guard<std::mutex> guard(mutex_);
    isServing_ = true;
    changed_.notify_all();
}

void ServerState::onRefused(const kit::Error& error) {
    const std::lock_guard<std::mutex> guard(mutex_);
    latest_ = {error.code,
               "the broker " + broker_.shown() + " does not permit it: " + error.message};
    changed_.notify_all();
}

// Nobody can be told; the clients notice it, too.
void ServerState::onLost(const kit::Error& error) {
    requests_.clear();
    updateCount();
    if (std::exchange(undrained_, 0) > 0) {
        onDrained(ANY);
    }
    const std::lock_guard<std::mutex> guard(mutex_);
    isServing_ = false;
    latest_ = {error.code, (error.code == statuscodes::UNAUTHORIZED
                                ? "the broker " + broker_.shown() + " refuses the login: "
                                : "no connection to " + broker_.shown() + ": ") +
                               error.message};
    changed_.notify_all();
}

// Without memory the message is dropped, with the request that it has begun. The client then loses
// the request, because the server is silent.
void ServerState::onMessage(int channel, natsMsg& message) {
    const std::uint64_t before = lastNumber_;
    try {
        handle(channel, message);
    } catch (const std::exception&) {  // also that of `Result::orThrow`
        wire::reportOutOfMemory("a message is dropped");
        if (lastNumber_ != before) {
            forget(lastNumber_);
        }
    }
}

void ServerState::handle(int channel, natsMsg& message) {
    if (channel == CONTROL) {
        control(message);
    } else if (channel == ALL) {
        introduce(message);
    } else if (channel == DISCOVERY) {
        discover(message);
    } else {
        begin(channel == ANY ? Discovery::ANY : Discovery::INSTANCE, message);
    }
}

// A message without a reply cannot be answered. A server that stops would refuse the request that
// follows.
void ServerState::introduce(const natsMsg& message) {
    const std::string reply = replyOf(message);
    const kit::Result<std::optional<Frame>> frame = readFrame(dataOf(message));
    if (!reply.empty() && !isStopping_ && frame && *frame && (*frame)->kind == FrameKind::search) {
        std::string answer;
        appendFrame(answer, FrameKind::here, 0);
        broker_.publish(reply, std::string(), answer + options_.instance);
    }
}

// A message without a reply cannot be answered.
void ServerState::discover(natsMsg& message) {
    const std::string reply = replyOf(message);
    const auto answer = discovery_->answer(subjectOf(message));
    if (answer && !reply.empty()) {
        broker_.publish(reply, std::string(), *answer);
    }
}

// A message without a reply cannot be answered.
void ServerState::begin(Discovery::Endpoint endpoint, natsMsg& message) {
    const std::string reply = replyOf(message);
    if (reply.empty()) {
        return;
    }
    if (discovery_) {
        discovery_->countRequest(endpoint);
    }
    const kit::Result<std::optional<Frame>> frame = readFrame(dataOf(message));
    if (frame && *frame && (*frame)->kind == FrameKind::request) {
        serve(endpoint, reply, **frame);
    } else {
        refuse(endpoint, reply, frame ? malformed("the message is not a request") : frame.error());
    }
}

// Header fields tell the error to a sender that does not know kova.
void ServerState::refuse(Discovery::Endpoint endpoint, const std::string& reply,
                         const kit::Error& error) {
    if (discovery_) {
        discovery_->countError(endpoint, error);
    }
    if (broker_.link()) {
        broker_.link()->publishError(reply, error, messageOf(error));
    }
}

void ServerState::serve(Discovery::Endpoint endpoint, const std::string& reply,
                        const Frame& frame) {
    if (requests_.size() >= options_.requests) {
        refuse(endpoint, reply, {TOO_MANY_REQUESTS, "the server has too many pending requests"});
        return;
    }
    const kit::Result<Request> request = readRequest(frame.rest);
    if (!request) {
        refuse(endpoint, reply, request.error());
        return;
    }
    const std::uint64_t number = ++lastNumber_;
    const auto pulse =
        std::make_shared<Pulse>(broker_.link(), reply, control_ + "." + std::to_string(number),
                                std::chrono::milliseconds(frame.heartbeat));
    ServerRequest::Owner& owner = *this;
    auto made = std::make_unique<ServerRequest>(owner, number, endpoint, pulse, frame.number);
    ServerRequest& added = *made;
    requests_.emplace(number, std::move(made));
    updateCount();
    wire::AnswerQueue::Limits limits;
    limits.bytes = options_.queuedBytes;
    heartbeats_->add(pulse);  // before the call of the service, which may block
    {
        const kit::PeerScope scope(peer_);
        added.send(service_, *request, std::make_shared<wire::AnswerQueue>(ready_, limits));
    }
    if (requests_.count(number) != 0) {
        armCheck(pulse->heartbeat / Heartbeats::CHECKS);
    }
}

// The broker itself answers a message to a client that is gone.
void ServerState::control(natsMsg& message) {
    const auto number = numberAfter(control_, subjectOf(message));
    const auto found = number ? requests_.find(*number) : requests_.end();
    if (found == requests_.end()) {
        return;
    }
    if (natsMsg_IsNoResponders(&message)) {
        forget(*number);
        return;
    }
    const kit::Result<std::optional<Frame>> frame = readFrame(dataOf(message));
    if (!frame || !*frame) {
        return;
    }
    found->second->heardAt = Clock::now();
    if ((*frame)->kind == FrameKind::cancel) {
        forget(*number);
    } else if ((*frame)->kind == FrameKind::credit) {
        found->second->grant((*frame)->number);
    }
}

void ServerState::onOver(ServerRequest& request) {
    forget(request.number);
}

void ServerState::forget(std::uint64_t number) {
    const auto dropped = requests_.extract(number);  // destroyed when the map is consistent
    if (discovery_ && dropped) {
        dropped.mapped()->count(*discovery_);
    }
    updateCount();
}

void ServerState::armCheck(std::chrono::milliseconds period) {
    if (check_ && period_ <= period) {
        return;
    }
    if (check_) {
        loop_->cancel(*check_);
    }
    period_ = period;
    check_ = loop_->after(period, [this] {
        check_.reset();
        try {
            check();
        } catch (const std::bad_alloc&) {  // no further check is armed
            broker_.giveUp();
        }
    });
}

// What has arrived meanwhile is handled first, because this thread may have been blocked.
void ServerState::check() {
    broker_.handleEvents();
    std::chrono::milliseconds shortest{LONGEST_HEARTBEAT};
    for (auto next = requests_.begin(); next != requests_.end();) {
        ServerRequest& request = *(next++)->second;  // may end
        const auto limit = request.heartbeat() * (2 * Heartbeats::CHECKS - 1) / Heartbeats::CHECKS;
        shortest = std::min(shortest, request.heartbeat());
        if (Clock::now() - request.heardAt >= limit) {
            request.fail({statuscodes::SERVICE_UNAVAILABLE, CLIENT_SILENT});
        }
    }
    if (!requests_.empty()) {
        armCheck(shortest / Heartbeats::CHECKS);
    }
}

void ServerState::updateCount() {
    if (isStopping_) {
        const std::lock_guard<std::mutex> guard(mutex_);
        count_ = requests_.size();
        changed_.notify_all();
    }
}

// Requests that the broker has sent already are still served.
void ServerState::beginStop() {
    if (std::exchange(isStopping_, true)) {
        return;
    }
    updateCount();
    undrained_ = broker_.isReady() ? (options_.instance.empty() ? 1 : 2) : 0;
    if (undrained_ == 0) {
        onDrained(ANY);
        return;
    }
    for (const int channel : {ANY, ONE}) {
        broker_.link()->drain(channel, std::chrono::milliseconds(0));
    }
}

void ServerState::onDrained(int channel) {
    if (channel == CONTROL) {
        return;
    }
    undrained_ = std::max(0, undrained_ - 1);
    if (isStopping_ && undrained_ == 0) {
        const std::lock_guard<std::mutex> guard(mutex_);
        hasDrained_ = true;
        count_ = requests_.size();
        changed_.notify_all();
    }
}

void ServerState::closeAll() {
    beginStop();
    ready_->close();
    requests_.clear();
    broker_.close();
    heartbeats_.reset();
    if (check_) {
        loop_->cancel(*check_);
        check_.reset();
    }
    const std::lock_guard<std::mutex> guard(mutex_);
    isClosed_ = true;
    changed_.notify_all();
}

// --- Other threads -------------------------------------------------------------------------------

template <typename Condition>
bool ServerState::waitUntil(TimePoint deadline, Condition condition) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_until(lock, deadline, condition);
}

kit::Result<void> ServerState::waitUntilServing(std::chrono::milliseconds limit) {
    const auto isFinal = [this] {
        return latest_.code == statuscodes::UNAUTHORIZED || latest_.code == statuscodes::FORBIDDEN;
    };
    waitUntil(Clock::now() + limit, [&] { return isServing_ || isFinal(); });
    const std::lock_guard<std::mutex> guard(mutex_);
    return isServing_ ? kit::Result<void>() : latest_;
}

void ServerState::postCloseAll() {
    loop_->post([self = shared_from_this()] { self->closeAll(); });
}

std::vector<kit::CallInfo> ServerState::stop(Limit limit) {
    // To `Calls`, 0 means no limit.
    const auto settle = limit ? SETTLE_LIMIT : std::chrono::milliseconds(0);
    if (loop_->isLoopThread()) {
        std::vector<kit::CallInfo> stuck = service_.calls().stop(SERVER_STOPS, settle);
        postCloseAll();
        return stuck;
    }
    const TimePoint drained = Clock::now() + limit.value_or(std::chrono::milliseconds(0));
    loop_->post([self = shared_from_this()] { self->beginStop(); });
    waitUntil(drained, [this] { return hasDrained_ && count_ == 0; });
    // Without a limit, too, requests that the broker has sent already get an answer.
    waitUntil(Clock::now() + SETTLE_LIMIT, [this] { return hasDrained_; });
    std::vector<kit::CallInfo> stuck = service_.calls().stop(SERVER_STOPS, settle);
    if (!stuck.empty()) {
        return stuck;
    }
    waitUntil(Clock::now() + FLUSH_LIMIT, [this] { return hasDrained_ && count_ == 0; });
    postCloseAll();
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return isClosed_; });
    return {};
}

}  // namespace kova::nats::detail
