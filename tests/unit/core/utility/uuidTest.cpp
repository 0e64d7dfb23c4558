#include "kova/core/uuid.h"

#include <gtest/gtest.h>
#include <sys/types.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <ostream>
#include <string>

namespace {

// The results of the replaced system call, one for each call: a number of bytes or a negated errno.
// If the list is empty, each call returns the requested number of bytes.
std::deque<long> script;
unsigned char nextByte = 0;
unsigned int flagsSeen = 0;

class RandomUuid : public testing::Test {
protected:
    void TearDown() override { script.clear(); }
};

}  // namespace

// Replaces the function of the C library for the libraries under test.
extern "C" __attribute__((visibility("default"))) ssize_t getrandom(void* buffer, size_t length,
                                                                    unsigned int flags) {
    flagsSeen = flags;
    long answer = static_cast<long>(length);
    if (!script.empty()) {
        answer = script.front();
        script.pop_front();
    }
    if (answer < 0) {
        errno = static_cast<int>(-answer);
        return -1;
    }
    std::memset(buffer, nextByte, static_cast<size_t>(answer));
    return answer;
}

namespace {

TEST_F(RandomUuid, ContainsTheRandomBytesVersionAndVariant) {
    zel::UUID uuid;
    nextByte = 0x00;
    ASSERT_FALSE(kova::uuid::createRandom(uuid));
    EXPECT_EQ(uuid.toString(), "00000000-0000-4000-8000-000000000000");
    nextByte = 0xFF;
    ASSERT_FALSE(kova::uuid::createRandom(uuid));
    EXPECT_EQ(uuid.toString(), "ffffffff-ffff-4fff-bfff-ffffffffffff");
}

TEST_F(RandomUuid, CreationWaitsForTheRandomSource) {
    zel::UUID uuid;
    flagsSeen = 1;
    ASSERT_FALSE(kova::uuid::createRandom(uuid));
    EXPECT_EQ(flagsSeen, 0U);
}

TEST_F(RandomUuid, CreationFailsWithoutTheRandomSource) {
    zel::UUID uuid;
    script = {-ENOSYS};
    EXPECT_TRUE(kova::uuid::createRandom(uuid));
    EXPECT_TRUE(uuid.isNil());
}

TEST_F(RandomUuid, CreationFailsWhenTheRandomSourceFailsHalfway) {
    const zel::UUID before(zel::UUID::Bytes{1, 2, 3});
    zel::UUID uuid = before;
    // The first result is for the call that tests whether a source exists.
    script = {1, 15, -EFAULT};
    EXPECT_TRUE(kova::uuid::createRandom(uuid));
    EXPECT_EQ(uuid, before);
    EXPECT_TRUE(script.empty());
}

struct Row {
    std::string name;
    char const* uuid;

    friend std::ostream& operator<<(std::ostream& out, const Row& row) {
        return out << '"' << row.name << '"';
    }
};

class NamedUuid : public testing::TestWithParam<Row> {};

TEST_P(NamedUuid, ContainsTheDigestOfTheName) {
    zel::UUID uuid;
    EXPECT_FALSE(kova::uuid::createFromName(GetParam().name, uuid));
    EXPECT_EQ(uuid.toString(), GetParam().uuid);
    EXPECT_EQ(uuid.version(), 5);
}

// The first 32 hexadecimal digits of sha1sum(1) for the name, with version and variant set.
const Row ROWS[] = {{"", "da39a3ee-5e6b-5b0d-b255-bfef95601890"},
                    {"a", "86f7e437-faa5-57fc-a15d-1ddcb9eaeaea"},
                    {"abc", "a9993e36-4706-516a-ba3e-25717850c26c"},
                    {"/media/player2", "3b959f6e-ab49-5ca7-a521-9cff2dd6b8d5"},
                    {std::string("a\0b", 3), "4a3dec2d-1f82-5528-8855-c42db0ee4239"},
                    {"k\xc3\xa4se", "7d412e23-8c18-5fa1-a542-96d9a2ef2915"},
                    {std::string(1000, 'x'), "c3efa690-fa3f-5d2e-a526-853eed670538"}};

INSTANTIATE_TEST_SUITE_P(Uuid, NamedUuid, testing::ValuesIn(ROWS));

TEST(UuidOfAName, IsTheSameForTheSameName) {
    zel::UUID first;
    zel::UUID second;
    kova::uuid::createFromName("service", first);
    kova::uuid::createFromName("service", second);
    EXPECT_EQ(first, second);
    kova::uuid::createFromName("Service", second);
    EXPECT_NE(first, second);
}

}  // namespace
