#include "Device.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "Facts.h"
#include "kova/core/RequestInfo.h"
#include "kova/core/headers.h"

namespace device {

namespace kit = kova::kit;
namespace command = kova::kit::command;
namespace statuscodes = kova::statuscodes;
using std::chrono::system_clock;
using Names = std::vector<std::string>;

namespace {

/// The data of a request that "/about/request" returns. The token is secret, so `token` only states
/// whether the request has one.
struct Seen {
    std::string client;
    std::string service;
    std::string token;
};
KOVA_FIELDS(Seen, client, service, token)

kova::Response describe(const kit::Ask& ask) {
    const kova::RequestInfo info(ask.request());
    const bool anonymous = !ask.header<std::string>(kova::headers::AUTH_TOKEN);
    const Seen seen{info.getClientId(), info.getServicePath(), anonymous ? "none" : "given"};
    kova::Response response(statuscodes::OK, kit::toPayload(seen, ask.accept()).orThrow());
    kova::headers::appendRequestInfo(info, response);
    return response;
}

kit::Result<void> checkVolume(const Volume& wanted) {
    if (wanted.level < 0 || wanted.level > 100) {
        return kit::Error{statuscodes::BAD_REQUEST, "level: expected a number from 0 to 100"};
    }
    return {};
}

// Counts the files below a folder. Reports its progress after every hundredth file.
kit::Result<Scan> scan(const kit::Job& job, const std::string& folder) {
    namespace fs = std::filesystem;
    std::error_code error;
    Scan found;
    fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied,
                                           error);
    if (error) {
        return kit::Error{statuscodes::NOT_FOUND,
                          "cannot scan '" + folder + "': " + error.message()};
    }
    for (; entry != fs::end(entry) && !job.cancelled(); entry.increment(error)) {
        std::error_code gone;  // another process may have deleted the file
        const bool counts = entry->symlink_status(gone).type() == fs::file_type::regular;
        const std::uintmax_t size = counts ? entry->file_size(gone) : 0;
        if (counts && !gone) {
            found.bytes += size;
            if (++found.files % 100 == 0) {
                job.progress(found);
            }
        }
    }
    return found;
}

}  // namespace

Device::Device(const DeviceOptions& options)
    : options_(options),
      time_([] { return system_clock::now(); }, options.interval),
      store_(options.storeFile) {
    store_.load().orThrow();
    volume_.onWrite(checkVolume);
    about_.on(command::retrieve, "", [](const kit::Ask&) { return Names{"request", "versions"}; });
    about_.on(command::retrieve, "request", describe);
    about_.on(command::retrieve, "versions", [this](const kit::Ask&) { return options_.versions; });
    clock_.mount("", time_);
    clock_.on(command::retrieve, "in", waiters_,
              [](const kit::Job& job, std::chrono::seconds delay) {
                  job.sleep(delay);
                  return system_clock::now();
              });
    scan_.on(command::retrieve, "", scanner_, scan);
    serveFact("cpu", "/proc/stat", readCpu);
    serveFact("load", "/proc/loadavg", readLoad);
    serveFact("memory", "/proc/meminfo", readMemory);
    serveFact("network", "/proc/net/dev", readNetwork);
    serveFact("storage", "/proc/mounts", readStorage);
    serveFact("uptime", "/proc/uptime", readUptime);
    system_.on(command::retrieve, "", [this](const kit::Ask&) { return facts_; });
    kit::ServiceBuilder builder;
    builder.name("device").version(options.versions.back());
    builder.mount("/about", about_).mount("/clock", clock_).mount("/scan", scan_);
    builder.mount("/store", store_).mount("/system", system_).mount("/volume", volume_);
    builder.inspect(inspection());
    service_ = builder.build();
}

kit::InspectionOptions Device::inspection() const {
    kit::InspectionOptions inspection;
    inspection.metrics = [metrics = metrics_] { return metrics.text(); };
    inspection.isAllowed = [overTcp = options_.inspectsOverTcp](const kit::Peer& peer) {
        const bool isOwn = peer.uid == static_cast<long>(::geteuid()) || peer.uid == 0;
        return isOwn || (overTcp && peer.address.rfind("127.0.0.1:", 0) == 0);
    };
    return inspection;
}

// Serves a value that a file contains.
template <typename T>
void Device::serveFact(const std::string& name, const std::string& file, T (*read)(std::istream&)) {
    const auto readFile = [file = options_.root + file, read]() -> kit::Result<T> {
        std::ifstream stream(file);
        if (!stream) {
            return kit::Error{statuscodes::SERVICE_UNAVAILABLE, "cannot read " + file};
        }
        return read(stream);
    };
    const auto fact = std::make_shared<kit::Polled<T>>(readFile, options_.interval);
    system_.mount(name, *fact);
    polled_.push_back(fact);
    facts_.push_back(name);
}

}  // namespace device
