#include "kova/http/Connect.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

#include "kova/kit/Calls.h"
#include "kova/testing/Recording.h"
#include "support/Http2Peer.h"
#include "support/Watchdog.h"
#include "wire/Records.h"

namespace kova::http {
namespace {

using namespace std::chrono_literals;
using Events = testing::Recording::Events;

TEST(ConnectTest, MalformedAddressIsRefused) {
    const auto service = connect("http://localhost");
    ASSERT_FALSE(service);
    EXPECT_EQ(service.error().toString(),
              "400 Bad Request: address 'http://localhost': it begins with 'unix:' or 'tcp:'");
}

TEST(ConnectTest, ServicePathWithoutASlashIsRefused) {
    ConnectOptions options;
    options.servicePath = "device";
    const auto service = connect("unix:/nowhere", options);
    ASSERT_FALSE(service);
    EXPECT_EQ(service.error().toString(),
              "400 Bad Request: service path 'device': it does not begin with '/'");
}

TEST(ConnectTest, ServiceWithoutAServerIsReturnedAndItsRequestsAreLost) {
    const test::Watchdog watchdog{"a request is lost"};
    ConnectOptions options;
    options.patience = -1ms;
    const auto service = connect("unix:/nowhere", options);
    ASSERT_TRUE(service);
    const testing::Recording recording;
    (*service)->actionRequest(Request("retrieve", "/"), recording.handler());
    EXPECT_EQ(recording.waitFor(1), (Events{"error 503 lost: no connection to unix:/nowhere: No "
                                            "such file or directory"}));
}

TEST(ConnectTest, LostRequestsAreLostForCallersOfTheKit) {
    const test::Watchdog watchdog{"a request is lost"};
    ConnectOptions options;
    options.patience = 0ms;
    const auto service = connect("unix:/nowhere", options);
    ASSERT_TRUE(service);
    kit::Calls calls(**service);
    const testing::Recording recording;
    const kit::Subscription call = calls.start(Request("retrieve", "/"), recording.receiver());
    EXPECT_EQ(recording.waitFor(1).front().substr(0, 43),
              "lost: 503 Service Unavailable: lost: no con");
}

struct Path {
    std::string servicePath;
    std::string expected;
};

class ServicePath : public ::testing::TestWithParam<Path> {};

TEST_P(ServicePath, IsPercentEncoded) {
    const test::Watchdog watchdog{"a request is sent"};
    test::UnixListener listener;
    listener.listen();
    ConnectOptions options;
    options.servicePath = GetParam().servicePath;
    options.patience = 1min;
    const auto service = connect(listener.address(), options);
    ASSERT_TRUE(service);
    const testing::Recording recording;
    (*service)->actionRequest(Request("retrieve", "/"), recording.handler());
    test::Http2Peer peer(listener.accept());
    EXPECT_EQ(peer.waitForRequest().fields.at(":path"), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Connect, ServicePath,
                         ::testing::Values(Path{"", "/"}, Path{"/device", "/device"},
                                           Path{"/a/b-c.d_e~f", "/a/b-c.d_e~f"},
                                           Path{"/a b%?#\xE4", "/a%20b%25%3F%23%E4"}));

struct Size {
    std::size_t queuedBytes;
    std::size_t recordBytes;
    std::string event;
};

class Sizes : public ::testing::TestWithParam<Size> {};

// The record of the value has 35 bytes after its length.
TEST_P(Sizes, LimitTheAnswer) {
    const test::Watchdog watchdog{"a value arrives"};
    test::UnixListener listener;
    listener.listen();
    ConnectOptions options;
    options.queuedBytes = GetParam().queuedBytes;
    options.recordBytes = GetParam().recordBytes;
    options.patience = 1min;
    const auto service = connect(listener.address(), options);
    ASSERT_TRUE(service);
    const testing::Recording recording;
    (*service)->actionRequest(Request("retrieve", "/"), recording.handler());
    test::Http2Peer peer(listener.accept());
    std::string record;
    const unsigned char byte = 'x';
    ASSERT_TRUE(wire::appendEvent(record, wire::RecordKind::next,
                                  Response(200, Payload::createFromRaw(&byte, 1, "plain/text")),
                                  true));
    ASSERT_EQ(record.size(), 4U + 35U);
    const std::int32_t number = peer.waitForRequest().number;
    peer.answer(number, record, false);
    if (GetParam().recordBytes >= 35) {
        peer.waitUntilSent(number);
    }
    EXPECT_EQ(recording.waitFor(1), (Events{GetParam().event}));
}

INSTANTIATE_TEST_SUITE_P(
    Connect, Sizes,
    ::testing::Values(Size{1, 35, "value 200 x"}, Size{0, 35, "value 200 x"},
                      Size{std::size_t{1} << 40U, 35, "value 200 x"},
                      Size{1024, 34,
                           "error 502 malformed answer: record of 35 bytes, not 1 to 34"}));

}  // namespace
}  // namespace kova::http
