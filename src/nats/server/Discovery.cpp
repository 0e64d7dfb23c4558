#include "nats/server/Discovery.h"

#include <algorithm>
#include <map>
#include <new>
#include <utility>

#include "kova/core/StatusCodes.h"
#include "kova/kit/Values.h"

namespace kova::nats::detail {

namespace {

constexpr char const* PREFIX = "$SRV.";

bool isNameCharacter(char c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_';
}

/// Returns "a_b" for the service path "/a/b".
std::string nameOf(std::string_view servicePath) {
    std::string name;
    for (const char c : servicePath) {
        if (isNameCharacter(c)) {
            name += c;
        } else if (!name.empty()) {
            name += '_';
        }
    }
    while (!name.empty() && name.back() == '_') {
        name.pop_back();
    }
    return name.empty() ? "kova" : name;
}

/// Skips a number without leading zeros. Returns false if the text begins with another character.
/// begins with another character.
bool skipNumber(std::string_view& text) noexcept {
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    const bool isNumber = digits == 1 || (digits > 1 && text[0] != '0');
    text.remove_prefix(digits);
    return isNumber;
}

bool skip(std::string_view& text, char c) noexcept {
    const bool isNext = !text.empty() && text[0] == c;
    text.remove_prefix(isNext ? 1 : 0);
    return isNext;
}

/// Returns whether a text is MAJOR.MINOR.PATCH, with an optional "-PRERELEASE" or "+BUILD" of
/// letters, digits, "-" and ".".
bool isVersion(std::string_view text) noexcept {
    if (!skipNumber(text) || !skip(text, '.') || !skipNumber(text) || !skip(text, '.') ||
        !skipNumber(text)) {
        return false;
    }
    const bool hasMore = skip(text, '-') || skip(text, '+');
    return text.empty() != hasMore && std::all_of(text.begin(), text.end(), [](char c) {
               return (isNameCharacter(c) && c != '_') || c == '.' || c == '+';
           });
}

// --- The answers, with the names of their fields -------------------------------------------------

/// What each answer begins with.
struct Identity {
    std::string type;
    std::string name;
    std::string id;
    std::string version;
    std::map<std::string, std::string> metadata;
};
KOVA_FIELDS(Identity, type, name, id, version, metadata)

struct Ping : Identity {};
KOVA_FIELDS(Ping, base(Identity))

struct EndpointInfo {
    std::string name;
    std::string subject;
    std::string queueGroup;
    std::map<std::string, std::string> metadata;
};
KOVA_FIELDS(EndpointInfo, name, subject, as("queue_group", queueGroup), metadata)

struct Info : Identity {
    std::string description;
    std::vector<EndpointInfo> endpoints;
};
KOVA_FIELDS(Info, base(Identity), description, endpoints)

struct EndpointStats {
    std::string name;
    std::string subject;
    std::string queueGroup;
    std::uint64_t requests = 0;
    std::uint64_t errors = 0;
    std::string lastError;
    std::int64_t processingTime = 0;
    std::int64_t averageProcessingTime = 0;
};
KOVA_FIELDS(EndpointStats, name, subject, as("queue_group", queueGroup),
            as("num_requests", requests), as("num_errors", errors), as("last_error", lastError),
            as("processing_time", processingTime),
            as("average_processing_time", averageProcessingTime))

struct Stats : Identity {
    std::chrono::system_clock::time_point started;
    std::vector<EndpointStats> endpoints;
};
KOVA_FIELDS(Stats, base(Identity), started, endpoints)

constexpr std::array<char const*, Discovery::ENDPOINTS> NAMES{"any", "instance"};

}  // namespace

kit::Result<Discovery> Discovery::make(const ServerOptions& options, std::string id,
                                       std::array<std::string, ENDPOINTS> subjects,
                                       Clock::time_point started) {
    if (!std::all_of(options.name.begin(), options.name.end(), isNameCharacter)) {
        return kit::Error{statuscodes::BAD_REQUEST,
                          "the name '" + options.name +
                              "' has other characters than letters, digits, '-' and '_'"};
    }
    if (!isVersion(options.version)) {
        return kit::Error{statuscodes::BAD_REQUEST,
                          "the version '" + options.version + "' is not a semantic version"};
    }
    Discovery made;
    made.name_ = options.name.empty() ? nameOf(options.servicePath) : options.name;
    made.id_ = std::move(id);
    made.version_ = options.version;
    made.description_ = options.description;
    made.servicePath_ = options.servicePath;
    made.instance_ = options.instance;
    made.subjects_ = std::move(subjects);
    made.started_ = started;
    return made;
}

std::vector<std::string> Discovery::subjects() const {
    const std::string any = std::string(PREFIX) + "*";
    return {any, any + "." + name_, any + "." + name_ + "." + id_};
}

std::optional<std::string> Discovery::answer(std::string_view subject) const {
    const std::string_view rest = subject.substr(std::min(subject.find('.') + 1, subject.size()));
    const std::string_view verb = rest.substr(0, rest.find('.'));
    if (verb == "PING") {
        return textOf(Ping(), "io.nats.micro.v1.ping_response");
    }
    if (verb == "INFO") {
        return info();
    }
    if (verb == "STATS") {
        return stats();
    }
    return std::nullopt;
}

void Discovery::countAnswer(Endpoint endpoint, std::chrono::nanoseconds time) noexcept {
    ++counts_.at(endpoint).answers;
    counts_.at(endpoint).time += time;
}

void Discovery::countError(Endpoint endpoint, const kit::Error& error) noexcept {
    ++counts_.at(endpoint).errors;
    try {
        counts_.at(endpoint).lastError = error.toString();
    } catch (const std::bad_alloc&) {
        counts_.at(endpoint).lastError = "out of memory";  // needs no memory of its own
    }
}

template <typename Answer>
std::string Discovery::textOf(Answer answer, char const* type) const {
    answer.type = type;
    answer.name = name_;
    answer.id = id_;
    answer.version = version_;
    answer.metadata["service_path"] = servicePath_;
    if (!instance_.empty()) {
        answer.metadata["instance"] = instance_;
    }
    const Payload payload = kit::toPayload(answer).orThrow();
    return {payload.data(), payload.data() + payload.size()};
}

std::string Discovery::info() const {
    Info info;
    info.description = description_;
    for (std::size_t i = 0; i < ENDPOINTS; ++i) {
        if (!subjects_[i].empty()) {
            info.endpoints.push_back({NAMES[i], subjects_[i], GROUP, {}});
        }
    }
    return textOf(std::move(info), "io.nats.micro.v1.info_response");
}

std::string Discovery::stats() const {
    Stats stats;
    stats.started = started_;
    for (std::size_t i = 0; i < ENDPOINTS; ++i) {
        if (subjects_[i].empty()) {
            continue;
        }
        const Counts& counts = counts_[i];
        const auto average = counts.answers == 0
                                 ? 0
                                 : counts.time.count() / static_cast<std::int64_t>(counts.answers);
        stats.endpoints.push_back({NAMES[i], subjects_[i], GROUP, counts.requests, counts.errors,
                                   counts.lastError, counts.time.count(), average});
    }
    return textOf(std::move(stats), "io.nats.micro.v1.stats_response");
}

}  // namespace kova::nats::detail
