#include "kova/kit/Stream.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>

#include "kova/kit/Client.h"
#include "support/HeldService.h"

namespace kova::kit {
namespace {

using namespace std::chrono_literals;

Response json(const std::string& text) {
    return {299, Payload::createFromJSON(text)};
}

class StreamTest : public ::testing::Test {
protected:
    test::HeldService service;
    Client client{service};
};

TEST_F(StreamTest, ReturnsValuesAndThenTheEnd) {
    Stream<int> stream(client.watch<int>("/level"));
    service[1].onNext(json("1"));
    service[1].onNext(json("2"));
    service.take(1)->onCompleted();
    EXPECT_EQ(stream.wait(1s).valueOr(0), 1);
    EXPECT_EQ(stream.wait(1s).valueOr(0), 2);
    EXPECT_EQ(stream.wait(1s).error(), (Error{204, "the stream was completed"}));
    EXPECT_EQ(stream.wait(1s).error().code, 204) << "the end stays";
}

TEST_F(StreamTest, WaitReturnsAValueOfAnotherThread) {
    Stream<int> stream(client.watch<int>("/level"));
    std::thread sending([&] { service[1].onNext(json("1")); });
    EXPECT_EQ(stream.wait(30s).valueOr(0), 1);
    sending.join();
    EXPECT_EQ(stream.wait(1ms).error(), (Error{504, "no value within 1 ms"}));
}

TEST_F(StreamTest, WaitFailsForAnUnreadableValue) {
    Stream<int> stream(client.watch<int>("/level"));
    service[1].onNext(json("\"x\""));
    service[1].onNext(json("2"));
    EXPECT_EQ(stream.wait(1s).error().code, 400);
    EXPECT_EQ(stream.wait(1s).valueOr(0), 2);
}

TEST_F(StreamTest, TooManyUnreadValuesEndTheCall) {
    Stream<int> stream(client.watch<int>("/level"), 2);
    for (int i = 1; i <= 3; ++i) {
        service[1].onNext(json(std::to_string(i)));
    }
    EXPECT_FALSE(stream.subscription().pending());
    EXPECT_EQ(stream.wait(1s).valueOr(0), 1);
    EXPECT_EQ(stream.wait(1s).valueOr(0), 2);
    EXPECT_EQ(stream.wait(1s).error(), (Error{503, "2 values of the stream wait to be read"}));
}

TEST_F(StreamTest, DestructorCancelsTheCall) {
    { const Stream<int> stream(client.watch<int>("/level")); }
    EXPECT_EQ(service.cancelled(), (std::vector<std::size_t>{1}));
}

}  // namespace
}  // namespace kova::kit
