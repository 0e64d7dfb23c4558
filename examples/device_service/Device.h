#pragma once

#include <chrono>
#include <cstdint>
#include <istream>
#include <memory>
#include <string>
#include <vector>

#include "kova/kit/Document.h"
#include "kova/kit/Inspection.h"
#include "kova/kit/Metrics.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Polled.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "kova/kit/Worker.h"

namespace device {

/// The volume of the device.
struct Volume {
    int level = 30;
    bool muted = false;
};
KOVA_FIELDS(Volume, level, optional(muted))

/// The result of a scan: the regular files below a folder.
struct Scan {
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
};
KOVA_FIELDS(Scan, files, bytes)

/// Options of `Device`.
struct DeviceOptions {
    /// The JSON file of the stored document.
    std::string storeFile = "kova-store.json";
    /// The time between the values of a stream; at least one millisecond.
    std::chrono::milliseconds interval{1000};
    /// The versions of the interface, in the format of `kova::semver`.
    std::vector<std::string> versions = {"1.0.2", "1.2.1", "2.0.0"};
    /// The prefix of the paths of procfs: "" for the real files, or the folder with the files of a
    /// test.
    std::string root = {};
    /// Allows all users of this machine to inspect the service ("/.kova") over TCP.
    bool inspectsOverTcp = false;
};

/// The service of this machine: its facts, a clock, a stored document, a volume, scans of folders,
/// and itself. Thread-safe.
class Device {
public:
    /// Throws `kova::KovaException` if the stored document cannot be read.
    explicit Device(const DeviceOptions& options);

    kova::kit::Service& service() { return *service_; }
    /// Returns the metrics that the inspection shows.
    const kova::kit::MetricsRegistry& metrics() const { return metrics_; }

    /// The maximum number of requests that wait for a time of the clock.
    static constexpr unsigned WAITERS = 16;

private:
    template <typename T>
    void serveFact(const std::string& name, const std::string& file, T (*read)(std::istream&));

    kova::kit::InspectionOptions inspection() const;

    const DeviceOptions options_;
    const kova::kit::MetricsRegistry metrics_;
    std::vector<std::string> facts_;
    /// The values that are read while clients watch them.
    std::vector<std::shared_ptr<void>> polled_;
    kova::kit::Polled<std::chrono::system_clock::time_point> time_;
    kova::kit::Worker waiters_{{WAITERS, WAITERS}};
    kova::kit::Worker scanner_{{1, 8}};
    kova::kit::Resource about_;
    kova::kit::Resource clock_;
    kova::kit::Resource scan_;
    kova::kit::Resource system_;
    kova::kit::Document store_;
    kova::kit::Observable<Volume> volume_;
    std::unique_ptr<kova::kit::Service> service_;
};

}  // namespace device
