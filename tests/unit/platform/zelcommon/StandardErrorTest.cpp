#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <deque>
#include <string>

#include "zel/ErrorOutput.h"

namespace {

// Results of the next calls of write(2) on standard error: each is the maximum number of bytes to
// write, or a negated errno. When the list is empty, all bytes are written.
std::deque<long> script;
bool scripted = false;
std::string written;

ssize_t answer(void const* buffer, size_t length) {
    long count = static_cast<long>(length);
    if (!script.empty()) {
        count = std::min(count, script.front());
        script.pop_front();
    }
    if (count < 0) {
        errno = static_cast<int>(-count);
        return -1;
    }
    written.append(static_cast<char const*>(buffer), static_cast<size_t>(count));
    return count;
}

}  // namespace

// Replaces the C library's function for the library under test.
extern "C" __attribute__((visibility("default"))) ssize_t write(int file, void const* buffer,
                                                                size_t length) {
    return scripted && file == STDERR_FILENO ? answer(buffer, length)
                                             : syscall(SYS_write, file, buffer, length);
}

namespace {

constexpr zel::ErrorID TABLE[] = {{0, "no device", 0}};
constexpr zel::ErrorType TYPE("Test", TABLE);
constexpr char LINE[] = "src/Somewhere:1: Test 0: no device\n";

// Reports an error and returns the bytes that the default sink writes. Expects as many calls of
// write(2) as there are results.
std::string lineWith(std::deque<long> answers) {
    script = std::move(answers);
    written.clear();
    scripted = true;
    zel::ErrorOutput("src/Somewhere", 1, false)(TYPE, 0);
    scripted = false;
    EXPECT_TRUE(script.empty());
    return written;
}

TEST(StandardErrorTest, LineIsWrittenWithOneCall) {
    EXPECT_EQ(lineWith({1000}), LINE);
}

TEST(StandardErrorTest, WritingContinuesAfterInterruptionsAndShortWrites) {
    EXPECT_EQ(lineWith({-EINTR, 5, -EINTR, -EINTR, 1, 1000}), LINE);
}

TEST(StandardErrorTest, WritingStopsOnAnErrorOrAnEmptyWrite) {
    EXPECT_EQ(lineWith({-EBADF}), "");
    EXPECT_EQ(lineWith({3, -EAGAIN}), "src");
    EXPECT_EQ(lineWith({0}), "");
}

TEST(StandardErrorTest, FailedWritePreservesErrno) {
    errno = 0;
    EXPECT_EQ(lineWith({-EBADF}), "");
    EXPECT_EQ(errno, 0);
}

}  // namespace
