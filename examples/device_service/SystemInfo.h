#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "util/config/Dictionary.h"

namespace device {

/// Facts about this machine, read from procfs at each call. Any thread may ask.
class SystemInfo {
public:
    /// Reads the files below `root`: "" for the machine itself, a folder of copies for a test.
    explicit SystemInfo(std::string root = "") : root_(std::move(root)) {}

    /// What can be asked for, in ascending order.
    static std::vector<std::string> names();
    static bool has(const std::string& name);
    /// The facts under the name; null when their file cannot be read. One that its file does not
    /// tell is left out. Sizes are in bytes, times in seconds.
    std::unique_ptr<util::config::Dictionary> read(const std::string& name) const;

private:
    std::string root_;
};

}  // namespace device
