#pragma once

#include <nghttp2/nghttp2.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/SocketClient.h"

namespace kova::test {

/// A client of HTTP/2 that sends and receives only inside its functions, so that a test decides
/// when it reads. One thread at a time.
class Http2Client {
public:
    using Fields = std::vector<std::pair<std::string, std::string>>;
    struct Answer {
        int status = 0;
        std::map<std::string, std::string> fields;
        std::string body;
        bool isClosed = false;
        std::uint32_t error = 0;  ///< the error code of the stream's RST_STREAM
    };

    explicit Http2Client(const std::string& address) : socket_(address) {
        nghttp2_session_callbacks* callbacks = nullptr;
        nghttp2_session_callbacks_new(&callbacks);
        nghttp2_session_callbacks_set_on_header_callback(callbacks, onHeader);
        nghttp2_session_callbacks_set_on_data_chunk_recv_callback(callbacks, onData);
        nghttp2_session_callbacks_set_on_stream_close_callback(callbacks, onStreamClose);
        nghttp2_session_callbacks_set_on_frame_recv_callback(callbacks, onFrame);
        nghttp2_session_client_new(&session_, callbacks, this);
        nghttp2_session_callbacks_del(callbacks);
        nghttp2_submit_settings(session_, NGHTTP2_FLAG_NONE, nullptr, 0);
    }
    ~Http2Client() { nghttp2_session_del(session_); }
    Http2Client(const Http2Client&) = delete;
    Http2Client& operator=(const Http2Client&) = delete;

    /// Returns the header fields of a request whose body consists of records (docs/wire.md).
    static Fields recordFields(const std::string& path = "/") {
        return {{":method", "POST"},
                {":scheme", "http"},
                {":path", path},
                {":authority", "localhost"},
                {"content-type", "application/vnd.kova.events"}};
    }
    /// Sends a request, and returns the id of its stream. If `isWhole` is false, the body stays
    /// open.
    std::int32_t send(const Fields& fields, std::string body, bool isWhole = true) {
        std::vector<nghttp2_nv> pairs;
        for (const auto& [name, value] : fields) {
            pairs.push_back({bytesOf(name), bytesOf(value), name.size(), value.size(), 0});
        }
        auto content = std::make_unique<Body>(Body{std::move(body), 0, isWhole});
        nghttp2_data_provider provider{};
        provider.source.ptr = content.get();
        provider.read_callback = onRead;
        const std::int32_t id = nghttp2_submit_request(session_, nullptr, pairs.data(),
                                                       pairs.size(), &provider, nullptr);
        bodies_[id] = std::move(content);
        flush();
        return id;
    }
    std::int32_t send(std::string body, const std::string& path = "/") {
        return send(recordFields(path), std::move(body));
    }
    void reset(std::int32_t id) {
        nghttp2_submit_rst_stream(session_, NGHTTP2_FLAG_NONE, id, NGHTTP2_CANCEL);
        flush();
    }

    /// Receives until the stream is closed, and returns its answer.
    const Answer& wait(std::int32_t id) {
        waitUntil([&] { return answers_[id].isClosed; });
        return answers_[id];
    }
    /// Receives until the condition holds. Returns false if the connection ends first.
    template <typename Condition>
    bool waitUntil(Condition condition) {
        while (!condition()) {
            if (!receive()) {
                return condition();
            }
        }
        return true;
    }
    Answer& operator[](std::int32_t id) { return answers_[id]; }
    /// Returns the error code of the GOAWAY frame, or -1 if none has arrived.
    std::int64_t goAway() const noexcept { return goAway_; }
    SocketClient& socket() noexcept { return socket_; }
    nghttp2_session* session() noexcept { return session_; }
    void flush() {
        std::uint8_t const* bytes = nullptr;
        std::string all;
        for (ssize_t size = nghttp2_session_mem_send(session_, &bytes); size > 0;
             size = nghttp2_session_mem_send(session_, &bytes)) {
            all.append(reinterpret_cast<char const*>(bytes), static_cast<std::size_t>(size));
        }
        if (!all.empty()) {
            socket_.send(all);
        }
    }
    /// Receives once. Returns false if the connection is closed.
    bool receive() {
        const std::string bytes = socket_.receive();
        if (bytes.empty()) {
            return false;
        }
        nghttp2_session_mem_recv(session_, reinterpret_cast<std::uint8_t const*>(bytes.data()),
                                 bytes.size());
        flush();
        return true;
    }

private:
    struct Body {
        std::string bytes;
        std::size_t sent = 0;
        bool isWhole = true;
    };
    static std::uint8_t* bytesOf(const std::string& text) {
        return const_cast<std::uint8_t*>(reinterpret_cast<std::uint8_t const*>(text.data()));
    }
    static Http2Client& self(void* user) { return *static_cast<Http2Client*>(user); }

    static ssize_t onRead(nghttp2_session*, std::int32_t, std::uint8_t* out, size_t size,
                          std::uint32_t* flags, nghttp2_data_source* source, void*) {
        Body& body = *static_cast<Body*>(source->ptr);
        const std::size_t count = std::min(size, body.bytes.size() - body.sent);
        std::memcpy(out, body.bytes.data() + body.sent, count);
        body.sent += count;
        if (body.sent == body.bytes.size() && body.isWhole) {
            *flags |= NGHTTP2_DATA_FLAG_EOF;
        } else if (count == 0) {
            return NGHTTP2_ERR_DEFERRED;
        }
        return static_cast<ssize_t>(count);
    }
    static int onHeader(nghttp2_session*, nghttp2_frame const* frame, std::uint8_t const* name,
                        size_t nameSize, std::uint8_t const* value, size_t valueSize, std::uint8_t,
                        void* user) {
        Answer& answer = self(user).answers_[frame->hd.stream_id];
        const std::string key(reinterpret_cast<char const*>(name), nameSize);
        answer.fields[key].assign(reinterpret_cast<char const*>(value), valueSize);
        if (key == ":status") {
            answer.status = std::stoi(answer.fields[key]);
        }
        return 0;
    }
    static int onData(nghttp2_session*, std::uint8_t, std::int32_t id, std::uint8_t const* bytes,
                      size_t size, void* user) {
        self(user).answers_[id].body.append(reinterpret_cast<char const*>(bytes), size);
        return 0;
    }
    static int onStreamClose(nghttp2_session*, std::int32_t id, std::uint32_t error, void* user) {
        self(user).answers_[id].isClosed = true;
        self(user).answers_[id].error = error;
        return 0;
    }
    static int onFrame(nghttp2_session*, nghttp2_frame const* frame, void* user) {
        if (frame->hd.type == NGHTTP2_GOAWAY) {
            self(user).goAway_ = frame->goaway.error_code;
        }
        return 0;
    }

    SocketClient socket_;
    nghttp2_session* session_ = nullptr;
    std::map<std::int32_t, Answer> answers_;
    std::map<std::int32_t, std::unique_ptr<Body>> bodies_;
    std::int64_t goAway_ = -1;
};

}  // namespace kova::test
