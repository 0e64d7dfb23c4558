#include "nats/Link.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "kova/core/StatusCodes.h"
#include "nats/ConnectionSetup.h"
#include "nats/Credentials.h"
#include "nats/Dialers.h"

namespace kova::nats::detail {

namespace {

// The longest wait for the last calls of libnats, which it does not make if it has no memory. They
// need no other thread of this process, so a longer wait would not help. A call that is made later
// finds the object alive.
constexpr std::chrono::seconds CLOSE_LIMIT{1};

// Removes the place in the source of libnats: "(conn.c:1905): Authorization Violation".
std::string withoutPlace(const std::string& text) {
    const std::size_t end = text.find("): ");
    return text.substr(0, 1) == "(" && end != std::string::npos ? text.substr(end + 3) : text;
}

// Returns the reason of the latest failure of this thread.
kit::Error errorOf(natsStatus status) {
    char const* const detail = nats_GetLastError(nullptr);
    std::string text = withoutPlace(detail != nullptr ? detail : "");
    if (text.empty()) {
        text = natsStatus_GetText(status);
    }
    const bool isLogin =
        status == NATS_CONNECTION_AUTH_FAILED || text.find("Authorization") != std::string::npos;
    return {isLogin ? statuscodes::UNAUTHORIZED : statuscodes::SERVICE_UNAVAILABLE, text};
}

}  // namespace

/// The functions that libnats calls. Their closure is a `Link`, or a `Subscription` of it.
struct Link::Callbacks {
    static void onMessage(natsConnection* /*connection*/, natsSubscription* /*subscription*/,
                          natsMsg* message, void* closure) {
        const auto& subscription = *static_cast<Subscription*>(closure);
        subscription.link->push(Event::Kind::message, subscription.channel, Message(message));
    }
    static void onComplete(void* closure) {
        const auto& subscription = *static_cast<Subscription*>(closure);
        subscription.link->push(Event::Kind::drained, subscription.channel);
        subscription.link->onLastCallback();
    }
    static void onError(natsConnection* connection, natsSubscription* /*subscription*/,
                        natsStatus status, void* closure) {
        if (status == NATS_NOT_PERMITTED) {
            char const* text = nullptr;
            natsConnection_GetLastError(connection, &text);
            static_cast<Link*>(closure)->push(
                Event::Kind::refused, 0, nullptr,
                kit::Error{statuscodes::FORBIDDEN, text != nullptr ? text : ""});
        }
    }
    static void onClosed(natsConnection* connection, void* closure) {
        char const* text = nullptr;
        const natsStatus status = natsConnection_GetLastError(connection, &text);
        auto& link = *static_cast<Link*>(closure);
        kit::Error error{statuscodes::SERVICE_UNAVAILABLE, "the connection was closed"};
        if (status == NATS_CONNECTION_AUTH_FAILED) {
            error.code = statuscodes::UNAUTHORIZED;
        }
        // A subject that was not permitted closes no connection.
        if (status != NATS_OK && status != NATS_NOT_PERMITTED && text != nullptr && *text != '\0') {
            error.message = text;
        }
        link.push(Event::Kind::closed, 0, nullptr, error);
        link.onLastCallback();
    }
};

std::shared_ptr<Link> Link::open(std::shared_ptr<Inbound> inbound, const Urls& urls,
                                 const BrokerOptions& options, const std::vector<Channel>& channels,
                                 std::uint64_t epoch) {
    std::shared_ptr<Link> link(new Link(std::move(inbound), epoch));
    if (std::optional<kit::Error> error = link->connect(urls, options)) {
        link->push(Event::Kind::failed, 0, nullptr, *error);
        return nullptr;
    }
    link->inbound_->push({Event::Kind::connected, epoch, 0, nullptr, {}, link});
    std::optional<kit::Error> error;
    for (const Channel& channel : channels) {
        if (!error) {
            error = link->subscribe(channel);
        }
    }
    // The broker has handled the subscriptions when it has answered the ping of the flush.
    link->flush(options.connectLimit);
    if (!error) {
        error = link->refusal();
    }
    link->push(error ? Event::Kind::refused : Event::Kind::ready, 0, nullptr,
               error.value_or(kit::Error()));
    return link;
}

void Link::prepareThread() noexcept {
    if (nats_Open(-1) == NATS_OK) {
        natsConnection_Flush(nullptr);  // an error
    }
}

// libnats calls `onClosed` also for a connection that was refused during the login, but not for one
// that could not be made.
std::optional<kit::Error> Link::connect(const Urls& urls, const BrokerOptions& options) {
    if (!options.credentialsFile.empty()) {
        if (const kit::Result<void> checked = checkCredentials(options.credentialsFile); !checked) {
            return checked.error();
        }
    }
    ConnectionSetup setup;
    setup.addServers(urls);
    setup.addLogin(options);
    setup.addTls(options, urls.isTls);
    setup.addBehaviour(options);
    setup.set(natsOptions_SetErrorHandler, Callbacks::onError, static_cast<void*>(this));
    setup.set(natsOptions_SetClosedCB, Callbacks::onClosed, static_cast<void*>(this));
    expectCallback();
    natsStatus status = setup.status();
    Dialers::waitAtExit(setup.usesTls());
    if (status == NATS_OK) {
        status = natsConnection_Connect(&connection_, setup.options());
    }
    if (status == NATS_OK) {
        return std::nullopt;
    }
    kit::Error error = errorOf(status);
    onLastCallback();
    return error;
}

// `drain` sees a subscription only when it is complete.
std::optional<kit::Error> Link::subscribe(const Channel& channel) {
    std::list<Subscription> made;
    Subscription& subscription = made.emplace_back(Subscription{this, channel.number, nullptr});
    natsStatus status =
        channel.queue.empty()
            ? natsConnection_Subscribe(&subscription.handle, connection_, channel.subject.c_str(),
                                       Callbacks::onMessage, &subscription)
            : natsConnection_QueueSubscribe(&subscription.handle, connection_,
                                            channel.subject.c_str(), channel.queue.c_str(),
                                            Callbacks::onMessage, &subscription);
    if (status != NATS_OK) {
        return errorOf(status);
    }
    // The bound of what waits is that of `Inbound`.
    natsSubscription_SetPendingLimits(subscription.handle, -1, -1);
    expectCallback();
    status =
        natsSubscription_SetOnCompleteCB(subscription.handle, Callbacks::onComplete, &subscription);
    if (status != NATS_OK) {
        onLastCallback();
    }
    const std::lock_guard<std::mutex> guard(mutex_);
    subscriptions_.splice(subscriptions_.end(), made);
    return status == NATS_OK ? std::nullopt : std::make_optional(errorOf(status));
}

std::optional<kit::Error> Link::refusal() const {
    char const* text = nullptr;
    if (natsConnection_GetLastError(connection_, &text) == NATS_NOT_PERMITTED) {
        return kit::Error{statuscodes::FORBIDDEN, text != nullptr ? text : ""};
    }
    return std::nullopt;
}

Link::~Link() {
    for (const Subscription& subscription : subscriptions_) {
        natsSubscription_Destroy(subscription.handle);
    }
    natsConnection_Destroy(connection_);
}

void Link::push(Event::Kind kind, int channel, Message message, kit::Error error) noexcept {
    inbound_->push({kind, epoch_, channel, std::move(message), std::move(error), nullptr});
}

void Link::expectCallback() {
    const std::lock_guard<std::mutex> guard(mutex_);
    ++expected_;
    self_ = shared_from_this();
}

void Link::onLastCallback() noexcept {
    std::shared_ptr<Link> dropped;  // destroyed outside the lock
    const std::lock_guard<std::mutex> guard(mutex_);
    if (--expected_ == 0) {
        dropped = std::move(self_);
        changed_.notify_all();
    }
}

bool Link::publish(const std::string& subject, const std::string& reply,
                   std::string_view data) noexcept {
    const auto size = static_cast<int>(data.size());
    const natsStatus status =
        reply.empty() ? natsConnection_Publish(connection_, subject.c_str(), data.data(), size)
                      : natsConnection_PublishRequest(connection_, subject.c_str(), reply.c_str(),
                                                      data.data(), size);
    return status == NATS_OK;
}

bool Link::publishError(const std::string& subject, const kit::Error& error,
                        std::string_view data) noexcept {
    natsMsg* created = nullptr;
    natsStatus status = natsMsg_Create(&created, subject.c_str(), nullptr, data.data(),
                                       static_cast<int>(data.size()));
    const Message message(created);
    if (status == NATS_OK) {
        status = natsMsgHeader_Set(created, "Nats-Service-Error", error.message.c_str());
    }
    if (status == NATS_OK) {
        status = natsMsgHeader_Set(created, "Nats-Service-Error-Code",
                                   std::to_string(error.code).c_str());
    }
    return status == NATS_OK && natsConnection_PublishMsg(connection_, created) == NATS_OK;
}

std::size_t Link::longestMessage() const noexcept {
    return static_cast<std::size_t>(
        std::max<std::int64_t>(0, natsConnection_GetMaxPayload(connection_)));
}

std::vector<std::string> Link::servers() const {
    struct Names {
        char** all = nullptr;
        int count = 0;
        ~Names() {
            std::for_each_n(all, count, [](char* name) { std::free(name); });
            std::free(all);
        }
    } names;
    if (natsConnection_GetServers(connection_, &names.all, &names.count) != NATS_OK) {
        return {};
    }
    return {names.all, names.all + names.count};
}

// Not inside the lock, which the callbacks of libnats need. The thread that connects may append
// subscriptions meanwhile.
void Link::drain(int channel, std::chrono::milliseconds limit) noexcept {
    const auto locked = [this](auto step) {
        const std::lock_guard<std::mutex> guard(mutex_);
        return step();
    };
    for (auto at = locked([this] { return subscriptions_.cbegin(); }); at != subscriptions_.cend();
         at = locked([at] { return std::next(at); })) {
        if (at->channel == channel && natsSubscription_Drain(at->handle) == NATS_OK &&
            limit.count() > 0) {
            natsSubscription_WaitForDrainCompletion(at->handle,
                                                    static_cast<std::int64_t>(limit.count()));
        }
    }
}

void Link::flush(std::chrono::milliseconds limit) noexcept {
    natsConnection_FlushTimeout(connection_, static_cast<std::int64_t>(limit.count()));
}

void Link::close() noexcept {
    natsConnection_Close(connection_);
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, CLOSE_LIMIT, [this] { return expected_ == 0; });
}

}  // namespace kova::nats::detail
