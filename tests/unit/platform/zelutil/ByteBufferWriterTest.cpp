#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "support/FailingAllocations.h"
#include "util/ByteBufferWriter.h"

namespace {

using kova::test::FailingAllocations;

std::string content(const util::ByteBufferWriter& writer) {
    return {reinterpret_cast<char const*>(writer.data()), writer.size()};
}

TEST(ByteBufferWriterTest, NewWriterIsEmpty) {
    const util::ByteBufferWriter writer(0);
    EXPECT_EQ(writer.size(), 0U);
    EXPECT_FALSE(writer.retrieve(nullptr, 0));
}

TEST(ByteBufferWriterTest, GrowsPastTheInitialCapacity) {
    for (const unsigned long capacity : {0UL, 1UL, 100UL, 10000UL}) {
        util::ByteBufferWriter writer(capacity);
        std::string expected;
        for (int i = 0; i < 1000; ++i) {
            const std::string piece(static_cast<std::size_t>(i % 7),
                                    static_cast<char>('a' + i % 26));
            ASSERT_FALSE(writer.append(piece.data(), piece.size()));
            ASSERT_FALSE(writer.appendByte('.'));
            expected += piece + '.';
        }
        EXPECT_EQ(content(writer), expected) << capacity;
    }
}

TEST(ByteBufferWriterTest, RetrieveReturnsTheFirstBytesAtEveryCall) {
    util::ByteBufferWriter writer(4);
    ASSERT_FALSE(writer.append("abcdef", 6));
    for (int i = 0; i < 2; ++i) {
        std::string out(4, '-');
        EXPECT_FALSE(writer.retrieve(reinterpret_cast<unsigned char*>(out.data()), 3));
        EXPECT_EQ(out, "abc-");
    }
}

TEST(ByteBufferWriterTest, RetrievingMoreThanTheSizeFailsWithoutCopying) {
    util::ByteBufferWriter writer(4);
    ASSERT_FALSE(writer.append("abc", 3));
    std::string out(4, '-');
    EXPECT_TRUE(writer.retrieve(reinterpret_cast<unsigned char*>(out.data()), 4));
    EXPECT_EQ(out, "----");
}

TEST(ByteBufferWriterTest, TruncateRemovesTheLastBytes) {
    util::ByteBufferWriter writer(4);
    ASSERT_FALSE(writer.append("abcdef", 6));
    writer.truncate(7);
    EXPECT_EQ(content(writer), "abcdef");
    writer.truncate(2);
    ASSERT_FALSE(writer.appendByte('x'));
    EXPECT_EQ(content(writer), "abx");
    writer.truncate(0);
    EXPECT_EQ(writer.size(), 0U);
}

TEST(ByteBufferWriterTest, ExtendIncreasesTheSizeImmediately) {
    util::ByteBufferWriter writer(0);
    EXPECT_NE(writer.extend(0), nullptr);
    EXPECT_EQ(writer.size(), 0U);
    unsigned char* target = writer.extend(3);
    ASSERT_NE(target, nullptr);
    std::memcpy(target, "xyz", 3);
    EXPECT_EQ(content(writer), "xyz");
}

TEST(ByteBufferWriterTest, ReservedBytesCountOnlyAfterTheyAreCommitted) {
    util::ByteBufferWriter writer(0);
    EXPECT_EQ(writer.capacityLeft(), 0U);
    writer.commit(writer.end());
    EXPECT_EQ(writer.size(), 0U);
    std::string expected;
    for (int i = 0; i < 1000; ++i) {
        ASSERT_FALSE(writer.reserve(10));
        ASSERT_GE(writer.capacityLeft(), 10U);
        unsigned char* const end = writer.end();
        end[0] = static_cast<unsigned char>('a' + i % 26);
        end[1] = '!';
        ASSERT_EQ(writer.size(), expected.size());
        writer.commit(end + 1 + i % 2);
        expected += std::string(1, static_cast<char>('a' + i % 26)) + (i % 2 == 1 ? "!" : "");
    }
    EXPECT_EQ(content(writer), expected);
}

TEST(ByteBufferWriterTest, ReservingAvailableCapacityDoesNotAllocate) {
    util::ByteBufferWriter writer(100);
    ASSERT_FALSE(writer.reserve(1));
    const FailingAllocations failing(0);
    EXPECT_FALSE(writer.reserve(writer.capacityLeft()));
    EXPECT_TRUE(writer.reserve(writer.capacityLeft() + 1));
    EXPECT_GE(writer.capacityLeft(), 100U);
}

TEST(ByteBufferWriterTest, AppendingZeroBytesFromNullSucceeds) {
    util::ByteBufferWriter writer(0);
    EXPECT_FALSE(writer.append(nullptr, 0));
    EXPECT_EQ(writer.size(), 0U);
}

TEST(ByteBufferWriterTest, ExtendingBeyondTheAddressSpaceKeepsTheContent) {
    util::ByteBufferWriter writer(8);
    ASSERT_FALSE(writer.append("abc", 3));
    EXPECT_EQ(writer.extend(SIZE_MAX), nullptr);
    EXPECT_EQ(writer.extend(PTRDIFF_MAX), nullptr);
    EXPECT_EQ(content(writer), "abc");
}

TEST(ByteBufferWriterTest, AppendFailsWithoutMemoryAndKeepsTheContent) {
    util::ByteBufferWriter writer(3);
    ASSERT_FALSE(writer.append("abc", 3));
    const std::string more(1000, 'x');
    bool failed = false;
    {
        const FailingAllocations failing(0);
        failed = writer.append(more.data(), more.size());
    }
    EXPECT_TRUE(failed);
    EXPECT_EQ(content(writer), "abc");
    EXPECT_FALSE(writer.append("d", 1));
    EXPECT_EQ(content(writer), "abcd");
}

}  // namespace
