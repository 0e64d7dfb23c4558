#include "server/EndpointState.h"

#include <algorithm>
#include <future>
#include <new>
#include <stdexcept>
#include <utility>

#include "wire/OutOfMemory.h"

namespace kova::http::detail {

namespace {

using Clock = std::chrono::steady_clock;
// The time for which the last answers are sent to clients that do not read.
constexpr std::chrono::milliseconds FLUSH_LIMIT(1000);
// The time for which threads that are sending an event of an ended request are waited for.
constexpr std::chrono::milliseconds SETTLE_LIMIT(200);
constexpr char const* LOST = "lost: the endpoint stops";

}  // namespace

std::shared_ptr<EndpointState> EndpointState::start(
    const std::map<std::string, IKovaApi*>& services, const std::string& address,
    const EndpointOptions& options) {
    std::shared_ptr<EndpointState> state(
        new EndpointState(listen(services, address, options), options));
    try {
        std::promise<void> begun;
        state->loop_->post([&] {
            try {
                state->begin();
                begun.set_value();
            } catch (...) {
                begun.set_exception(std::current_exception());
            }
        });
        begun.get_future().get();
    } catch (...) {
        state->end();
        throw;
    }
    return state;
}

EndpointState::EndpointState(Listening listening, const EndpointOptions& options)
    : options_(options),
      services_(listening.services),
      listener_(std::move(listening.socket)),
      address_(listener_->address().toString()),
      loop_(wire::EventLoop::start("kova-endpoint")),
      context_(options_, *loop_, services_) {
    context_.ready = std::make_shared<wire::ReadyQueues>(loop_, [this] { context_.flush(); });
    context_.onClosed = [this](ServerConnection& connection) { onClosed(connection); };
    context_.onRequestEnded = [this] { updateCounts(); };
}

EndpointState::~EndpointState() = default;

void EndpointState::begin() {
    acceptor_.emplace(
        *loop_, listener_->descriptor(), options_.connections,
        [this] { return connections_.load(); },
        [this](wire::FileDescriptor socket) { onAccepted(std::move(socket)); });
}

void EndpointState::onAccepted(wire::FileDescriptor socket) {
    kit::Peer peer = peerOfSocket(socket.get());
    auto made = std::make_unique<Undecided>(*loop_, std::move(socket), std::move(peer));
    Undecided& undecided = *made;
    undecided_[&undecided] = std::move(made);
    updateCounts();
    try {
        undecided.start(options_.firstBytes, [this, &undecided](Undecided::Protocol protocol) {
            onDecided(undecided, protocol);
        });
    } catch (const std::bad_alloc&) {
        undecided_.erase(&undecided);
        updateCounts();
        throw;
    }
}

void EndpointState::onDecided(Undecided& undecided, Undecided::Protocol protocol) noexcept {
    const auto found = undecided_.find(&undecided);
    const std::unique_ptr<Undecided> owned = std::move(found->second);
    undecided_.erase(found);
    try {
        serve(*owned, protocol);
    } catch (const std::exception&) {
        wire::reportOutOfMemory("a connection is closed: no memory to serve it");
    }
    updateCounts();
    if (acceptor_) {
        acceptor_->resume();
    }
}

void EndpointState::serve(Undecided& undecided, Undecided::Protocol protocol) {
    if (protocol == Undecided::Protocol::http2) {
        startHttp2(undecided.takeSocket(), undecided.peer());
    } else if (protocol == Undecided::Protocol::foreign) {
        adoptForeign(undecided.takeSocket(), undecided.peer());
    }
}

void EndpointState::startHttp2(wire::FileDescriptor socket, const kit::Peer& peer) {
    auto made = std::make_unique<ServerConnection>(context_, std::move(socket), peer);
    ServerConnection& connection = *made;
    http2_[&connection] = std::move(made);
    try {
        connection.start();
    } catch (const std::bad_alloc&) {
        http2_.erase(&connection);
        throw;
    }
}

// Throws if HTTP/1.1 cannot be started, for lack of memory or descriptors. The next connection
// tries again.
void EndpointState::adoptForeign(wire::FileDescriptor socket, const kit::Peer& peer) {
    if (!foreign_) {
        foreign_.emplace(loop_, termsOfForeign());
    }
    foreign_->adopt(std::move(socket), peer);
}

ForeignTerms EndpointState::termsOfForeign() {
    ForeignTerms terms;
    for (const auto& [path, service] : services_.all()) {
        terms.services[path] = service.get();
    }
    terms.options = options_;
    terms.port = listener_->address().port;
    terms.beginRequest = [this](const kit::Peer& peer) {
        const bool isAllowed = context_.peers.add(peer);
        context_.requests += isAllowed ? 1 : 0;
        return isAllowed;
    };
    terms.endRequest = [this](const kit::Peer& peer) {
        context_.peers.remove(peer);
        --context_.requests;
        updateCounts();
    };
    terms.onConnectionClosed = [this] {
        updateCounts();
        if (acceptor_) {
            acceptor_->resume();
        }
    };
    return terms;
}

// A connection that is kept alive without a request does not delay a stop.
std::size_t EndpointState::foreignConnections() const noexcept {
    if (!foreign_) {
        return 0;
    }
    return context_.isStopping ? foreign_->requests() : foreign_->connections();
}

void EndpointState::onClosed(ServerConnection& connection) {
    http2_.erase(&connection);
    updateCounts();
    if (acceptor_) {
        acceptor_->resume();
    }
}

void EndpointState::updateCounts() {
    connections_ = undecided_.size() + http2_.size() + foreignConnections();
    if (context_.isStopping) {
        const std::lock_guard<std::mutex> guard(mutex_);
        requests_ = context_.requests;
        changed_.notify_all();
    }
}

// Connections without a request end at once; the others end with their last answer.
void EndpointState::beginStop() {
    if (context_.isStopping) {
        return;
    }
    context_.isStopping = true;
    acceptor_.reset();
    listener_.reset();
    undecided_.clear();
    if (foreign_) {
        foreign_->refuse();
    }
    for (auto next = http2_.begin(); next != http2_.end();) {
        ServerConnection* const connection = (next++)->first;
        connection->refuseRequests();  // may erase it
    }
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        hasBegunToStop_ = true;
    }
    updateCounts();
}

void EndpointState::closeAll() {
    beginStop();
    while (!http2_.empty()) {
        http2_.begin()->first->close();
    }
    if (foreign_) {
        foreign_->close();
    }
    context_.ready->close();
    const std::lock_guard<std::mutex> guard(mutex_);
    isClosed_ = true;
    changed_.notify_all();
}

template <typename Condition>
bool EndpointState::waitUntil(TimePoint deadline, Condition condition) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_until(lock, deadline, condition);
}

std::vector<kit::CallInfo> EndpointState::endRequests(bool isLimited) {
    // To `Calls`, 0 means no limit.
    const auto limit = isLimited ? SETTLE_LIMIT : std::chrono::milliseconds(0);
    std::vector<kit::CallInfo> stuck;
    for (const auto& [path, service] : services_.all()) {
        const std::vector<kit::CallInfo> found = service->calls().stop(LOST, limit);
        stuck.insert(stuck.end(), found.begin(), found.end());
    }
    return stuck;
}

void EndpointState::postCloseAll() {
    loop_->post([self = shared_from_this()] { self->closeAll(); });
}

// Inside a function of the loop, which may be a callback of a connection, the connections are
// closed when that function has returned.
std::vector<kit::CallInfo> EndpointState::stop(Limit limit) {
    if (loop_->isLoopThread()) {
        std::vector<kit::CallInfo> stuck = endRequests(limit.has_value());
        postCloseAll();
        return stuck;
    }
    const TimePoint drained = Clock::now() + limit.value_or(std::chrono::milliseconds(0));
    loop_->post([self = shared_from_this()] { self->beginStop(); });
    waitUntil(drained, [this] { return hasBegunToStop_ && requests_ == 0; });
    // Clients must learn that the endpoint stops before their requests end, so that they know that
    // they may repeat the requests.
    waitUntil(Clock::now() + SETTLE_LIMIT, [this] { return hasBegunToStop_; });
    std::vector<kit::CallInfo> stuck = endRequests(limit.has_value());
    if (!stuck.empty()) {
        return stuck;
    }
    waitUntil(Clock::now() + FLUSH_LIMIT,
              [this] { return hasBegunToStop_ && connections_.load() == 0; });
    postCloseAll();
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return isClosed_; });
    return {};
}

}  // namespace kova::http::detail
