#include "Device.h"

#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <utility>

#include "Facts.h"
#include "Live.h"
#include "kova/core/Path.h"
#include "kova/core/RequestInfo.h"
#include "kova/core/headers.h"

namespace device {

namespace kit = kova::kit;
namespace command = kova::kit::command;
namespace statuscodes = kova::statuscodes;
using kova::dovglobals::DateTime;
using std::chrono::milliseconds;

namespace {

/// What the service receives with a request. The token is secret and not included.
struct Seen {
    std::string client;
    std::string service;
    std::string token;
};
KOVA_FIELDS(Seen, client, service, token)

// Adds a fact that a file contains, as a value of its own.
template <typename T>
void addFact(Live& system, const std::string& name, const std::string& file,
             T (*read)(std::istream&)) {
    system.add<T>(name, [file, read]() -> kit::Result<T> {
        std::ifstream stream(file);
        if (!stream) {
            return kit::Error{statuscodes::SERVICE_UNAVAILABLE, "cannot read " + file};
        }
        return read(stream);
    });
}

std::unique_ptr<Live> makeSystem(const DeviceOptions& options) {
    auto system = std::make_unique<Live>();
    addFact(*system, "cpu", options.root + "/proc/stat", readCpu);
    addFact(*system, "load", options.root + "/proc/loadavg", readLoad);
    addFact(*system, "memory", options.root + "/proc/meminfo", readMemory);
    addFact(*system, "network", options.root + "/proc/net/dev", readNetwork);
    addFact(*system, "storage", options.root + "/proc/mounts", readStorage);
    addFact(*system, "uptime", options.root + "/proc/uptime", readUptime);
    system->once.on(command::retrieve, "", [](const kit::Ask&) {
        return std::vector<std::string>{"cpu", "load", "memory", "network", "storage", "uptime"};
    });
    system->start(options.interval);
    return system;
}

DateTime now() {
    return toDateTime(std::chrono::system_clock::now());
}

std::unique_ptr<Live> makeClock(milliseconds interval, const kit::Worker& waiters) {
    auto clock = std::make_unique<Live>();
    clock->add<DateTime>("", [] { return now(); });
    clock->once.on(command::retrieve, "in", waiters,
                   [](const kit::Job& job, std::chrono::seconds delay) {
                       job.sleep(delay);
                       return now();
                   });
    clock->start(interval);
    return clock;
}

kit::Result<kova::Response> answerOf(StoreDocument::Result result, const kit::Ask& ask) {
    const std::string path = "'" + ask.request().getPath() + "'";
    switch (result) {
        case StoreDocument::Result::Done:
            return kova::Response(statuscodes::NO_CONTENT);
        case StoreDocument::Result::Created:
            return kova::Response(statuscodes::CREATED);
        case StoreDocument::Result::NotFound:
            return kit::notFound(ask);
        case StoreDocument::Result::Exists:
            return kit::Error{statuscodes::CONFLICT, "there is something at " + path + " already"};
        case StoreDocument::Result::Conflict:
            return kit::Error{statuscodes::CONFLICT, path + " cannot hold that"};
        case StoreDocument::Result::NotSaved:
            break;
    }
    return kit::Error{statuscodes::INTERNAL_SERVER_ERROR, "the store could not be written"};
}

// Counts the files below a folder. Tells its progress after every hundredth file.
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
        std::error_code gone;  // another process may have deleted it
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

DateTime toDateTime(std::chrono::system_clock::time_point time) {
    const auto whole = std::chrono::floor<std::chrono::seconds>(time);
    const std::time_t seconds = std::chrono::system_clock::to_time_t(whole);
    const auto rest = std::chrono::floor<milliseconds>(time - whole).count();
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    const auto narrow = [](int number) { return static_cast<unsigned char>(number); };
    return {{static_cast<unsigned short>(parts.tm_year + 1900), narrow(parts.tm_mon + 1),
             narrow(parts.tm_mday)},
            {narrow(parts.tm_hour), narrow(parts.tm_min), narrow(parts.tm_sec),
             static_cast<unsigned short>(rest), std::nullopt}};
}

Device::Device(StoreDocument document, const DeviceOptions& options)
    : document_(std::move(document)) {
    serveAbout(options.versions);
    serveStore();
    volume_.onWrite([](const Volume& wanted) -> kit::Result<void> {
        if (wanted.level < 0 || wanted.level > 100) {
            return kit::Error{statuscodes::BAD_REQUEST, "level: expected a number from 0 to 100"};
        }
        return {};
    });
    scan_.on(command::retrieve, "", scanner_, scan);
    service_ = kit::ServiceBuilder()
                   .name("device")
                   .version(options.versions.back())
                   .mount("/about", about_)
                   .mount("/clock", makeClock(options.interval, waiters_))
                   .mount("/scan", scan_)
                   .mount("/store", store_)
                   .mount("/system", makeSystem(options))
                   .mount("/volume", volume_)
                   .build();
}

void Device::serveAbout(const std::vector<std::string>& versions) {
    about_.on(command::retrieve, "", [](const kit::Ask&) {
        return std::vector<std::string>{"request", "versions"};
    });
    about_.on(command::retrieve, "versions", [versions](const kit::Ask&) { return versions; });
    about_.on(command::retrieve, "request", [](const kit::Ask& ask) {
        const kova::RequestInfo info(ask.request());
        const bool anonymous = !ask.header<std::string>(kova::headers::AUTH_TOKEN);
        const Seen seen{info.getClientId(), info.getServicePath(), anonymous ? "none" : "given"};
        kova::Response response(statuscodes::OK, kit::toPayload(seen, ask.accept()).orThrow());
        kova::headers::appendRequestInfo(info, response);
        return response;
    });
}

// Every path leads to a place in the document.
void Device::serveStore() {
    const auto on = [this](std::string_view word, auto function) {
        const auto locked = [this, function](const kit::Ask& ask) {
            const std::lock_guard<std::mutex> guard(mutex_);
            return function(ask, kova::Path::split(std::string(ask.path())));
        };
        store_.on(word, "", locked);
        store_.on(word, "{path:rest}",
                  [locked](const kit::Ask& ask, std::string_view) { return locked(ask); });
    };
    using Path = StoreDocument::Path;
    const auto put = [this](
                         StoreDocument::Result (StoreDocument::*change)(const Path&, kit::Tree)) {
        return
            [this, change](const kit::Ask& ask, const Path& path) -> kit::Result<kova::Response> {
                auto value = kit::fromPayload<kit::Tree>(ask.request().getPayload());
                if (!value) {
                    return value.error();
                }
                return answerOf((document_.*change)(path, *std::move(value)), ask);
            };
    };
    on(command::retrieve, [this](const kit::Ask& ask, const Path& path) -> kit::Result<kit::Tree> {
        util::config::Value const* const value = document_.find(path);
        return value != nullptr ? kit::Result<kit::Tree>(kit::Tree(value->clone()))
                                : kit::notFound(ask);
    });
    on(command::update, put(&StoreDocument::update));
    on(command::insert, put(&StoreDocument::insert));
    on(command::remove, [this](const kit::Ask& ask, const Path& path) {
        return answerOf(document_.remove(path), ask);
    });
}

}  // namespace device
