#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "util/config/Dictionary.h"

namespace device {

/// Facts about this machine, read from procfs at each call. Thread-safe.
class SystemInfo {
public:
    /// Reads the files below `root`: "" for the real files, a folder with copies for a test.
    explicit SystemInfo(std::string root = "") : root_(std::move(root)) {}

    /// Returns the names that `read` accepts, in ascending order.
    static std::vector<std::string> names();
    static bool has(const std::string& name);
    /// Returns the facts with the name, or null if their file cannot be read. Facts that the file
    /// does not contain are omitted. Sizes are in bytes, times in seconds.
    std::unique_ptr<util::config::Dictionary> read(const std::string& name) const;

private:
    std::string root_;
};

}  // namespace device
