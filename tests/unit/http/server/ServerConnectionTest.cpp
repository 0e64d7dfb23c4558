#include "server/ServerConnection.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Served.h"
#include "kova/http/Endpoint.h"
#include "support/HeldService.h"
#include "support/Watchdog.h"

// The errors of RFC 9113, sections 4 to 6 and 8. The client of the tests writes raw bytes.
namespace kova::http::detail {
namespace {

using test::eventsOf;
using test::Http2Client;
using test::recordOf;
using test::SocketClient;

enum Type : std::uint8_t {
    DATA,
    HEADERS,
    PRIORITY,
    RST_STREAM,
    SETTINGS,
    PUSH_PROMISE,
    PING,
    GOAWAY,
    WINDOW_UPDATE,
    CONTINUATION
};
constexpr std::uint8_t END_STREAM = 1;
constexpr std::uint8_t ACK = 1;
constexpr std::uint8_t END_HEADERS = 4;
constexpr std::uint8_t PADDED = 8;

std::string bytes(std::uint32_t number, int count = 4) {
    return SocketClient::bytesOf(number, count);
}

std::string frame(Type type, std::uint8_t flags, std::uint32_t stream,
                  const std::string& payload = {}) {
    return bytes(static_cast<std::uint32_t>(payload.size()), 3) + static_cast<char>(type) +
           static_cast<char>(flags) + bytes(stream) + payload;
}

/// A field in HPACK, without the table (RFC 7541, section 6.2.2).
std::string field(const std::string& name, const std::string& value) {
    return std::string(1, '\0') + static_cast<char>(name.size()) + name +
           static_cast<char>(value.size()) + value;
}

const std::string PREFACE = "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n" + frame(SETTINGS, 0, 0);
const std::string METHOD = field(":method", "POST");
const std::string REST = field(":scheme", "http") + field(":authority", "a");
const std::string TYPE = field("content-type", "application/vnd.kova.events");
const std::string HEAD = METHOD + REST + field(":path", "/") + TYPE;
/// A request whose body follows, and one that is whole and pending.
const std::string OPEN = frame(HEADERS, END_HEADERS, 1, HEAD);
std::string pendingRequest() {
    return OPEN + frame(DATA, END_STREAM, 1, recordOf(Request("retrieve", "/state")));
}
std::string setting(std::uint32_t id, std::uint32_t value) {
    return bytes(id, 2) + bytes(value);
}
std::string request(const std::string& head) {
    return frame(HEADERS, END_HEADERS | END_STREAM, 1, head);
}

struct Row {
    char const* name;
    Type answer;  ///< GOAWAY for a connection error, RST_STREAM for a stream error
    std::uint32_t code;
    std::string bytes;
};

class ProtocolError : public ::testing::TestWithParam<Row> {
protected:
    /// Returns the code of the first frame of the type; nothing if the connection ends before.
    static std::optional<std::uint32_t> codeOf(SocketClient& client, Type type) {
        std::string received;
        for (;;) {
            const std::string more = client.receive();
            if (more.empty()) {
                return std::nullopt;
            }
            received += more;
            while (received.size() >= 9 && received.size() >= 9 + number(received, 0, 3)) {
                const std::size_t size = number(received, 0, 3);
                if (static_cast<std::uint8_t>(received[3]) == type) {
                    return number(received, type == GOAWAY ? 13 : 9, 4);
                }
                received.erase(0, 9 + size);
            }
        }
    }
    static std::uint32_t number(const std::string& text, std::size_t at, std::size_t count) {
        std::uint32_t value = 0;
        for (std::size_t i = at; i < at + count; ++i) {
            value = value << 8U | static_cast<std::uint8_t>(text[i]);
        }
        return value;
    }

    kova::test::Watchdog watchdog{"an endpoint gets malformed frames"};
    test::SocketDirectory directory;
    kova::test::HeldService service;
};

TEST_P(ProtocolError, HasItsCodeAndOtherConnectionsGoOn) {
    const Endpoint endpoint(service, directory.address());
    Http2Client other(directory.address());
    const std::int32_t id = other.send(recordOf(Request("retrieve", "/state")));
    service.waitForRequests(1);
    SocketClient client(directory.address());
    client.send(PREFACE + GetParam().bytes);
    EXPECT_EQ(codeOf(client, GetParam().answer), GetParam().code);
    service.answer(1);
    EXPECT_EQ(eventsOf(other.wait(id).body), (std::vector<std::string>{"next 200", "completed"}));
    if (GetParam().answer == GOAWAY) {
        EXPECT_TRUE(client.isClosedByPeer());
    } else {
        client.send(frame(PING, 0, 0, "12345678"));
        EXPECT_NE(client.receive().find("12345678"), std::string::npos);
    }
}

constexpr std::uint32_t PROTOCOL = NGHTTP2_PROTOCOL_ERROR;
constexpr std::uint32_t FLOW = NGHTTP2_FLOW_CONTROL_ERROR;
constexpr std::uint32_t CLOSED = NGHTTP2_STREAM_CLOSED;
constexpr std::uint32_t SIZE = NGHTTP2_FRAME_SIZE_ERROR;
constexpr std::uint32_t COMPRESSION = NGHTTP2_COMPRESSION_ERROR;

const Row ROWS[] = {
    // Section 4
    {"FrameTooLong", GOAWAY, SIZE, OPEN + bytes(16385, 3) + bytes(0, 1) + bytes(0, 1) + bytes(1)},
    {"BrokenCompression", GOAWAY, COMPRESSION, request("\xff\xff\xff\xff\xff\xff\xff")},
    {"FieldOfAnEmptyTable", GOAWAY, COMPRESSION, request("\xfe")},
    {"FrameInsideAFieldBlock", GOAWAY, PROTOCOL,
     frame(HEADERS, 0, 1, HEAD) + frame(PING, 0, 0, "12345678")},
    {"ContinuationOfAnotherStream", GOAWAY, PROTOCOL,
     frame(HEADERS, 0, 1, METHOD) + frame(CONTINUATION, END_HEADERS, 3, REST)},
    // Section 5
    {"DataOfAnIdleStream", GOAWAY, PROTOCOL, frame(DATA, 0, 1, "x")},
    {"ResetOfAnIdleStream", GOAWAY, PROTOCOL, frame(RST_STREAM, 0, 1, bytes(8))},
    {"WindowOfAnIdleStream", GOAWAY, PROTOCOL, frame(WINDOW_UPDATE, 0, 1, bytes(1))},
    {"EvenStream", GOAWAY, PROTOCOL, frame(HEADERS, END_HEADERS, 2, HEAD)},
    {"DataAfterTheEnd", GOAWAY, CLOSED, pendingRequest() + frame(DATA, 0, 1, "x")},
    {"HeadersAfterTheEnd", GOAWAY, CLOSED,
     pendingRequest() + frame(HEADERS, END_HEADERS | END_STREAM, 1, TYPE)},
    // Section 6
    {"DataOfTheConnection", GOAWAY, PROTOCOL, frame(DATA, 0, 0, "x")},
    {"DataPaddingTooLong", GOAWAY, PROTOCOL, OPEN + frame(DATA, PADDED, 1, "\x05xx")},
    {"HeadersOfTheConnection", GOAWAY, PROTOCOL, frame(HEADERS, END_HEADERS, 0, HEAD)},
    {"HeadersPaddingTooLong", GOAWAY, PROTOCOL,
     frame(HEADERS, END_HEADERS | PADDED, 1, "\xff" + HEAD.substr(0, 100))},
    {"PriorityOfTheConnection", GOAWAY, PROTOCOL, frame(PRIORITY, 0, 0, std::string(5, '\0'))},
    {"ShortPriority", GOAWAY, SIZE, frame(PRIORITY, 0, 1, std::string(4, '\0'))},
    {"ResetOfTheConnection", GOAWAY, PROTOCOL, frame(RST_STREAM, 0, 0, bytes(8))},
    {"ShortReset", GOAWAY, SIZE, OPEN + frame(RST_STREAM, 0, 1, bytes(8, 3))},
    {"SettingsOfAStream", GOAWAY, PROTOCOL, frame(SETTINGS, 0, 1)},
    {"SettingsAckWithContent", GOAWAY, SIZE, frame(SETTINGS, ACK, 0, setting(3, 1))},
    {"ShortSettings", GOAWAY, SIZE, frame(SETTINGS, 0, 0, bytes(0, 3))},
    {"PushSetting", GOAWAY, PROTOCOL, frame(SETTINGS, 0, 0, setting(2, 2))},
    {"WindowSetting", GOAWAY, FLOW, frame(SETTINGS, 0, 0, setting(4, 0x80000000U))},
    {"SmallFrameSizeSetting", GOAWAY, PROTOCOL, frame(SETTINGS, 0, 0, setting(5, 16383))},
    {"LargeFrameSizeSetting", GOAWAY, PROTOCOL, frame(SETTINGS, 0, 0, setting(5, 16777216))},
    {"PushPromiseOfAClient", GOAWAY, PROTOCOL,
     OPEN + frame(PUSH_PROMISE, END_HEADERS, 1, bytes(2) + HEAD)},
    {"PingOfAStream", GOAWAY, PROTOCOL, frame(PING, 0, 1, "12345678")},
    {"ShortPing", GOAWAY, SIZE, frame(PING, 0, 0, "1234567")},
    {"GoAwayOfAStream", GOAWAY, PROTOCOL, frame(GOAWAY, 0, 1, bytes(0) + bytes(0))},
    {"ShortWindowUpdate", GOAWAY, SIZE, frame(WINDOW_UPDATE, 0, 0, bytes(1, 3))},
    {"WindowOfTheConnectionByZero", GOAWAY, PROTOCOL, frame(WINDOW_UPDATE, 0, 0, bytes(0))},
    {"WindowOfTheConnectionTooLarge", GOAWAY, FLOW, frame(WINDOW_UPDATE, 0, 0, bytes(0x7fffffffU))},
    {"WindowOfAStreamTooLarge", RST_STREAM, FLOW,
     pendingRequest() + frame(WINDOW_UPDATE, 0, 1, bytes(0x7fffffffU))},
    {"ContinuationWithoutHeaders", GOAWAY, PROTOCOL, frame(CONTINUATION, END_HEADERS, 1, HEAD)},
    // Section 8: malformed requests are stream errors
    {"UpperCaseField", RST_STREAM, PROTOCOL, request(HEAD + field("A", "b"))},
    {"NoPath", RST_STREAM, PROTOCOL, request(METHOD + REST + TYPE)},
    {"TwoPaths", RST_STREAM, PROTOCOL, request(METHOD + REST + field(":path", "/") + HEAD)},
    {"PseudoFieldAfterOthers", RST_STREAM, PROTOCOL,
     request(METHOD + REST + TYPE + field(":path", "/"))},
    {"UnknownPseudoField", RST_STREAM, PROTOCOL, request(METHOD + field(":x", "y") + REST)},
    {"FieldOfAConnection", RST_STREAM, PROTOCOL, request(HEAD + field("connection", "close"))},
    {"ContentLengthTooLong", RST_STREAM, PROTOCOL,
     frame(HEADERS, END_HEADERS, 1, HEAD + field("content-length", "2")) +
         frame(DATA, END_STREAM, 1, "x")},
    {"TrailersThatDoNotEnd", RST_STREAM, PROTOCOL,
     OPEN + frame(HEADERS, END_HEADERS, 1, field("a", "b"))},
};

INSTANTIATE_TEST_SUITE_P(ServerConnectionTest, ProtocolError, ::testing::ValuesIn(ROWS),
                         [](const auto& row) { return row.param.name; });

class ServerConnectionTest : public ProtocolError {};

TEST_F(ServerConnectionTest, AsManyResetsAsAllowedKeepTheConnectionAndMoreEndIt) {
    const Endpoint endpoint(service, directory.address());
    SocketClient client(directory.address());
    client.send(PREFACE);
    std::string burst;
    for (std::uint32_t i = 0; i < 4096; ++i) {
        burst += frame(HEADERS, END_HEADERS, 2 * i + 1, HEAD) +
                 frame(RST_STREAM, 0, 2 * i + 1, bytes(8));
    }
    client.send(burst + frame(PING, 0, 0, "12345678"));
    std::string received;
    while (received.find("12345678") == std::string::npos) {
        received += client.receive();
    }
    // The endpoint allows some more for each second that the burst has taken.
    std::uint32_t stream = 2 * 4096 + 1;
    std::string more;
    for (int i = 0; i < 20'000; ++i, stream += 2) {
        more += frame(HEADERS, END_HEADERS, stream, HEAD) + frame(RST_STREAM, 0, stream, bytes(8));
    }
    client.send(more);
    EXPECT_EQ(codeOf(client, GOAWAY), NGHTTP2_ENHANCE_YOUR_CALM);
}

TEST_F(ServerConnectionTest, PingsOfAClientThatDoesNotReadEndTheConnection) {
    const Endpoint endpoint(service, directory.address());
    SocketClient client(directory.address());
    client.send(PREFACE);
    const std::string ping = frame(PING, 0, 0, "12345678");
    std::string pings;
    for (int i = 0; i < 1000; ++i) {
        pings += ping;
    }
    int sent = 0;
    while (client.send(pings)) {
        ++sent;
        ASSERT_LT(sent, 10'000);
    }
    while (endpoint.connections() != 0) {
        std::this_thread::yield();
    }
}

TEST_F(ServerConnectionTest, FramesOfUnknownTypesAreIgnored) {
    const Endpoint endpoint(service, directory.address());
    SocketClient client(directory.address());
    client.send(PREFACE + frame(static_cast<Type>(99), 7, 1, "unknown") +
                frame(PING, 0, 0, "12345678"));
    std::string received;
    while (received.find("12345678") == std::string::npos) {
        received += client.receive();
    }
    EXPECT_EQ(endpoint.connections(), 1U);
}

}  // namespace
}  // namespace kova::http::detail
