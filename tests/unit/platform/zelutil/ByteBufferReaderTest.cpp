#include <gtest/gtest.h>

#include <array>

#include "util/ByteBufferReader.h"

namespace {

using Bytes = std::array<unsigned char, 4>;

TEST(ByteBufferReaderTest, ReadsBytesInOrder) {
    const Bytes block{1, 2, 3, 4};
    util::ByteBufferReader reader(block.data(), block.size(), false);
    Bytes out{};
    EXPECT_FALSE(reader.read(out.data(), 1));
    EXPECT_FALSE(reader.skip(1));
    EXPECT_EQ(reader.position(), 2U);
    EXPECT_EQ(reader.remaining(), 2U);
    EXPECT_FALSE(reader.read(out.data() + 1, 2));
    EXPECT_EQ(out, (Bytes{1, 3, 4, 0}));
    EXPECT_EQ(reader.remaining(), 0U);
    EXPECT_EQ(reader.size(), 4U);
}

TEST(ByteBufferReaderTest, ReadingPastTheEndFailsWithoutConsumingBytes) {
    const Bytes block{1, 2, 3, 4};
    util::ByteBufferReader reader(block.data(), block.size(), false);
    Bytes out{9, 9, 9, 9};
    ASSERT_FALSE(reader.skip(3));
    EXPECT_TRUE(reader.read(out.data(), 2));
    EXPECT_TRUE(reader.skip(2));
    EXPECT_TRUE(reader.skip(~0UL));
    EXPECT_EQ(out, (Bytes{9, 9, 9, 9}));
    EXPECT_EQ(reader.position(), 3U);
    EXPECT_FALSE(reader.read(out.data(), 1));
    EXPECT_EQ(out[0], 4);
}

TEST(ByteBufferReaderTest, RefersToTheCallersBytesWithoutTheCopyFlag) {
    const Bytes block{1, 2, 3, 4};
    EXPECT_EQ(util::ByteBufferReader(block.data(), block.size(), false).data(), block.data());
}

TEST(ByteBufferReaderTest, OwnsACopyWithTheCopyFlag) {
    Bytes block{1, 2, 3, 4};
    util::ByteBufferReader reader(block.data(), block.size(), true);
    block.fill(9);
    Bytes out{};
    EXPECT_FALSE(reader.read(out.data(), 4));
    EXPECT_EQ(out, (Bytes{1, 2, 3, 4}));
}

TEST(ByteBufferReaderTest, NullPointerIsAnEmptyBlock) {
    for (const bool copy : {false, true}) {
        util::ByteBufferReader reader(nullptr, 5, copy);
        EXPECT_EQ(reader.size(), 0U);
        unsigned char out = 9;
        EXPECT_TRUE(reader.read(&out, 1));
        EXPECT_FALSE(reader.read(nullptr, 0));
        EXPECT_FALSE(reader.skip(0));
    }
}

}  // namespace
