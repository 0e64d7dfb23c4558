#include "client/ClientState.h"

#include <algorithm>
#include <utility>

#include "kova/core/StatusCodes.h"
#include "wire/Records.h"
#include "wire/Repetition.h"

namespace kova::http::detail {

namespace {

// The time that `stop` gives the thread. It is only exceeded if the thread is inside a response
// handler that waits for the caller, because `kit::Calls` waits for all others.
constexpr std::chrono::seconds STOP_LIMIT{1};

std::uint64_t toNumber(void* handle) noexcept {
    return reinterpret_cast<std::uintptr_t>(handle);
}

void* toHandle(std::uint64_t number) noexcept {
    return reinterpret_cast<void*>(number);  // NOLINT(performance-no-int-to-ptr)
}

/// Gives a borrowed loop back.
class Borrowed {
public:
    explicit Borrowed(wire::EventLoop& loop) noexcept : loop_(loop) {}
    ~Borrowed() { loop_.giveBack(); }
    Borrowed(const Borrowed&) = delete;
    Borrowed& operator=(const Borrowed&) = delete;

private:
    wire::EventLoop& loop_;
};

}  // namespace

std::shared_ptr<ClientState> ClientState::start(const Address& address,
                                                const ClientSettings& settings) {
    return std::shared_ptr<ClientState>(new ClientState(address, settings));
}

ClientState::ClientState(const Address& address, const ClientSettings& settings)
    : settings_(settings),
      address_(address.toString()),
      isLocal_(address.isUnix()),
      loop_(wire::EventLoop::start("kova-client")),
      dialer_(
          *loop_, address, [this](wire::FileDescriptor socket) { onConnected(std::move(socket)); },
          settings.onlyTrusted) {
    loop_->post([this] { loop_->restWhile([this] { return streams_.empty(); }); });
}

// --- Any thread ----------------------------------------------------------------------------------

void* ClientState::actionRequest(const Request& request,
                                 std::unique_ptr<IResponseHandler<Response>>&& handler) {
    ClientStream::ResponseHandler owned = std::move(handler);
    std::string record;
    if (const kit::Result<void> result = wire::appendRequest(record, request); !result) {
        owned->onError(result.error().toResponse());
        return UNDEFINED_REQUEST_HANDLE;
    }
    auto stream = std::make_unique<ClientStream>(
        std::move(owned), std::move(record), settings_.recordBytes,
        wire::Repetition(request, settings_.retriesRetrievals, settings_.resubscribes));
    if (isDriven()) {
        return send(std::move(stream));
    }
    if (loop_->borrow()) {
        const Borrowed borrowed(*loop_);
        return send(std::move(stream));
    }
    return toHandle(add(0, std::move(stream)));
}

void ClientState::cancelRequest(void* handle) {
    add(toNumber(handle), nullptr);
}

// No thread has watched the connection during the rest, so the server may have closed it. Sending
// on a Unix socket then fails. Finding that out by sending makes a blocking call a tenth faster
// than a check before each request, but the bytes of the request must be kept.
void* ClientState::send(Stream stream) {
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        stream->handle = ++lastHandle_;
    }
    const std::uint64_t number = stream->handle;
    const bool mayFail = isLocal_ && stream->isKept();
    if (!mayFail) {
        loop_->poll();
    }
    begin(std::move(stream));
    sendWaiting();
    if (!trySend() && mayFail && current_->hasSentNothing()) {
        const auto sent = streams_.find(number);  // gone, if memory is exhausted
        if (sent != streams_.end() && sent->second->connection == current_) {
            sendAgain(*sent->second);
        }
    }
    return toHandle(number);
}

// Sends what the current connection has to send. Response handlers are not called here, because the
// caller may be inside `actionRequest`. Returns false if the connection has to be closed, which the
// thread of the loop does.
bool ClientState::trySend() {
    if (current_ == nullptr || current_->trySend()) {
        return true;
    }
    loop_->post([this] { flush(); });
    return false;
}

// Moves a request that the current connection could not send to another connection.
void ClientState::sendAgain(ClientStream& stream) {
    current_->withdraw(stream);
    stream.rewind();
    if (current_->hasReceived()) {
        dialer_.forgetDelay();
    }
    leaveConnection();
    stream.arrival = disconnectedSince_;
    waiting_.emplace(stream.handle, &stream);
    sendWaiting();
    trySend();
}

bool ClientState::beginDriving() noexcept {
    if (!loop_->borrow()) {
        return false;
    }
    isDriven_ = true;
    return true;
}

bool ClientState::drive(Clock::time_point due) {
    isDriven_ = false;
    const bool goesOn = loop_->turn(due);
    isDriven_ = true;
    return goesOn;
}

void ClientState::endDriving() noexcept {
    isDriven_ = false;
    loop_->giveBack();
}

void ClientState::interruptDriving() noexcept {
    loop_->post([] {});
}

// Handles ascend in the sequence of the requests. The first order of a burst wakes the thread,
// under the mutex. While there are orders, no thread can borrow the loop, so no later request
// overtakes them.
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

void ClientState::close() {
    loop_->restWhile({});
    dialer_.stop();
    disarmPatience();
    current_ = nullptr;
    connections_.clear();
    waiting_.clear();
    streams_.clear();
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        orders_.clear();
    }
    closed_.set_value();
}

void ClientState::processOrders() {
    takeOrders();
    sendWaiting();
    flush();
}

void ClientState::takeOrders() {
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
    if (current_ == nullptr) {
        stream->arrival = Clock::now();
    }
    waiting_.emplace(stream->handle, stream.get());
    streams_.emplace(stream->handle, std::move(stream));
}

void ClientState::cancel(std::uint64_t handle) {
    const auto found = streams_.find(handle);
    if (found == streams_.end() || found->second->isEnded()) {
        return;
    }
    ClientStream& stream = *found->second;
    stream.drop();
    if (stream.connection != nullptr) {
        stream.connection->reset(stream);
        return;
    }
    waiting_.erase(handle);
    streams_.erase(found);
    if (waiting_.empty()) {
        dialer_.stop();
        disarmPatience();
    }
}

// Sends the waiting requests that the server accepts; the others follow with `onChange`. Does not
// flush, because it is also called inside the functions of the connection.
void ClientState::sendWaiting() {
    while (!waiting_.empty()) {
        if (current_ != nullptr && !current_->isUsable()) {
            leaveConnection();
        }
        if (current_ == nullptr) {
            awaitConnection();
            return;
        }
        if (!current_->hasCapacity()) {
            return;
        }
        sendFirst();
    }
}

void ClientState::sendFirst() {
    ClientStream& stream = *waiting_.begin()->second;
    waiting_.erase(waiting_.begin());
    if (!current_->submit(stream)) {
        const Stream owned = std::move(streams_.extract(stream.handle).mapped());
        owned->lose("memory is exhausted");
    }
}

void ClientState::awaitConnection() {
    armPatience();
    dialer_.start();
}

// The connection lives until its last stream is closed.
void ClientState::leaveConnection() {
    std::exchange(current_, nullptr)->retire();
    disconnectedSince_ = Clock::now();
}

void ClientState::onConnected(wire::FileDescriptor socket) {
    disarmPatience();
    ClientConnection::Owner& owner = *this;
    connections_.push_back(
        std::make_unique<ClientConnection>(*loop_, std::move(socket), settings_, owner));
    current_ = connections_.back().get();
    current_->start();
    sendWaiting();
    trySend();
}

ClientState::Clock::time_point ClientState::deadlineOf(const ClientStream& stream) const {
    return std::max(stream.arrival, disconnectedSince_) + settings_.patience;
}

// A request that is sent again keeps its handle and its arrival, so the deadlines stay in the order
// of the requests.
void ClientState::armPatience() {
    const auto first = std::find_if(waiting_.begin(), waiting_.end(), [](const auto& waiting) {
        return !waiting.second->isPatient();
    });
    if (!patience_ && first != waiting_.end()) {
        const Clock::duration left = deadlineOf(*first->second) - Clock::now();
        patience_ = loop_->after(left, [this] {
            patience_.reset();
            expire();
        });
    }
}

void ClientState::disarmPatience() noexcept {
    if (patience_) {
        loop_->cancel(*patience_);
        patience_.reset();
    }
}

void ClientState::expire() {
    const Clock::time_point now = Clock::now();
    std::vector<Stream> expired;
    for (auto next = waiting_.begin(); next != waiting_.end();) {
        if (next->second->isPatient()) {
            ++next;
        } else if (deadlineOf(*next->second) <= now) {
            expired.push_back(std::move(streams_.extract(next->first).mapped()));
            next = waiting_.erase(next);
        } else {
            break;
        }
    }
    const std::string reason = "no connection to " + address_ + ": " + dialer_.reason();
    if (waiting_.empty()) {
        dialer_.stop();
    } else {
        armPatience();
    }
    for (const Stream& stream : expired) {
        stream->lose(reason);
    }
}

// A connection that is broken is removed meanwhile, and another one may be added.
void ClientState::flush() {
    for (std::size_t i = connections_.size(); i-- > 0;) {
        connections_[i]->flush();
    }
}

void ClientState::onStreamClosed(ClientStream& stream) {
    streams_.erase(stream.handle);
}

// The stream is not sent before `onChange`.
void ClientState::onStreamLost(ClientStream& stream) {
    hasLostUnanswered_ = hasLostUnanswered_ || !stream.hasValue();
    stream.beginAgain();
    waiting_.emplace(stream.handle, &stream);
}

// A waiting request that was cancelled before its turn is not sent: the loop handles sockets before
// orders, so the order may still be unread. The function that `add` has posted flushes.
void ClientState::onChange() {
    if (!waiting_.empty()) {
        takeOrders();
    }
    sendWaiting();
}

// Moves the streams that are to be sent again to `waiting_`. Returns whether all of them had a
// value. If not, the next attempt to connect is delayed, because their requests may end the server
// each time.
bool ClientState::repeat(std::vector<Stream>& lost) {
    bool hadValues = true;
    std::vector<Stream> ended;
    for (Stream& stream : lost) {
        if (!stream->isRepeatable()) {
            ended.push_back(std::move(stream));
            continue;
        }
        hadValues = hadValues && stream->hasValue();
        stream->beginAgain();
        waiting_.emplace(stream->handle, stream.get());
        const std::uint64_t handle = stream->handle;
        streams_.emplace(handle, std::move(stream));
    }
    lost = std::move(ended);
    return hadValues;
}

void ClientState::onConnectionClosed(ClientConnection& connection, const std::string& reason) {
    const auto found = std::find_if(connections_.begin(), connections_.end(),
                                    [&](const auto& other) { return other.get() == &connection; });
    const std::unique_ptr<ClientConnection> owned = std::move(*found);
    connections_.erase(found);
    if (current_ == &connection) {
        current_ = nullptr;
        disconnectedSince_ = Clock::now();
    }
    std::vector<Stream> lost = takeStreamsOf(connection);
    const bool hadValues = repeat(lost) && !std::exchange(hasLostUnanswered_, false);
    if (connection.hasReceived() && hadValues) {
        dialer_.forgetDelay();
    }
    sendWaiting();
    for (const Stream& stream : lost) {
        stream->lose(reason);
    }
}

// Returns the streams in the order of their requests.
std::vector<ClientState::Stream> ClientState::takeStreamsOf(const ClientConnection& connection) {
    std::vector<Stream> taken;
    for (auto i = streams_.begin(); i != streams_.end();) {
        if (i->second->connection == &connection) {
            taken.push_back(std::move(i->second));
            i = streams_.erase(i);
        } else {
            ++i;
        }
    }
    std::sort(taken.begin(), taken.end(),
              [](const Stream& left, const Stream& right) { return left->handle < right->handle; });
    return taken;
}

}  // namespace kova::http::detail
