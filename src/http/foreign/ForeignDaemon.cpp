#include "foreign/ForeignDaemon.h"

#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdarg>
#include <exception>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

#include "foreign/ForeignExchange.h"
#include "foreign/JsonText.h"
#include "foreign/Replies.h"
#include "foreign/StatusTexts.h"
#include "wire/OutOfMemory.h"

namespace kova::http::detail {

namespace {

// The memory of a connection beyond the header of a request: the header of the answer, and what
// libmicrohttpd keeps there.
constexpr std::size_t POOL_RESERVE = std::size_t{16} * 1024;

// Ignores the log of libmicrohttpd. It reports only that Unix sockets have no options of TCP, and
// the errors of clients.
void ignoreLog(void*, char const*, va_list) noexcept {}

// An exception cannot pass through libmicrohttpd. Without an exchange the connection is closed.
void* onTarget(void* self, char const* target, MHD_Connection* connection) noexcept {
    try {
        return new ForeignExchange(*static_cast<ForeignDaemon*>(self), connection, target);
    } catch (const std::exception&) {
        wire::reportOutOfMemory("a connection is closed: no memory for a request");
        return nullptr;
    }
}

MHD_Result onRequest(void*, MHD_Connection*, char const*, char const* method, char const* version,
                     char const* bytes, std::size_t* size, void** exchange) noexcept {
    return *exchange == nullptr
               ? MHD_NO
               : static_cast<ForeignExchange*>(*exchange)->onInput(method, version, bytes, size);
}

void onCompleted(void*, MHD_Connection*, void** exchange, MHD_RequestTerminationCode) noexcept {
    delete static_cast<ForeignExchange*>(std::exchange(*exchange, nullptr));
}

// Targets are decoded by `Target`.
std::size_t keepEscapes(void*, MHD_Connection*, char* text) noexcept {
    return std::char_traits<char>::length(text);
}

std::string timeoutText() {
    const HttpReply reply =
        toReply(kit::Error{REQUEST_TIMEOUT, "the request did not arrive in time"});
    std::string text =
        "HTTP/1.1 408 " + std::string(statusText(REQUEST_TIMEOUT)) +
        "\r\nConnection: close\r\nContent-Length: " + std::to_string(reply.body.size()) + "\r\n";
    for (const Field& field : reply.fields) {
        text.append(field.name).append(": ").append(field.value).append("\r\n");
    }
    return text.append("\r\n").append(bytesOf(reply.body));
}

}  // namespace

ForeignDaemon::ForeignDaemon(std::shared_ptr<wire::EventLoop> loop, ForeignTerms terms)
    : loop_(std::move(loop)), terms_(std::move(terms)) {
    constexpr unsigned FLAGS =
        MHD_USE_EPOLL | MHD_USE_NO_LISTEN_SOCKET | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_ERROR_LOG;
    daemon_ = MHD_start_daemon(
        FLAGS, 0, nullptr, nullptr, onRequest, this,  //
        MHD_OPTION_EXTERNAL_LOGGER, ignoreLog, nullptr, MHD_OPTION_URI_LOG_CALLBACK, onTarget, this,
        MHD_OPTION_UNESCAPE_CALLBACK, keepEscapes, nullptr, MHD_OPTION_NOTIFY_COMPLETED,
        onCompleted, this, MHD_OPTION_NOTIFY_CONNECTION, &ForeignDaemon::onConnection, this,
        MHD_OPTION_CONNECTION_MEMORY_LIMIT, terms_.options.headerBytes + POOL_RESERVE,
        MHD_OPTION_CONNECTION_LIMIT, static_cast<unsigned>(terms_.options.connections),
        MHD_OPTION_END);
    if (daemon_ == nullptr) {
        throw std::runtime_error("libmicrohttpd does not start");
    }
    epoll_ = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd;
    if (!loop_->add(epoll_, EPOLLIN, [this](std::uint32_t) { run(); })) {
        MHD_stop_daemon(daemon_);
        throw std::runtime_error("the loop cannot watch libmicrohttpd");
    }
}

ForeignDaemon::~ForeignDaemon() {
    close();
}

void ForeignDaemon::adopt(wire::FileDescriptor socket, const kit::Peer& peer) {
    if (daemon_ == nullptr) {
        return;
    }
    auto connection =
        std::make_unique<ForeignConnection>(ForeignConnection{peer, socket.get(), std::nullopt});
    // Only the family of the address is set, because the peer is known already.
    sockaddr_storage address{};
    address.ss_family = connection->isUnix() ? AF_UNIX : AF_INET;
    adopted_ = connection.get();
    const MHD_Result added = MHD_add_connection(
        daemon_, socket.release(), reinterpret_cast<sockaddr*>(&address), sizeof(sockaddr_in));
    if (std::exchange(adopted_, nullptr) == nullptr) {
        ForeignConnection* const owned =
            connection.release();  // `onConnection` owns it, and may have destroyed it
        if (added == MHD_YES) {
            startDeadline(*owned);
        }
    }
    run();
}

void ForeignDaemon::onConnection(void* self, MHD_Connection*, void** context,
                                 MHD_ConnectionNotificationCode code) noexcept {
    auto& daemon = *static_cast<ForeignDaemon*>(self);
    if (code == MHD_CONNECTION_NOTIFY_STARTED) {
        *context = std::exchange(daemon.adopted_, nullptr);
        ++daemon.connections;
        return;
    }
    const std::unique_ptr<ForeignConnection> connection(
        static_cast<ForeignConnection*>(std::exchange(*context, nullptr)));
    daemon.stopDeadline(*connection);
    --daemon.connections;
    if (daemon.terms_.onConnectionClosed) {
        daemon.terms_.onConnectionClosed();
    }
}

void ForeignDaemon::close() noexcept {
    if (daemon_ == nullptr) {
        return;
    }
    isRefusing = true;
    loop_->remove(epoll_);
    // A suspended connection must be resumed before the daemon is stopped.
    for (ForeignExchange* const exchange : exchanges) {
        exchange->abandon();
    }
    MHD_run(daemon_);
    if (timer_) {
        loop_->cancel(*timer_);
    }
    MHD_stop_daemon(std::exchange(daemon_, nullptr));
}

void ForeignDaemon::run() noexcept {
    if (daemon_ != nullptr) {
        do {
            MHD_run(daemon_);
        } while (!schedule());
    }
}

// If there is work left, it is done after the other events of the loop. Returns false if there is
// no memory to do it later.
bool ForeignDaemon::schedule() noexcept {
    if (timer_) {
        loop_->cancel(*std::exchange(timer_, std::nullopt));
    }
    MHD_UNSIGNED_LONG_LONG milliseconds = 0;
    if (MHD_get_timeout(daemon_, &milliseconds) != MHD_YES) {
        return true;
    }
    try {
        timer_ = loop_->after(std::chrono::milliseconds(milliseconds), [this] {
            timer_.reset();
            run();
        });
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void ForeignDaemon::giveUp(const ForeignConnection& connection) noexcept {
    wire::reportOutOfMemory("a connection is closed: no memory");
    ::shutdown(connection.socket, SHUT_RDWR);
}

void ForeignDaemon::startDeadline(ForeignConnection& connection) noexcept {
    stopDeadline(connection);
    try {
        connection.deadline =
            loop_->after(terms_.options.firstBytes, [&connection] { onDeadline(connection); });
    } catch (const std::bad_alloc&) {
        giveUp(connection);
    }
}

void ForeignDaemon::stopDeadline(ForeignConnection& connection) noexcept {
    if (connection.deadline) {
        loop_->cancel(*std::exchange(connection.deadline, std::nullopt));
    }
}

// libmicrohttpd has sent all earlier answers, since a request is arriving.
void ForeignDaemon::onDeadline(ForeignConnection& connection) {
    connection.deadline.reset();
    try {
        const std::string text = timeoutText();
        static_cast<void>(
            ::send(connection.socket, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL));
    } catch (const std::bad_alloc&) {
        wire::reportOutOfMemory("a connection is closed: no memory for the status 408");
    }
    ::shutdown(connection.socket, SHUT_RDWR);
}

void ForeignDaemon::startIdle(ForeignConnection& connection) noexcept {
    stopDeadline(connection);
    if (terms_.options.idle.count() == 0) {
        return;
    }
    try {
        connection.deadline = loop_->after(terms_.options.idle, [&connection] {
            connection.deadline.reset();
            ::shutdown(connection.socket, SHUT_RDWR);
        });
    } catch (const std::bad_alloc&) {
        giveUp(connection);
    }
}

}  // namespace kova::http::detail
