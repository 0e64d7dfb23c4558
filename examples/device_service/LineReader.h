#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "kova/kit/StopSignals.h"

namespace device {

/// Reads lines from a file descriptor until the end of the input or until the process receives a
/// signal to stop.
class LineReader {
public:
    static constexpr std::size_t MAX_LINE = 4 * 1024 * 1024;

    /// `stop` must outlive the reader.
    LineReader(int descriptor, const kova::kit::StopSignals& stop)
        : descriptor_(descriptor), stop_(stop) {}

    /// Returns the next line without its terminator, "\n" or "\r\n". Returns nullopt at the end of
    /// the input or after a signal. Throws `std::length_error` if a line has more than `MAX_LINE`
    /// bytes.
    std::optional<std::string> next();

private:
    void readMore();

    const int descriptor_;
    const kova::kit::StopSignals& stop_;
    bool ended_ = false;
    std::string pending_;
};

}  // namespace device
