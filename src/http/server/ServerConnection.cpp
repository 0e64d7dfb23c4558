#include "server/ServerConnection.h"

#include <algorithm>
#include <array>
#include <new>
#include <utility>
#include <vector>

#include "kova/core/StatusCodes.h"
#include "wire/OutOfMemory.h"

namespace kova::http::detail {

namespace {

// The resets that a client may send at once, and in a second. Programs reset a stream to cancel a
// request, and may cancel thousands at once.
constexpr std::size_t RESET_BURST = 4096;
constexpr std::size_t RESETS_PER_SECOND = 1000;
// The windows of a stream and of the connection. A body is stored as it arrives, so they bound no
// memory; a larger window needs fewer updates.
constexpr std::uint32_t STREAM_WINDOW = 256U * 1024U;
constexpr std::int32_t CONNECTION_WINDOW = 1024 * 1024;
// Replies to PING and SETTINGS that wait for a client that does not read, and the entries of a
// SETTINGS frame. The connection ends if there are more.
constexpr std::size_t WAITING_REPLIES = 256;
constexpr std::size_t SETTINGS_ENTRIES = 32;

nghttp2_nv field(std::string_view name, std::string_view value) noexcept {
    const auto bytes = [](std::string_view text) {
        return const_cast<std::uint8_t*>(reinterpret_cast<std::uint8_t const*>(text.data()));
    };
    return {bytes(name), bytes(value), name.size(), value.size(), NGHTTP2_NV_FLAG_NONE};
}

std::string_view view(std::uint8_t const* bytes, std::size_t size) noexcept {
    return {reinterpret_cast<char const*>(bytes), size};
}

struct DeleteOption {
    void operator()(nghttp2_option* option) const noexcept { nghttp2_option_del(option); }
};
std::unique_ptr<nghttp2_option, DeleteOption> makeOption() {
    nghttp2_option* option = nullptr;
    if (nghttp2_option_new(&option) != 0) {
        throw std::bad_alloc();
    }
    nghttp2_option_set_no_auto_window_update(option, 1);
    nghttp2_option_set_no_closed_streams(option, 1);
    nghttp2_option_set_max_outbound_ack(option, WAITING_REPLIES);
    nghttp2_option_set_max_settings(option, SETTINGS_ENTRIES);
    // The default of nghttp2 is lower than the limit of `ResetLimit`, which is the one that counts.
    nghttp2_option_set_stream_reset_rate_limit(option, 2 * RESET_BURST, 2 * RESETS_PER_SECOND);
    return std::unique_ptr<nghttp2_option, DeleteOption>(option);
}

// Throws if a function of nghttp2 has failed for lack of memory. All other errors of its functions
// concern streams that have ended already.
void require(int result) {
    if (nghttp2_is_fatal(result) != 0) {
        throw std::bad_alloc();
    }
}

std::uint32_t saturated(std::size_t number) noexcept {
    return static_cast<std::uint32_t>(std::min<std::size_t>(number, UINT32_MAX));
}

}  // namespace

// The functions that nghttp2 calls. C++ exceptions must not pass through it.
struct ServerConnection::Callbacks {
    static ServerConnection& self(void* user) noexcept {
        return *static_cast<ServerConnection*>(user);
    }
    template <typename Function>
    static int guarded(Function function) noexcept {
        try {
            function();
            return 0;
        } catch (const std::bad_alloc&) {
            wire::reportOutOfMemory("a connection is closed: no memory for a request");
            return NGHTTP2_ERR_CALLBACK_FAILURE;
        } catch (...) {
            return NGHTTP2_ERR_CALLBACK_FAILURE;
        }
    }
    static bool isRequestHead(nghttp2_frame const* frame) noexcept {
        return frame->hd.type == NGHTTP2_HEADERS && frame->headers.cat == NGHTTP2_HCAT_REQUEST;
    }

    static int onBeginHeaders(nghttp2_session*, nghttp2_frame const* frame, void* user) {
        return guarded([&] {
            if (isRequestHead(frame)) {
                self(user).beginRequest(frame->hd.stream_id);
            }
        });
    }
    static int onHeader(nghttp2_session*, nghttp2_frame const* frame, std::uint8_t const* name,
                        size_t nameSize, std::uint8_t const* value, size_t valueSize, std::uint8_t,
                        void* user) {
        return guarded([&] {
            if (ServerStream* const stream = self(user).find(frame->hd.stream_id)) {
                stream->head.add(view(name, nameSize), view(value, valueSize));
            }
        });
    }
    static int onData(nghttp2_session* session, std::uint8_t, std::int32_t id,
                      std::uint8_t const* bytes, size_t size, void* user) {
        return guarded([&] {
            nghttp2_session_consume(session, id, size);
            if (ServerStream* const stream = self(user).find(id)) {
                self(user).addBody(*stream, view(bytes, size));
            }
        });
    }
    static int onFrame(nghttp2_session*, nghttp2_frame const* frame, void* user) {
        return guarded([&] { self(user).onFrameReceived(*frame); });
    }
    static int onFrameSent(nghttp2_session*, nghttp2_frame const* frame, void* user) {
        const bool isEnd = (frame->hd.flags & NGHTTP2_FLAG_END_STREAM) != 0;
        const bool canEnd = frame->hd.type == NGHTTP2_DATA || frame->hd.type == NGHTTP2_HEADERS;
        return guarded([&] {
            if (isEnd && canEnd) {
                self(user).onEndSent(frame->hd.stream_id);
            }
        });
    }
    static int onStreamClose(nghttp2_session*, std::int32_t id, std::uint32_t, void* user) {
        return guarded([&] { self(user).remove(id); });
    }
    static ssize_t onRead(nghttp2_session*, std::int32_t, std::uint8_t* bytes, size_t size,
                          std::uint32_t* flags, nghttp2_data_source* source, void*) {
        ssize_t count = NGHTTP2_ERR_TEMPORAL_CALLBACK_FAILURE;
        guarded([&] {
            bool isOver = false;
            count = static_cast<ServerStream*>(source->ptr)->read(bytes, size, isOver);
            *flags |= isOver ? NGHTTP2_DATA_FLAG_EOF : NGHTTP2_DATA_FLAG_NONE;
        });
        return count;
    }
    // One table of callbacks for all connections.
    static nghttp2_session_callbacks const* table() {
        static nghttp2_session_callbacks const* const made = make();
        return made;
    }
    static nghttp2_session_callbacks const* make() {
        nghttp2_session_callbacks* made = nullptr;
        if (nghttp2_session_callbacks_new(&made) != 0) {
            throw std::bad_alloc();
        }
        nghttp2_session_callbacks_set_on_begin_headers_callback(made, onBeginHeaders);
        nghttp2_session_callbacks_set_on_header_callback(made, onHeader);
        nghttp2_session_callbacks_set_on_data_chunk_recv_callback(made, onData);
        nghttp2_session_callbacks_set_on_frame_recv_callback(made, onFrame);
        nghttp2_session_callbacks_set_on_frame_send_callback(made, onFrameSent);
        nghttp2_session_callbacks_set_on_stream_close_callback(made, onStreamClose);
        return made;
    }
};

ServerConnection::ServerConnection(ServerContext& context, wire::FileDescriptor socket,
                                   kit::Peer peer)
    : Http2Connection(context.loop, std::move(socket)),
      context_(context),
      peer_(std::move(peer)),
      resets_(RESET_BURST, RESETS_PER_SECOND) {}

// The timers run until now if `start` has failed.
ServerConnection::~ServerConnection() {
    stopTimers();
    for (const auto& [id, stream] : streams_) {
        forget(*stream);
    }
}

// Calls a function of the loop. Without memory for what it does, the connection is closed.
template <typename Function>
void ServerConnection::orClose(Function function) noexcept {
    try {
        function();
    } catch (const std::bad_alloc&) {
        wire::reportOutOfMemory("a connection is closed: no memory");
        close();
    }
}

void ServerConnection::start() {
    nghttp2_session* created = nullptr;
    const auto option = makeOption();
    if (nghttp2_session_server_new2(&created, Callbacks::table(), this, option.get()) != 0) {
        throw std::bad_alloc();
    }
    std::unique_ptr<nghttp2_session, DeleteSession> made(created);
    const std::array<nghttp2_settings_entry, 3> settings = {
        {{NGHTTP2_SETTINGS_MAX_CONCURRENT_STREAMS,
          saturated(context_.options.requestsOfConnection)},
         {NGHTTP2_SETTINGS_INITIAL_WINDOW_SIZE, STREAM_WINDOW},
         {NGHTTP2_SETTINGS_MAX_HEADER_LIST_SIZE, saturated(context_.options.headerBytes)}}};
    require(nghttp2_submit_settings(created, NGHTTP2_FLAG_NONE, settings.data(), settings.size()));
    require(
        nghttp2_session_set_local_window_size(created, NGHTTP2_FLAG_NONE, 0, CONNECTION_WINDOW));
    idleSince_ = wire::EventLoop::Clock::now();
    watchProgress(context_.options.firstBytes);
    if (context_.options.idle.count() > 0) {
        watchIdleness(context_.options.idle);
    }
    Http2Connection::start(made.release());
}

void ServerConnection::refuseRequests() {
    orClose([this] {
        require(nghttp2_submit_goaway(session(), NGHTTP2_FLAG_NONE,
                                      nghttp2_session_get_last_proc_stream_id(session()),
                                      NGHTTP2_NO_ERROR, nullptr, 0));
        flush();
    });
}

void ServerConnection::stopTimers() noexcept {
    for (const auto& timer : {progressTimer_, idleTimer_}) {
        if (timer) {
            loop().cancel(*timer);
        }
    }
}

void ServerConnection::onClosed() noexcept {
    stopTimers();
    const auto streams = std::exchange(streams_, {});
    for (const auto& [id, stream] : streams) {
        forget(*stream);
    }
    auto& unflushed = context_.unflushed;
    unflushed.erase(std::remove(unflushed.begin(), unflushed.end(), this), unflushed.end());
    context_.onClosed(*this);
}

ServerStream* ServerConnection::find(std::int32_t id) const noexcept {
    const auto found = streams_.find(id);
    return found == streams_.end() ? nullptr : found->second.get();
}

void ServerConnection::beginRequest(std::int32_t id) {
    const EndpointOptions& options = context_.options;
    auto stream = std::make_unique<ServerStream>(*this, id, options.headerBytes, options.bodyBytes);
    stream->lastProgress = wire::EventLoop::Clock::now();
    streams_[id] = std::move(stream);
    ++context_.requests;
    if (!progressTimer_) {
        watchProgress(options.firstBytes);
    }
}

void ServerConnection::onFrameReceived(const nghttp2_frame& frame) {
    if (frame.hd.type == NGHTTP2_SETTINGS) {
        hasSettings_ = true;
    } else if (frame.hd.type == NGHTTP2_RST_STREAM) {
        countReset();
    } else if (ServerStream* const stream = find(frame.hd.stream_id)) {
        stream->lastProgress = wire::EventLoop::Clock::now();
        if (Callbacks::isRequestHead(&frame)) {
            endHead(*stream);
        }
        const bool canEnd = frame.hd.type == NGHTTP2_DATA || frame.hd.type == NGHTTP2_HEADERS;
        if (canEnd && (frame.hd.flags & NGHTTP2_FLAG_END_STREAM) != 0) {
            endRequest(*stream);
        }
    }
}

void ServerConnection::endHead(ServerStream& stream) {
    if (std::optional<Refusal> refusal = validate(stream)) {
        refuse(stream, *std::move(refusal));
    }
}

// Returns the reason if the request is refused before its body is known.
std::optional<Refusal> ServerConnection::validate(ServerStream& stream) {
    if (std::optional<Refusal> refusal = stream.head.refusal()) {
        return refusal;
    }
    if (context_.isStopping) {
        return Refusal{statuscodes::SERVICE_UNAVAILABLE, "lost: the endpoint stops\n"};
    }
    stream.service = context_.services.find(stream.head.path());
    if (stream.service == nullptr) {
        return Refusal{statuscodes::NOT_FOUND, "no service has this path\n"};
    }
    stream.isCountedForPeer = context_.peers.add(peer_);
    if (!stream.isCountedForPeer) {
        return Refusal{429, "too many requests of this peer are pending\n"};
    }
    return std::nullopt;
}

void ServerConnection::addBody(ServerStream& stream, std::string_view bytes) {
    if (stream.isRefused) {
        return;
    }
    stream.lastProgress = wire::EventLoop::Clock::now();
    unfinishedBytes_ += bytes.size();
    const std::size_t limit = context_.options.bodyBytes;
    if (!stream.addBody(bytes)) {
        refuse(stream, {413, "the body has more than " + std::to_string(limit) + " bytes\n"});
    } else if (unfinishedBytes_ > limit && unfinishedBytes_ - limit > limit) {
        // The unfinished bodies of a connection may have twice as many bytes together.
        refuse(stream, {429, "too many bytes of unfinished requests\n"});
    }
}

void ServerConnection::endRequest(ServerStream& stream) {
    stream.isComplete = true;
    unfinishedBytes_ -= stream.bodySize();
    if (!stream.isRefused) {
        dispatch(stream);
    }
}

void ServerConnection::dispatch(ServerStream& stream) {
    if (context_.isStopping) {
        refuse(stream, {statuscodes::SERVICE_UNAVAILABLE, "lost: the endpoint stops\n"});
        return;
    }
    const kit::Result<Request> request = stream.readRequest();
    if (!request) {
        refuse(stream, {statuscodes::BAD_REQUEST, request.error().message + "\n"});
        return;
    }
    wire::AnswerQueue::Limits limits;
    limits.bytes = context_.options.queuedBytes;
    {
        const kit::PeerScope scope(peer_);
        stream.send(*request, std::make_shared<wire::AnswerQueue>(context_.ready, limits));
    }
    if (stream.hasMore()) {
        submitAnswer(stream);
    }
}

void ServerConnection::countReset() {
    if (!resets_.add(wire::EventLoop::Clock::now())) {
        nghttp2_session_terminate_session(session(), NGHTTP2_ENHANCE_YOUR_CALM);
    }
}

void ServerConnection::remove(std::int32_t id) {
    const auto found = streams_.find(id);
    if (found == streams_.end()) {
        return;
    }
    const std::unique_ptr<ServerStream> stream = std::move(found->second);
    streams_.erase(found);
    if (!stream->isComplete) {
        unfinishedBytes_ -= stream->bodySize();
    }
    idleSince_ = wire::EventLoop::Clock::now();
    forget(*stream);
}

void ServerConnection::forget(ServerStream& stream) noexcept {
    stream.end();
    if (stream.isCountedForPeer) {
        context_.peers.remove(peer_);
    }
    --context_.requests;
    context_.onRequestEnded();
}

void ServerConnection::refuse(ServerStream& stream, Refusal refusal) {
    stream.isRefused = true;
    const std::string status = std::to_string(refusal.status);
    std::vector<nghttp2_nv> fields = {field(":status", status),
                                      field("content-type", "text/plain")};
    if (refusal.status == 405) {
        fields.push_back(field("allow", "POST"));
    }
    stream.setText(stream.head.method() == "HEAD" ? std::string() : std::move(refusal.reason));
    submit(stream, fields.data(), fields.size());
}

void ServerConnection::submitAnswer(ServerStream& stream) {
    const std::array<nghttp2_nv, 2> fields = {field(":status", "200"),
                                              field("content-type", wire::RECORDS_TYPE)};
    submit(stream, fields.data(), fields.size());
}

void ServerConnection::submit(ServerStream& stream, nghttp2_nv const* fields, std::size_t count) {
    nghttp2_data_provider body{};
    body.source.ptr = &stream;
    body.read_callback = Callbacks::onRead;
    stream.isSubmitted = true;
    require(nghttp2_submit_response(session(), stream.id(), fields, count, &body));
}

// A client that has its answer need not send the rest of its request.
void ServerConnection::onEndSent(std::int32_t id) {
    ServerStream const* const stream = find(id);
    if (stream != nullptr && !stream->isComplete) {
        require(nghttp2_submit_rst_stream(session(), NGHTTP2_FLAG_NONE, id, NGHTTP2_NO_ERROR));
    }
}

void ServerConnection::resume(ServerStream& stream) noexcept {
    orClose([&] {
        if (stream.isSubmitted) {
            require(nghttp2_session_resume_data(session(), stream.id()));
        } else {
            submitAnswer(stream);
        }
        if (!isUnflushed_) {
            context_.unflushed.push_back(this);
            isUnflushed_ = true;
        }
    });
}

void ServerConnection::sendRecords() {
    isUnflushed_ = false;
    flush();
}

void ServerConnection::watchProgress(wire::EventLoop::Clock::duration delay) {
    progressTimer_ = loop().after(delay, [this] {
        progressTimer_.reset();
        orClose([this] { endStalledRequests(); });
    });
}

// One timer serves all requests, and none is set while all requests are complete.
void ServerConnection::endStalledRequests() {
    const auto limit = context_.options.firstBytes;
    const TimePoint now = wire::EventLoop::Clock::now();
    TimePoint oldest = TimePoint::max();
    for (const auto& [id, stream] : streams_) {
        if (stream->isComplete) {
            continue;
        }
        if (now - stream->lastProgress >= limit) {
            require(nghttp2_submit_rst_stream(session(), NGHTTP2_FLAG_NONE, id, NGHTTP2_CANCEL));
        } else {
            oldest = std::min(oldest, stream->lastProgress);
        }
    }
    if (oldest != TimePoint::max()) {
        watchProgress(oldest + limit - now);
    }
    if (hasSettings_) {
        flush();
    } else {
        close();
    }
}

void ServerConnection::watchIdleness(wire::EventLoop::Clock::duration delay) {
    idleTimer_ = loop().after(delay, [this] {
        idleTimer_.reset();
        orClose([this] { endIfIdle(); });
    });
}

void ServerConnection::endIfIdle() {
    const auto limit = context_.options.idle;
    const auto idle = wire::EventLoop::Clock::now() - idleSince_;
    if (!streams_.empty() || idle < limit) {
        watchIdleness(streams_.empty() ? limit - idle : limit);
        return;
    }
    require(nghttp2_session_terminate_session(session(), NGHTTP2_NO_ERROR));
    flush();
}

}  // namespace kova::http::detail
