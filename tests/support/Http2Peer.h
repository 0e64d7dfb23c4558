#pragma once

#include <nghttp2/nghttp2.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace kova::test {

/// A listening Unix socket in a folder of its own, which the destructor removes.
class UnixListener {
public:
    UnixListener();
    ~UnixListener();
    UnixListener(const UnixListener&) = delete;
    UnixListener& operator=(const UnixListener&) = delete;

    /// Returns the address in the text form of `kova::http::Address`.
    std::string address() const { return "unix:" + path_; }
    /// Begins to listen, with a queue of `backlog` + 1 connections.
    void listen(int backlog = 64);
    /// Waits for a connection, and returns its socket, which the caller owns.
    int accept();
    /// Returns whether a connection waits to be accepted.
    bool hasConnection() const;
    /// Stops listening. Connections that were not accepted are reset.
    void close();

private:
    std::string folder_;
    std::string path_;
    int socket_ = -1;
};

/// The server side of an HTTP/2 connection that a test controls. A function whose name begins with
/// "wait" reads from the socket until an event has happened. It throws `std::runtime_error` if no
/// bytes arrive for 30 s, or if the connection ends before the event. The other functions do not
/// read. One thread at a time.
class Http2Peer {
public:
    struct Request {
        std::int32_t number = 0;
        std::map<std::string, std::string> fields;
        std::string body;
    };

    /// Takes ownership of a connected socket. `streams` is the limit of concurrent streams.
    explicit Http2Peer(int socket, std::uint32_t streams = 100);
    ~Http2Peer();
    Http2Peer(const Http2Peer&) = delete;
    Http2Peer& operator=(const Http2Peer&) = delete;

    /// Waits for the next complete request.
    Request waitForRequest();
    /// Waits until the header of the next request has arrived; its body may follow.
    Request waitForHeader();
    /// Waits until the client has reset the stream. Returns the error code.
    std::uint32_t waitForReset(std::int32_t number);
    /// Waits until the client has acknowledged the limit of concurrent streams.
    void waitForSettings();
    /// Waits until the client has sent `count` PINGs, which are answered.
    void waitForPings(int count);
    /// Waits until all bytes of the answer on the stream are sent.
    void waitUntilSent(std::int32_t number);
    /// Waits until the client has closed the connection.
    void waitForClose();

    /// Sends the header of an answer, and the first bytes of its body.
    void answer(std::int32_t number, const std::string& body, bool isLast = true,
                const std::string& status = "200",
                const std::string& type = "application/vnd.kova.events");
    /// Sends further bytes of an answer.
    void send(std::int32_t number, const std::string& body, bool isLast);
    /// Sends an informational header ("103").
    void inform(std::int32_t number, const std::string& status);
    void reset(std::int32_t number, std::uint32_t code);
    /// Sends GOAWAY. The connection stays open until its last stream is closed.
    void goAway(std::int32_t lastNumber, std::uint32_t code = NGHTTP2_NO_ERROR);
    void limitStreams(std::uint32_t streams);
    /// Sends bytes that are not part of the protocol.
    void sendRaw(const std::string& bytes);
    void close();

    /// Returns the number of unsent bytes of an answer, for which the client's flow-control windows
    /// are too small.
    std::size_t unsent(std::int32_t number) { return streams_[number].output.size(); }
    /// Returns the number of PINGs that have been read.
    int pings() const noexcept { return pings_; }
    /// Returns whether a further request has arrived already.
    bool hasRequest() const { return !requests_.empty(); }

private:
    struct Stream {
        Request request;
        std::string output;
        bool isLast = false;
        std::optional<std::uint32_t> reset;
    };
    struct Callbacks;

    bool readSome();
    void waitFor(char const* what, const std::function<bool()>& isTrue);
    void flush();

    int socket_;
    nghttp2_session* session_ = nullptr;
    std::map<std::int32_t, Stream> streams_;
    std::deque<std::int32_t> headers_;
    std::deque<std::int32_t> requests_;
    int pings_ = 0;
    bool isLimitKnown_ = false;  ///< the client has acknowledged the settings
    bool isClosed_ = false;
};

}  // namespace kova::test
