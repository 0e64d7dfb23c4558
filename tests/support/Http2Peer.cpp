#include "support/Http2Peer.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace kova::test {

namespace {

constexpr int LIMIT_IN_MILLISECONDS = 30'000;

nghttp2_nv field(const std::string& name, const std::string& value) {
    auto* const nameBytes = reinterpret_cast<std::uint8_t*>(const_cast<char*>(name.data()));
    auto* const valueBytes = reinterpret_cast<std::uint8_t*>(const_cast<char*>(value.data()));
    return {nameBytes, valueBytes, name.size(), value.size(), NGHTTP2_NV_FLAG_NONE};
}

bool isReadable(int socket, int milliseconds = LIMIT_IN_MILLISECONDS) {
    pollfd descriptor{socket, POLLIN, 0};
    return ::poll(&descriptor, 1, milliseconds) > 0;
}

}  // namespace

UnixListener::UnixListener() {
    std::string folder = "/tmp/kova-http-XXXXXX";
    if (::mkdtemp(folder.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    folder_ = folder;
    path_ = folder + "/socket";
}

UnixListener::~UnixListener() {
    close();
    ::rmdir(folder_.c_str());
}

void UnixListener::listen(int backlog) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path_.copy(address.sun_path, sizeof address.sun_path - 1);
    socket_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (::bind(socket_, reinterpret_cast<sockaddr const*>(&address), sizeof address) != 0 ||
        ::listen(socket_, backlog) != 0) {
        throw std::runtime_error("cannot listen at " + path_);
    }
}

int UnixListener::accept() {
    if (!isReadable(socket_)) {
        throw std::runtime_error("no connection within 30 s");
    }
    return ::accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC);
}

bool UnixListener::hasConnection() const {
    return isReadable(socket_, 0);
}

void UnixListener::close() {
    if (socket_ >= 0) {
        ::unlink(path_.c_str());
        ::close(std::exchange(socket_, -1));
    }
}

/// The functions that nghttp2 calls.
struct Http2Peer::Callbacks {
    static Http2Peer& self(void* user) { return *static_cast<Http2Peer*>(user); }

    static int onHeader(nghttp2_session*, const nghttp2_frame* frame, const std::uint8_t* name,
                        std::size_t nameSize, const std::uint8_t* value, std::size_t valueSize,
                        std::uint8_t, void* user) {
        Stream& stream = self(user).streams_[frame->hd.stream_id];
        stream.request.fields[{name, name + nameSize}] = {value, value + valueSize};
        return 0;
    }
    static int onData(nghttp2_session*, std::uint8_t, std::int32_t number,
                      const std::uint8_t* bytes, std::size_t size, void* user) {
        self(user).streams_[number].request.body.append(bytes, bytes + size);
        return 0;
    }
    static int onFrame(nghttp2_session*, const nghttp2_frame* frame, void* user) {
        Http2Peer& peer = self(user);
        const std::int32_t number = frame->hd.stream_id;
        const bool isPing = frame->hd.type == NGHTTP2_PING;
        peer.pings_ += isPing && (frame->hd.flags & NGHTTP2_FLAG_ACK) == 0 ? 1 : 0;
        peer.isLimitKnown_ = peer.isLimitKnown_ || (frame->hd.type == NGHTTP2_SETTINGS &&
                                                    (frame->hd.flags & NGHTTP2_FLAG_ACK) != 0);
        if (frame->hd.type == NGHTTP2_RST_STREAM) {
            peer.streams_[number].reset = frame->rst_stream.error_code;
        }
        if (frame->hd.type == NGHTTP2_HEADERS) {
            peer.streams_[number].request.number = number;
            peer.headers_.push_back(number);
        }
        const bool isRequest = frame->hd.type == NGHTTP2_HEADERS || frame->hd.type == NGHTTP2_DATA;
        if (isRequest && (frame->hd.flags & NGHTTP2_FLAG_END_STREAM) != 0) {
            peer.requests_.push_back(number);
        }
        return 0;
    }
    static ssize_t read(nghttp2_session*, std::int32_t number, std::uint8_t* out, std::size_t size,
                        std::uint32_t* flags, nghttp2_data_source*, void* user) {
        Stream& stream = self(user).streams_[number];
        if (stream.output.empty() && !stream.isLast) {
            return NGHTTP2_ERR_DEFERRED;
        }
        const std::size_t count = stream.output.copy(reinterpret_cast<char*>(out), size);
        stream.output.erase(0, count);
        if (stream.output.empty() && stream.isLast) {
            *flags |= NGHTTP2_DATA_FLAG_EOF;
        }
        return static_cast<ssize_t>(count);
    }
};

Http2Peer::Http2Peer(int socket, std::uint32_t streams) : socket_(socket) {
    nghttp2_session_callbacks* callbacks = nullptr;
    nghttp2_session_callbacks_new(&callbacks);
    nghttp2_session_callbacks_set_on_header_callback(callbacks, Callbacks::onHeader);
    nghttp2_session_callbacks_set_on_data_chunk_recv_callback(callbacks, Callbacks::onData);
    nghttp2_session_callbacks_set_on_frame_recv_callback(callbacks, Callbacks::onFrame);
    nghttp2_session_server_new(&session_, callbacks, this);
    nghttp2_session_callbacks_del(callbacks);
    limitStreams(streams);
}

Http2Peer::~Http2Peer() {
    close();
    nghttp2_session_del(session_);
}

void Http2Peer::close() {
    if (socket_ >= 0) {
        ::close(std::exchange(socket_, -1));
    }
}

// Waits for bytes and processes them. Returns false if the connection has ended.
bool Http2Peer::readSome() {
    if (isClosed_) {
        return false;
    }
    if (!isReadable(socket_)) {
        throw std::runtime_error("no bytes within 30 s");
    }
    std::array<std::uint8_t, 65536> bytes{};
    const ssize_t count = ::recv(socket_, bytes.data(), bytes.size(), 0);
    isClosed_ = count <= 0;
    if (!isClosed_) {
        nghttp2_session_mem_recv(session_, bytes.data(), static_cast<std::size_t>(count));
        flush();
    }
    return !isClosed_;
}

void Http2Peer::waitFor(char const* what, const std::function<bool()>& isTrue) {
    while (!isTrue()) {
        if (!readSome()) {
            throw std::runtime_error(std::string("the connection ended before ") + what);
        }
    }
}

void Http2Peer::flush() {
    const std::uint8_t* bytes = nullptr;
    for (ssize_t count = 0; (count = nghttp2_session_mem_send(session_, &bytes)) > 0;) {
        sendRaw({bytes, bytes + count});
    }
}

void Http2Peer::sendRaw(const std::string& bytes) {
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t count =
            ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count < 0) {
            return;  // the client has closed the connection
        }
        sent += static_cast<std::size_t>(count);
    }
}

Http2Peer::Request Http2Peer::waitForRequest() {
    waitFor("a request", [&] { return !requests_.empty(); });
    const std::int32_t number = requests_.front();
    requests_.pop_front();
    return streams_[number].request;
}

Http2Peer::Request Http2Peer::waitForHeader() {
    waitFor("a header", [&] { return !headers_.empty(); });
    const std::int32_t number = headers_.front();
    headers_.pop_front();
    return streams_[number].request;
}

std::uint32_t Http2Peer::waitForReset(std::int32_t number) {
    waitFor("a reset", [&] { return streams_[number].reset.has_value(); });
    return *streams_[number].reset;
}

void Http2Peer::waitForSettings() {
    waitFor("the settings were acknowledged", [&] { return isLimitKnown_; });
}

void Http2Peer::waitForPings(int count) {
    waitFor("a PING", [&] { return pings_ >= count; });
}

void Http2Peer::waitUntilSent(std::int32_t number) {
    waitFor("the answer was sent", [&] { return streams_[number].output.empty(); });
}

void Http2Peer::waitForClose() {
    while (readSome()) {
    }
}

void Http2Peer::answer(std::int32_t number, const std::string& body, bool isLast,
                       const std::string& status, const std::string& type) {
    Stream& stream = streams_[number];
    stream.output += body;
    stream.isLast = isLast;
    const std::string statusName = ":status";
    const std::string typeName = "content-type";
    const std::array<nghttp2_nv, 2> fields{field(statusName, status), field(typeName, type)};
    nghttp2_data_provider provider{};
    provider.read_callback = Callbacks::read;
    nghttp2_submit_response(session_, number, fields.data(), fields.size(), &provider);
    flush();
}

void Http2Peer::send(std::int32_t number, const std::string& body, bool isLast) {
    Stream& stream = streams_[number];
    stream.output += body;
    stream.isLast = isLast;
    nghttp2_session_resume_data(session_, number);
    flush();
}

void Http2Peer::inform(std::int32_t number, const std::string& status) {
    const std::string name = ":status";
    const nghttp2_nv line = field(name, status);
    nghttp2_submit_headers(session_, NGHTTP2_FLAG_NONE, number, nullptr, &line, 1, nullptr);
    flush();
}

void Http2Peer::reset(std::int32_t number, std::uint32_t code) {
    nghttp2_submit_rst_stream(session_, NGHTTP2_FLAG_NONE, number, code);
    flush();
}

void Http2Peer::goAway(std::int32_t lastNumber, std::uint32_t code) {
    nghttp2_submit_goaway(session_, NGHTTP2_FLAG_NONE, lastNumber, code, nullptr, 0);
    flush();
}

void Http2Peer::limitStreams(std::uint32_t streams) {
    const nghttp2_settings_entry entry{NGHTTP2_SETTINGS_MAX_CONCURRENT_STREAMS, streams};
    nghttp2_submit_settings(session_, NGHTTP2_FLAG_NONE, &entry, 1);
    flush();
}

}  // namespace kova::test
