#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "StoreDocument.h"
#include "kova/core/dovglobals/DateTime.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "kova/kit/Worker.h"

namespace device {

/// How loud the device is.
struct Volume {
    int level = 30;
    bool muted = false;
};
KOVA_FIELDS(Volume, level, optional(muted))

/// What a scan has found below a folder.
struct Scan {
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
};
KOVA_FIELDS(Scan, files, bytes)

/// Options of `Device`.
struct DeviceOptions {
    /// The time between the values of a stream; at least one millisecond.
    std::chrono::milliseconds interval{1000};
    /// The versions of the interface, in the format of `kova::semver`.
    std::vector<std::string> versions = {"1.0.2", "1.2.1", "2.0.0"};
    /// The folder with the files of procfs: "" for the real ones, another one for a test.
    std::string root = {};
};

/// Converts a point in time from 1970 on to a date and time in UTC.
kova::dovglobals::DateTime toDateTime(std::chrono::system_clock::time_point time);

/// The service of this machine: its facts, a clock, a stored document, a volume, scans of folders,
/// and itself. Thread-safe.
class Device {
public:
    Device(StoreDocument document, const DeviceOptions& options);

    kova::kit::Service& service() { return *service_; }

    /// The number of requests that can wait for a time of the clock.
    static constexpr unsigned WAITERS = 16;

private:
    void serveAbout(const std::vector<std::string>& versions);
    void serveStore();
    void serveVolume();
    void serveScan();

    std::mutex mutex_;  ///< Guards the document.
    StoreDocument document_;
    kova::kit::Worker waiters_{{WAITERS, WAITERS}};
    kova::kit::Worker scanner_{{1, 8}};
    kova::kit::Resource about_;
    kova::kit::Resource store_;
    kova::kit::Resource scan_;
    kova::kit::Observable<Volume> volume_;
    std::unique_ptr<kova::kit::Service> service_;
};

}  // namespace device
