#pragma once

#include <cstdint>
#include <istream>
#include <map>
#include <optional>
#include <string>

#include "kova/kit/Fields.h"
#include "kova/kit/Values.h"

/// Facts about this machine, read from the text of files of procfs. Facts that a text does not
/// contain are omitted. Sizes are in bytes, times in seconds.
namespace device {

/// Numbers by name.
using Counts = std::map<std::string, std::uint64_t>;

/// The load of /proc/loadavg: the average of 15, 1 and 5 minutes, and the number of tasks.
struct Load {
    std::optional<double> minutes15, minutes1, minutes5;
    std::optional<std::uint64_t> running, tasks;
};
KOVA_FIELDS(Load, as("15min", minutes15), as("1min", minutes1), as("5min", minutes5), running,
            tasks)

/// The mount of a device in /proc/mounts, and the space of its file system.
struct Mount {
    std::uint64_t available = 0;
    std::string device;
    std::uint64_t size = 0;
    std::string type;
};
KOVA_FIELDS(Mount, available, device, size, type)

Counts readCpu(std::istream& file);                             ///< Reads /proc/stat.
Load readLoad(std::istream& file);                              ///< Reads /proc/loadavg.
Counts readMemory(std::istream& file);                          ///< Reads /proc/meminfo.
std::map<std::string, Counts> readNetwork(std::istream& file);  ///< Reads /proc/net/dev.
std::map<std::string, Mount> readStorage(std::istream& file);   ///< Reads /proc/mounts.
std::map<std::string, double> readUptime(std::istream& file);   ///< Reads /proc/uptime.

}  // namespace device
