#include "client/ClientConnection.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <limits>
#include <new>
#include <string_view>
#include <utility>

namespace kova::http::detail {

namespace {

// The number of streams before the SETTINGS of the server arrive. nghttp2 assumes the same number.
constexpr std::uint32_t STREAMS_BEFORE_SETTINGS = 100;
// Bytes are delivered when they are read, so only the windows of the streams limit the server.
constexpr std::int32_t WINDOW_OF_CONNECTION = std::numeric_limits<std::int32_t>::max();

std::string_view viewOf(const std::uint8_t* text, std::size_t size) noexcept {
    return {reinterpret_cast<char const*>(text), size};
}

nghttp2_nv field(std::string_view name, std::string_view value) noexcept {
    // nghttp2 does not write to the bytes of the name and the value.
    auto* const nameBytes = reinterpret_cast<std::uint8_t*>(const_cast<char*>(name.data()));
    auto* const valueBytes = reinterpret_cast<std::uint8_t*>(const_cast<char*>(value.data()));
    return {nameBytes, valueBytes, name.size(), value.size(),
            NGHTTP2_NV_FLAG_NO_COPY_NAME | NGHTTP2_NV_FLAG_NO_COPY_VALUE};
}

std::string inMilliseconds(wire::EventLoop::Clock::duration time) {
    return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(time).count()) +
           " ms";
}

}  // namespace

/// The functions that nghttp2 calls.
struct ClientConnection::Callbacks {
    static ClientConnection& self(void* user) noexcept {
        return *static_cast<ClientConnection*>(user);
    }
    static ClientStream* streamOf(nghttp2_session* session, std::int32_t number) noexcept {
        return static_cast<ClientStream*>(nghttp2_session_get_stream_user_data(session, number));
    }

    static int onBeginFrame(nghttp2_session*, const nghttp2_frame_hd*, void* user) noexcept {
        self(user).received();
        return 0;
    }
    static int onHeader(nghttp2_session* session, const nghttp2_frame* frame,
                        const std::uint8_t* name, std::size_t nameSize, const std::uint8_t* value,
                        std::size_t valueSize, std::uint8_t, void*) noexcept {
        if (ClientStream* const stream = streamOf(session, frame->hd.stream_id)) {
            stream->onHeader(viewOf(name, nameSize), viewOf(value, valueSize));
        }
        return 0;
    }
    static int onFrame(nghttp2_session*, const nghttp2_frame* frame, void* user) noexcept {
        self(user).onFrame(*frame);
        return 0;
    }
    static int onFrameSent(nghttp2_session*, const nghttp2_frame* frame, void* user) noexcept {
        if (frame->hd.type == NGHTTP2_GOAWAY && frame->goaway.error_code != NGHTTP2_NO_ERROR) {
            self(user).reason_ = std::string("the server violated HTTP/2: ") +
                                 nghttp2_http2_strerror(frame->goaway.error_code);
        }
        return 0;
    }
    static int onData(nghttp2_session*, std::uint8_t, std::int32_t number,
                      const std::uint8_t* bytes, std::size_t size, void* user) noexcept {
        self(user).onData(number, bytes, size);
        return 0;
    }
    static int onStreamClosed(nghttp2_session*, std::int32_t number, std::uint32_t code,
                              void* user) noexcept {
        self(user).onStreamClosed(number, code);
        return 0;
    }
    static ssize_t read(nghttp2_session*, std::int32_t, std::uint8_t* out, std::size_t size,
                        std::uint32_t* flags, nghttp2_data_source* source, void*) noexcept {
        auto& stream = *static_cast<ClientStream*>(source->ptr);
        const std::size_t count = stream.read(out, size);
        if (stream.isSent()) {
            *flags |= NGHTTP2_DATA_FLAG_EOF;
        }
        return static_cast<ssize_t>(count);
    }

    static nghttp2_session* createSession(ClientConnection& connection) {
        nghttp2_session_callbacks* callbacks = nullptr;
        nghttp2_option* option = nullptr;
        nghttp2_session* session = nullptr;
        if (nghttp2_session_callbacks_new(&callbacks) == 0 && nghttp2_option_new(&option) == 0) {
            nghttp2_session_callbacks_set_on_begin_frame_callback(callbacks, onBeginFrame);
            nghttp2_session_callbacks_set_on_header_callback(callbacks, onHeader);
            nghttp2_session_callbacks_set_on_frame_recv_callback(callbacks, onFrame);
            nghttp2_session_callbacks_set_on_frame_send_callback(callbacks, onFrameSent);
            nghttp2_session_callbacks_set_on_data_chunk_recv_callback(callbacks, onData);
            nghttp2_session_callbacks_set_on_stream_close_callback(callbacks, onStreamClosed);
            nghttp2_option_set_no_closed_streams(option, 1);
            nghttp2_option_set_no_auto_window_update(option, 1);
            nghttp2_option_set_peer_max_concurrent_streams(option, STREAMS_BEFORE_SETTINGS);
            nghttp2_session_client_new2(&session, callbacks, &connection, option);
        }
        nghttp2_option_del(option);
        nghttp2_session_callbacks_del(callbacks);
        if (session == nullptr) {
            throw std::bad_alloc();
        }
        return session;
    }
};

ClientConnection::ClientConnection(wire::EventLoop& loop, wire::FileDescriptor socket,
                                   const ClientSettings& settings, Owner& owner)
    : Http2Connection(loop, std::move(socket)), settings_(settings), owner_(owner) {}

ClientConnection::~ClientConnection() {
    if (timer_) {
        loop().cancel(*timer_);
    }
}

void ClientConnection::start() {
    nghttp2_session* const session = Callbacks::createSession(*this);
    const std::array<nghttp2_settings_entry, 2> settings{
        {{NGHTTP2_SETTINGS_ENABLE_PUSH, 0},
         {NGHTTP2_SETTINGS_INITIAL_WINDOW_SIZE, static_cast<std::uint32_t>(settings_.window)}}};
    nghttp2_submit_settings(session, NGHTTP2_FLAG_NONE, settings.data(), settings.size());
    nghttp2_session_set_local_window_size(session, NGHTTP2_FLAG_NONE, 0, WINDOW_OF_CONNECTION);
    Http2Connection::start(session);
}

bool ClientConnection::isUsable() const noexcept {
    return isOpen() && !isRetired_ && nghttp2_session_check_request_allowed(session()) != 0 &&
           nghttp2_session_get_next_stream_id(session()) <=
               static_cast<std::uint32_t>(settings_.lastStream);
}

bool ClientConnection::hasCapacity() const noexcept {
    const std::uint32_t limit =
        nghttp2_session_get_remote_settings(session(), NGHTTP2_SETTINGS_MAX_CONCURRENT_STREAMS);
    return open_ < (hasSettings_ ? limit : STREAMS_BEFORE_SETTINGS);
}

bool ClientConnection::submit(ClientStream& stream) {
    const std::array<nghttp2_nv, 5> fields{
        field(":method", "POST"), field(":scheme", "http"), field(":authority", "kova"),
        field(":path", settings_.path), field("content-type", wire::RECORDS_TYPE)};
    nghttp2_data_provider body{};
    body.source.ptr = &stream;
    body.read_callback = Callbacks::read;
    const std::int32_t number =
        nghttp2_submit_request(session(), nullptr, fields.data(), fields.size(), &body, &stream);
    if (number < 0) {
        return false;
    }
    stream.number = number;
    stream.connection = this;
    ++open_;
    if (!timer_) {
        quietSince_ = wire::EventLoop::Clock::now();
        watch(settings_.quiet);
    }
    return true;
}

void ClientConnection::reset(ClientStream& stream, std::uint32_t code) noexcept {
    nghttp2_submit_rst_stream(session(), NGHTTP2_FLAG_NONE, stream.number, code);
}

void ClientConnection::withdraw(ClientStream& stream) noexcept {
    nghttp2_session_set_stream_user_data(session(), stream.number, nullptr);
    stream.connection = nullptr;
    stream.number = 0;
    --open_;
}

void ClientConnection::retire() noexcept {
    isRetired_ = true;
    if (isIdle() && !isTerminated_) {
        isTerminated_ = true;
        nghttp2_session_terminate_session(session(), NGHTTP2_NO_ERROR);
    }
}

void ClientConnection::onClosed() noexcept {
    const std::string reason = std::move(reason_);
    owner_.onConnectionClosed(*this, reason);
}

void ClientConnection::lose(std::string reason) noexcept {
    reason_ = std::move(reason);
    close();
}

// --- What the server sends -----------------------------------------------------------------------

void ClientConnection::received() noexcept {
    hasReceived_ = true;
    isPinged_ = false;
    quietSince_ = wire::EventLoop::Clock::now();
}

ClientStream* ClientConnection::find(std::int32_t number) const noexcept {
    return Callbacks::streamOf(session(), number);
}

void ClientConnection::onFrame(const nghttp2_frame& frame) {
    switch (frame.hd.type) {
        case NGHTTP2_HEADERS:
        case NGHTTP2_DATA:
            onStreamFrame(frame);
            break;
        case NGHTTP2_SETTINGS:
            hasSettings_ = hasSettings_ || (frame.hd.flags & NGHTTP2_FLAG_ACK) == 0;
            owner_.onChange();
            break;
        case NGHTTP2_GOAWAY:
            if (frame.goaway.error_code != NGHTTP2_NO_ERROR) {
                reason_ = std::string("the server ended the connection: ") +
                          nghttp2_http2_strerror(frame.goaway.error_code);
            }
            owner_.onChange();
            break;
        default:
            break;
    }
}

// An answer may be complete while the request is still being sent. The rest is then not needed.
void ClientConnection::onStreamFrame(const nghttp2_frame& frame) {
    ClientStream* const stream = find(frame.hd.stream_id);
    if (stream == nullptr) {
        return;
    }
    if (frame.hd.type == NGHTTP2_HEADERS) {
        stream->onHeaderEnd();
    }
    const bool isLast = (frame.hd.flags & NGHTTP2_FLAG_END_STREAM) != 0;
    if (isLast) {
        stream->onEnd();
    }
    if (isLast && !stream->isSent()) {
        reset(*stream, NGHTTP2_CANCEL);
    } else if (!isLast && stream->refusal()) {
        reset(*stream, *stream->refusal());
    }
}

void ClientConnection::onData(std::int32_t number, const std::uint8_t* bytes, std::size_t size) {
    received();
    if (ClientStream* const stream = find(number)) {
        stream->onData(viewOf(bytes, size));
    }
    nghttp2_session_consume(session(), number, size);
}

void ClientConnection::onStreamClosed(std::int32_t number, std::uint32_t code) {
    ClientStream* const stream = find(number);
    if (stream == nullptr) {
        return;
    }
    --open_;
    if (stream->isRepeatable() && !isUsable()) {
        owner_.onStreamLost(*stream);
    } else {
        stream->lose(std::string("the stream was reset: ") + nghttp2_http2_strerror(code));
        owner_.onStreamClosed(*stream);
    }
    if (isRetired_) {
        retire();
    }
    owner_.onChange();
}

// --- A server that is gone -----------------------------------------------------------------------

void ClientConnection::watch(wire::EventLoop::Clock::duration time) {
    timer_ = loop().after(time, [this] {
        timer_.reset();
        check();
    });
}

// Sends a PING if nothing has arrived for a while. The last call in each path may destroy the
// object.
void ClientConnection::check() {
    if (isIdle()) {
        isPinged_ = false;
        return;
    }
    const wire::EventLoop::Clock::time_point now = wire::EventLoop::Clock::now();
    if (isPinged_) {
        checkPing(now - pingedAt_);
        return;
    }
    if (now - quietSince_ < settings_.quiet) {
        watch(settings_.quiet - (now - quietSince_));
        return;
    }
    isPinged_ = true;
    pingedAt_ = now;
    nghttp2_submit_ping(session(), NGHTTP2_FLAG_NONE, nullptr);
    watch(std::min(settings_.quiet, settings_.pingLimit));
    flush();
}

// The answer to the PING may have arrived while a response handler blocked the loop. Unread bytes
// therefore extend the wait.
void ClientConnection::checkPing(wire::EventLoop::Clock::duration age) {
    if (age < settings_.pingLimit) {
        watch(std::min(settings_.quiet, settings_.pingLimit - age));
    } else if (hasUnreadBytes()) {
        watch(settings_.pingLimit);
    } else {
        lose("no answer to a PING for " + inMilliseconds(settings_.pingLimit));
    }
}

bool ClientConnection::hasUnreadBytes() const noexcept {
    pollfd descriptor{socket(), POLLIN, 0};
    return ::poll(&descriptor, 1, 0) > 0;
}

}  // namespace kova::http::detail
