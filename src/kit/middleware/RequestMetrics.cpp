#include "middleware/RequestMetrics.h"

#include <algorithm>
#include <functional>

#include "kova/core/Commands.h"
#include "middleware/MetricsText.h"

namespace kova::kit::detail {

namespace {

constexpr char const* COMMAND_LABELS[RequestMetrics::COMMANDS] = {"retrieve", "update", "delete",
                                                                  "insert", "other"};
static_assert(commands::RETRIEVE_ID == 0 && commands::UPDATE_ID == 1 && commands::DELETE_ID == 2 &&
              commands::INSERT_ID == 3);
constexpr std::size_t OTHER_COMMAND = 4;

constexpr char const* CODE_LABELS[RequestMetrics::CODES] = {"1xx", "2xx",   "3xx",      "4xx",
                                                            "5xx", "other", "cancelled"};
constexpr std::size_t OTHER_CODE = 5;
constexpr std::size_t CANCELLED = 6;

constexpr char const* BOUND_LABELS[RequestMetrics::BOUNDS.size() + 1] = {
    "0.0001", "0.00025", "0.0005", "0.001", "0.0025", "0.005", "0.01", "0.025", "0.05",
    "0.1",    "0.25",    "0.5",    "1",     "2.5",    "5",     "10",   "+Inf"};

constexpr double NANOSECONDS = 1e9;

constexpr std::memory_order RELAXED = std::memory_order_relaxed;

std::size_t indexOf(unsigned short code) noexcept {
    if (code == 0) {
        return CANCELLED;
    }
    return code >= 100 && code < 600 ? code / 100U - 1 : OTHER_CODE;
}

std::string labelsOf(const RequestMetrics::Mount& mount, std::size_t command) {
    std::string labels;
    appendLabel(labels, "mount", mount.path);
    labels += ',';
    appendLabel(labels, "command", COMMAND_LABELS[command]);
    return labels;
}

std::string with(std::string labels, char const* name, char const* value) {
    labels += ',';
    appendLabel(labels, name, value);
    return labels;
}

void appendCounts(std::string& out, const RequestMetrics::Mount& mount) {
    for (std::size_t command = 0; command < RequestMetrics::COMMANDS; ++command) {
        const RequestMetrics::Cells& cells = mount.commands[command];
        for (std::size_t code = 0; code < RequestMetrics::CODES; ++code) {
            const std::uint64_t count = cells.codes[code].load(RELAXED);
            if (count != 0) {
                appendSample(out, "kova_requests_total",
                             with(labelsOf(mount, command), "code", CODE_LABELS[code]), count);
            }
        }
    }
}

void appendDurations(std::string& out, const RequestMetrics::Mount& mount) {
    for (std::size_t command = 0; command < RequestMetrics::COMMANDS; ++command) {
        const RequestMetrics::Cells& cells = mount.commands[command];
        std::string lines;
        std::uint64_t count = 0;
        for (std::size_t i = 0; i < cells.durations.size(); ++i) {
            count += cells.durations[i].load(RELAXED);
            appendSample(lines, "kova_request_duration_seconds_bucket",
                         with(labelsOf(mount, command), "le", BOUND_LABELS[i]), count);
        }
        if (count != 0) {
            const double seconds =
                static_cast<double>(cells.nanoseconds.load(RELAXED)) / NANOSECONDS;
            out += lines;
            appendSample(out, "kova_request_duration_seconds_sum", labelsOf(mount, command),
                         seconds);
            appendSample(out, "kova_request_duration_seconds_count", labelsOf(mount, command),
                         count);
        }
    }
}

}  // namespace

std::size_t RequestMetrics::commandOf(const std::string& command) noexcept {
    const std::size_t id = commands::toId(command);
    return id < OTHER_COMMAND ? id : OTHER_COMMAND;
}

void RequestMetrics::count(Cells& cells, unsigned short code,
                           std::chrono::nanoseconds duration) noexcept {
    const auto time = static_cast<std::uint64_t>(std::max(duration.count(), std::int64_t{0}));
    std::size_t bucket = 0;
    while (bucket < BOUNDS.size() && time > BOUNDS[bucket]) {
        ++bucket;
    }
    cells.codes[indexOf(code)].fetch_add(1, RELAXED);
    cells.durations[bucket].fetch_add(1, RELAXED);
    cells.nanoseconds.fetch_add(time, RELAXED);
}

RequestMetrics::Mount* RequestMetrics::look(std::string_view path) noexcept {
    std::size_t slot = std::hash<std::string_view>()(path) % SLOTS;
    for (;; slot = (slot + 1) % SLOTS) {
        Mount* const mount = slots_[slot].load(std::memory_order_acquire);
        if (mount == nullptr || mount->path == path) {
            return mount;
        }
    }
}

RequestMetrics::Mount& RequestMetrics::add(std::string_view path) {
    if (isFull_.load(RELAXED)) {
        Mount* const known = look(path);
        return known != nullptr ? *known : other_;
    }
    const std::lock_guard<std::mutex> guard(mutex_);
    if (Mount* const known = look(path)) {
        return *known;
    }
    if (mounts_.size() == MAX_MOUNTS) {
        isFull_.store(true, RELAXED);
        return other_;
    }
    Mount& mount = *mounts_.emplace_back(std::make_unique<Mount>(path));
    if (path.size() > longest_.load(RELAXED)) {
        longest_.store(path.size(), RELAXED);
    }
    std::size_t slot = std::hash<std::string_view>()(path) % SLOTS;
    while (slots_[slot].load(RELAXED) != nullptr) {
        slot = (slot + 1) % SLOTS;
    }
    slots_[slot].store(&mount, std::memory_order_release);
    return mount;
}

// Skips prefixes that are longer than the longest mount, so the time does not grow with the length
// of the path.
RequestMetrics::Mount* RequestMetrics::find(std::string_view path) noexcept {
    const std::size_t longest = longest_.load(RELAXED);
    std::string_view prefix = path;
    if (path.size() > longest) {
        const std::size_t cut = path.rfind('/', longest);
        prefix = path.substr(0, cut == std::string_view::npos ? 0 : cut);
    }
    while (!prefix.empty()) {
        if (Mount* const mount = look(prefix)) {
            return mount;
        }
        const std::size_t cut = prefix.rfind('/');
        prefix = prefix.substr(0, cut == std::string_view::npos ? 0 : cut);
    }
    return look("/");
}

std::vector<const RequestMetrics::Mount*> RequestMetrics::mounts() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    std::vector<const Mount*> all;
    for (const auto& mount : mounts_) {
        all.push_back(mount.get());
    }
    std::sort(all.begin(), all.end(),
              [](const Mount* a, const Mount* b) { return a->path < b->path; });
    all.push_back(&other_);
    return all;
}

// A request that begins after `begun_` was read may end before its count is read. `ended` can
// therefore exceed `begun`.
std::uint64_t RequestMetrics::pending() const {
    const std::uint64_t begun = begun_.load(RELAXED);
    std::uint64_t ended = 0;
    for (const Mount* mount : mounts()) {
        for (const Cells& cells : mount->commands) {
            for (const Number& code : cells.codes) {
                ended += code.load(RELAXED);
            }
        }
    }
    return begun > ended ? begun - ended : 0;
}

void RequestMetrics::append(std::string& out) const {
    const std::vector<const Mount*> all = mounts();
    appendMetricHead(out, "kova_requests_total", "Requests that have ended.", "counter");
    for (const Mount* mount : all) {
        appendCounts(out, *mount);
    }
    appendMetricHead(out, "kova_request_duration_seconds",
                     "Time until a request ended, or until the first value of a stream.",
                     "histogram");
    for (const Mount* mount : all) {
        appendDurations(out, *mount);
    }
    appendMetricHead(out, "kova_requests_pending", "Requests that have not ended.", "gauge");
    appendSample(out, "kova_requests_pending", "", pending());
}

}  // namespace kova::kit::detail
