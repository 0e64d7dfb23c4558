#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace device {

/// Reads lines from a file descriptor until its end or until the process is asked to stop (SIGINT,
/// SIGTERM), whichever comes first.
class LineReader {
public:
    static constexpr std::size_t MAX_LINE = 4 * 1024 * 1024;

    /// Catches both signals from now on. One object a process.
    explicit LineReader(int descriptor);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    /// The next line without its end; nothing at the end of the input or when asked to stop. Throws
    /// `std::length_error` for one of more than `MAX_LINE` bytes.
    std::optional<std::string> next();
    /// Whether the process was asked to stop.
    bool stopped() const { return stopped_; }
    /// Waits up to `milliseconds` for the request to stop; true when it came.
    bool waitForStop(int milliseconds);

private:
    std::string takeLine(std::size_t end);
    void readMore();

    int descriptor_;
    int signals_;
    bool stopped_ = false;
    bool ended_ = false;
    std::string pending_;
    /// How much of `pending_` is known to have no end of a line.
    std::size_t searched_ = 0;
};

}  // namespace device
