// The memory that a reader of records needs.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "support/Allocations.h"
#include "wire/Records.h"

namespace kova::wire {
namespace {

constexpr std::size_t LIMIT = std::size_t{64} * 1024 * 1024;

std::string recordOf(std::size_t payloadSize) {
    std::string bytes;
    const Response value(200, Payload::createFromString(std::string(payloadSize, 'x')));
    EXPECT_TRUE(appendEvent(bytes, RecordKind::next, value, true).ok());
    return bytes;
}

/// Reads all complete records. Returns their number.
std::size_t readAll(RecordReader& reader) {
    std::size_t count = 0;
    for (auto result = reader.next(); result.ok() && *result; result = reader.next()) {
        ++count;
    }
    return count;
}

/// Returns the allocations that a reader needs to add 1000 bytes, after it has read a record.
std::size_t allocationsAfter(const std::string& record) {
    RecordReader reader(LIMIT);
    reader.add(record);
    EXPECT_EQ(readAll(reader), 1U);
    const std::string_view next = std::string_view(record).substr(0, 1000);
    const std::size_t before = test::allocations();
    reader.add(next);
    return test::allocations() - before;
}

// Each piece ends inside a record, so the reader never has an empty buffer.
TEST(RecordsMemoryTest, ManyRecordsInShiftedPiecesNeedTheMemoryOfAFew) {
    constexpr std::size_t PIECE = 4093;
    std::string bytes;
    for (int i = 0; i < 20000; ++i) {
        bytes += recordOf(10);
    }
    RecordReader reader(LIMIT);
    const std::string_view pieces = bytes;
    std::size_t count = 0;
    std::size_t before = 0;
    for (std::size_t at = 0; at < pieces.size(); at += PIECE) {
        if (at == 2 * PIECE) {
            before = test::allocations();
        }
        reader.add(pieces.substr(at, PIECE));
        count += readAll(reader);
    }
    EXPECT_EQ(test::allocations(), before);
    EXPECT_EQ(count, 20000U);
}

TEST(RecordsMemoryTest, MemoryOfALargeRecordIsNotKept) {
    EXPECT_EQ(allocationsAfter(recordOf(10000)), 0U);
    EXPECT_EQ(allocationsAfter(recordOf(1000000)), 1U);
}

TEST(RecordsMemoryTest, AnnouncedLengthReservesNoMemory) {
    RecordReader reader(LIMIT);
    const std::size_t before = test::allocations();
    reader.add(std::string_view("\x03\xff\xff\xff\x02", 5));
    const auto result = reader.next();
    EXPECT_TRUE(result.ok() && !*result);
    EXPECT_EQ(test::allocations(), before);
}

TEST(RecordsMemoryTest, RecordIsAppendedWithOneAllocation) {
    const Response value(200, Payload::createFromString(std::string(100000, 'x')));
    std::string bytes;
    const std::size_t before = test::allocations();
    EXPECT_TRUE(appendEvent(bytes, RecordKind::next, value, true).ok());
    EXPECT_EQ(test::allocations() - before, 1U);
}

}  // namespace
}  // namespace kova::wire
