#include "LineReader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace device {
namespace {

using kova::kit::StopSignals;

class Pipe {
public:
    Pipe() {
        if (pipe(ends_) != 0) {
            throw std::runtime_error("cannot make a pipe");
        }
    }
    ~Pipe() {
        closeInput();
        ::close(ends_[0]);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int output() const { return ends_[0]; }
    int input() const { return ends_[1]; }
    void write(const std::string& text) const {
        for (std::size_t done = 0; done < text.size();) {
            const ssize_t count = ::write(ends_[1], text.data() + done, text.size() - done);
            if (count <= 0) {
                throw std::runtime_error("cannot write to a pipe");
            }
            done += static_cast<std::size_t>(count);
        }
    }
    void closeInput() {
        if (ends_[1] >= 0) {
            ::close(ends_[1]);
            ends_[1] = -1;
        }
    }

private:
    int ends_[2];
};

struct TextRow {
    std::string text;
    std::vector<std::string> lines;
};

const TextRow TEXTS[] = {
    {"", {}},
    {"\n", {""}},
    {"one", {"one"}},
    {"one\n", {"one"}},
    {"one\ntwo", {"one", "two"}},
    {"one\n\n\ntwo\n", {"one", "", "", "two"}},
    {"one\r\ntwo\r", {"one", "two"}},
    {"\r\n\r", {"", ""}},
    {"a\rb\r\r\n", {"a\rb\r"}},
    {std::string("\0a\0\n\0", 5), {std::string("\0a\0", 3), std::string(1, '\0')}},
    {std::string(4095, 'a') + "\nb\n", {std::string(4095, 'a'), "b"}},
    {std::string(4096, 'a') + "\nb\n", {std::string(4096, 'a'), "b"}},
    {std::string(10000, 'a') + "\n" + std::string(10000, 'b'),
     {std::string(10000, 'a'), std::string(10000, 'b')}},
};

std::vector<std::string> allLines(LineReader& reader) {
    std::vector<std::string> lines;
    while (auto line = reader.next()) {
        lines.push_back(std::move(*line));
    }
    return lines;
}

TEST(LineReaderTest, ReadsTheLinesOfAPipe) {
    for (const TextRow& row : TEXTS) {
        Pipe pipe;
        const StopSignals stop;
        LineReader reader(pipe.output(), stop);
        pipe.write(row.text);
        pipe.closeInput();
        EXPECT_EQ(allLines(reader), row.lines) << row.text.substr(0, 100);
        EXPECT_FALSE(reader.next()) << "the end stays";
        EXPECT_FALSE(stop.received());
    }
}

TEST(LineReaderTest, ReturnsEachLineAsSoonAsItIsComplete) {
    Pipe pipe;
    const StopSignals stop;
    LineReader reader(pipe.output(), stop);
    pipe.write("one\ntw");
    EXPECT_EQ(reader.next(), "one");
    std::thread writer([&] {
        pipe.write("o");
        pipe.write("\nthree\n");
    });
    EXPECT_EQ(reader.next(), "two");
    EXPECT_EQ(reader.next(), "three");
    writer.join();
}

TEST(LineReaderTest, AcceptsLinesUpToTheMaximumLength) {
    Pipe pipe;
    const StopSignals stop;
    LineReader reader(pipe.output(), stop);
    const std::string longest(LineReader::MAX_LINE, 'x');
    std::thread writer([&] {
        pipe.write(longest + "\n" + longest);
        pipe.write(std::string(4096, 'x'));
    });
    EXPECT_EQ(reader.next(), longest);
    EXPECT_THROW(reader.next(), std::length_error);
    writer.join();
}

TEST(LineReaderTest, UnreadableFileHasNoLines) {
    const StopSignals stop;
    const int folder = open("/", O_RDONLY);
    EXPECT_FALSE(LineReader(folder, stop).next());
    close(folder);
    constexpr int CLOSED = 1000;  // higher than any open file descriptor
    EXPECT_FALSE(LineReader(CLOSED, stop).next());
}

TEST(LineReaderTest, SignalStopsTheReader) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Pipe pipe;
        const StopSignals stop;
        LineReader reader(pipe.output(), stop);
        pipe.write("one\ntwo\n");
        EXPECT_EQ(reader.next(), "one");
        raise(signal);
        raise(signal);
        EXPECT_FALSE(reader.next()) << "not even a line that was already written";
        EXPECT_TRUE(stop.received());
    }
}

// Exit statuses of a child process that reads lines.
enum Outcome { STOPPED = 10, ENDED = 11 };

TEST(LineReaderTest, SignalsStopAWaitingProcess) {
    for (const int signal : {SIGINT, SIGTERM}) {
        for (int round = 0; round < 20; ++round) {
            Pipe lines;
            Pipe ready;
            const pid_t child = fork();
            if (child == 0) {
                const StopSignals stop;
                LineReader reader(lines.output(), stop);
                ready.write("!");
                while (reader.next()) {
                }
                _exit(stop.received() ? STOPPED : ENDED);
            }
            ASSERT_GT(child, 0);
            char byte = 0;
            ASSERT_EQ(read(ready.output(), &byte, 1), 1);
            if (round % 2 == 0) {
                lines.write("a line\nand the beginning of another");
            }
            kill(child, signal);
            int status = 0;
            waitpid(child, &status, 0);
            EXPECT_TRUE(WIFEXITED(status));
            EXPECT_EQ(WEXITSTATUS(status), STOPPED);
        }
    }
}

}  // namespace
}  // namespace device
