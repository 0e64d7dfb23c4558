#include "nats/Frames.h"

#include <gtest/gtest.h>

#include <string>

namespace kova::nats::detail {
namespace {

std::string frameOf(FrameKind kind, std::uint64_t number, std::uint32_t heartbeat = 0,
                    const std::string& rest = {}) {
    std::string bytes;
    appendFrame(bytes, kind, number, heartbeat);
    return bytes + rest;
}

std::string refusalOf(const std::string& bytes) {
    const auto frame = readFrame(bytes);
    return frame ? "" : std::to_string(frame.error().code) + " " + frame.error().message;
}

TEST(FramesTest, FramesHaveTheDocumentedBytes) {
    EXPECT_EQ(frameOf(FrameKind::answer, 0x0102030405060708),
              std::string("\x01\x02\x01\x02\x03\x04\x05\x06\x07\x08", 10));
    EXPECT_EQ(frameOf(FrameKind::request, 256, 5000),
              std::string("\x01\x01\0\0\0\0\0\0\x01\0\0\0\x13\x88", 14));
}

TEST(FramesTest, FramesAreReadAsTheyWereWritten) {
    const struct {
        FrameKind kind;
        std::uint64_t number;
        std::uint32_t heartbeat;
        char const* rest;
    } rows[] = {
        {FrameKind::request, 1, SHORTEST_HEARTBEAT, "record"},
        {FrameKind::request, MOST_CREDIT, LONGEST_HEARTBEAT, ""},
        {FrameKind::answer, 0xFFFFFFFFFFFFFFFF, 0, "records"},
        {FrameKind::alive, 0, 0, ""},
        {FrameKind::cancel, 0, 0, ""},
        {FrameKind::credit, 1, 0, ""},
        {FrameKind::credit, MOST_CREDIT, 0, ""},
        {FrameKind::search, 0, 0, ""},
        {FrameKind::here, 0, 0, "car-17"},
    };
    for (const auto& row : rows) {
        const std::string bytes = frameOf(row.kind, row.number, row.heartbeat, row.rest);
        const auto frame = readFrame(bytes).orThrow();
        ASSERT_TRUE(frame);
        EXPECT_EQ(frame->kind, row.kind);
        EXPECT_EQ(frame->number, row.number);
        EXPECT_EQ(frame->heartbeat, row.heartbeat);
        EXPECT_EQ(frame->rest, row.rest);
    }
}

TEST(FramesTest, InstanceNamesHaveOneTo256Bytes) {
    EXPECT_EQ(refusalOf(frameOf(FrameKind::here, 0, 0, std::string(256, 'x'))), "");
    for (const std::string& name : {std::string(), std::string(257, 'x'), std::string("\xFF")}) {
        EXPECT_EQ(refusalOf(frameOf(FrameKind::here, 0, 0, name)),
                  "400 an instance name that is empty, too long or no UTF-8");
    }
}

TEST(FramesTest, UnknownKindsAreSkipped) {
    for (const int kind : {0, 8, 255}) {
        EXPECT_FALSE(readFrame(frameOf(static_cast<FrameKind>(kind), 1)).orThrow()) << kind;
    }
}

TEST(FramesTest, TruncatedFramesAreRefused) {
    const std::string request = frameOf(FrameKind::request, 1, 1000);
    for (std::size_t size = 0; size < request.size(); ++size) {
        EXPECT_EQ(refusalOf(request.substr(0, size)).substr(0, 4), "400 ") << size;
    }
    EXPECT_EQ(refusalOf(request), "");
    EXPECT_EQ(refusalOf(""), "400 a message of 0 bytes, at least 10 expected");
}

TEST(FramesTest, OtherVersionsAreRefused) {
    std::string bytes = frameOf(FrameKind::alive, 0);
    bytes[0] = 2;
    EXPECT_EQ(refusalOf(bytes), "400 version 2 of a message, expected version 1");
}

TEST(FramesTest, NumbersBeyondTheirRangeAreRefused) {
    for (const FrameKind kind : {FrameKind::request, FrameKind::credit}) {
        EXPECT_EQ(refusalOf(frameOf(kind, 0, 1000)), "400 a credit of 0, not 1 to 1048576");
        EXPECT_EQ(refusalOf(frameOf(kind, MOST_CREDIT + 1, 1000)),
                  "400 a credit of 1048577, not 1 to 1048576");
    }
    EXPECT_EQ(refusalOf(frameOf(FrameKind::request, 1, SHORTEST_HEARTBEAT - 1)),
              "400 a heartbeat of 99, not 100 to 3600000");
    EXPECT_EQ(refusalOf(frameOf(FrameKind::request, 1, LONGEST_HEARTBEAT + 1)),
              "400 a heartbeat of 3600001, not 100 to 3600000");
}

TEST(FramesTest, BytesAfterAFrameWithoutRecordsAreRefused) {
    for (const FrameKind kind : {FrameKind::alive, FrameKind::cancel, FrameKind::credit}) {
        EXPECT_EQ(refusalOf(frameOf(kind, 1, 0, "x")),
                  "400 bytes follow a message without records");
    }
}

}  // namespace
}  // namespace kova::nats::detail
