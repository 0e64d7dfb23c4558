#pragma once

#include <csignal>
#include <cstddef>
#include <optional>
#include <string>

namespace device {

/// Reads lines from a file descriptor until the end of the input or until the process receives a
/// signal to stop (SIGINT, SIGTERM).
class LineReader {
public:
    static constexpr std::size_t MAX_LINE = 4 * 1024 * 1024;

    /// Blocks both signals for this thread and those that it starts later, except while the reader
    /// waits. A process must not have more than one LineReader.
    explicit LineReader(int descriptor);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    /// Returns the next line without its terminator, or nullopt at the end of the input or after a
    /// signal. Throws `std::length_error` if a line has more than `MAX_LINE` bytes.
    std::optional<std::string> next();
    /// Returns whether the process has received a signal to stop.
    static bool stopped();
    /// Waits up to `milliseconds` for a signal to stop. Returns whether one was received.
    bool waitForStop(int milliseconds);

private:
    std::string takeLine(std::size_t end);
    void readMore();

    int descriptor_;
    sigset_t formerMask_;
    bool ended_ = false;
    std::string pending_;
    /// The number of bytes of `pending_` already searched for a line break.
    std::size_t searched_ = 0;
};

}  // namespace device
