#include <gtest/gtest.h>
#include <sys/random.h>
#include <sys/types.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <deque>

#include "osal/SecureRandom.h"

namespace {

// Results of the next calls of getrandom(2): each is a number of bytes, or a negated errno. When
// the list is empty, all requested bytes are returned.
std::deque<long> script;
unsigned int flagsSeen = 0;

class SecureRandomTest : public testing::Test {
protected:
    void TearDown() override { script.clear(); }
    std::array<unsigned char, 16> bytes{};
};

}  // namespace

// Replaces the C library's function for the library under test.
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
    std::memset(buffer, 0x5A, static_cast<size_t>(answer));
    return answer;
}

namespace {

TEST_F(SecureRandomTest, FillsTheWholeBuffer) {
    const osal::SecureRandom random(false);
    ASSERT_TRUE(random.isValid());
    EXPECT_FALSE(random.read(bytes.data(), bytes.size()));
    EXPECT_EQ(bytes.front(), 0x5A);
    EXPECT_EQ(bytes.back(), 0x5A);
}

TEST_F(SecureRandomTest, ConstructorWaitsForThePoolUnlessNonBlocking) {
    const osal::SecureRandom blocking(false);
    EXPECT_EQ(flagsSeen, 0U);
    const osal::SecureRandom nonBlocking(true);
    EXPECT_EQ(flagsSeen, static_cast<unsigned int>(GRND_NONBLOCK));
}

TEST_F(SecureRandomTest, ReadContinuesAfterInterruptionsAndShortReads) {
    const osal::SecureRandom random(false);
    script = {-EINTR, 5, -EINTR, -EINTR, 11};
    EXPECT_FALSE(random.read(bytes.data(), bytes.size()));
    EXPECT_EQ(bytes.back(), 0x5A);
    EXPECT_TRUE(script.empty());
}

TEST_F(SecureRandomTest, NonBlockingSourceNeedsASeededPool) {
    script = {-EAGAIN};
    const osal::SecureRandom random(true);
    EXPECT_FALSE(random.isValid());
    EXPECT_TRUE(random.read(bytes.data(), bytes.size()));
}

TEST_F(SecureRandomTest, IsInvalidIfTheKernelHasNoSource) {
    script = {-ENOSYS};
    EXPECT_FALSE(osal::SecureRandom(false).isValid());
}

TEST_F(SecureRandomTest, ReadFailsOnAnError) {
    const osal::SecureRandom random(false);
    script = {4, -EFAULT};
    EXPECT_TRUE(random.read(bytes.data(), bytes.size()));
}

TEST_F(SecureRandomTest, ReadFailsIfTheKernelReturnsNoBytes) {
    const osal::SecureRandom random(false);
    script = {0};
    EXPECT_TRUE(random.read(bytes.data(), bytes.size()));
}

TEST_F(SecureRandomTest, ReadingZeroBytesSucceeds) {
    const osal::SecureRandom random(false);
    EXPECT_FALSE(random.read(nullptr, 0));
}

}  // namespace
