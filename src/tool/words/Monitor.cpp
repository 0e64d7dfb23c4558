// The word monitor: the requests that pass a service, and their answers.
#include <CLI/CLI.hpp>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "Inspector.h"
#include "JsonLine.h"
#include "MonitorStream.h"
#include "RecordingFile.h"
#include "Report.h"
#include "StoredPayload.h"
#include "Text.h"
#include "Words.h"
#include "kova/core/PathPatterns.h"
#include "kova/kit/MonitorViews.h"

namespace kova::tool {

namespace {

using std::chrono::milliseconds;

/// The parsed command line.
struct MonitorOptions {
    std::string to;
    std::string path;
    std::string command;
    std::string status;
    milliseconds slower{0};
    unsigned long count = 0;
    milliseconds timeout{0};
    bool payloads = false;
    std::uint64_t limit = 4096;
};

/// A request that has ended, as a line shows it.
struct Shown {
    kit::MonitoredRequest request;
    Payload asked;
    Payload answered;
    // Whether the service has left out bytes of the payloads.
    bool isCut = false;
};

/// Selects the requests that are shown.
class Filter {
public:
    Filter(const MonitorOptions& options, std::optional<PathPatterns> path)
        : options_(options), path_(std::move(path)) {}
    bool accepts(const kit::MonitoredRequest& request) const {
        return (!path_ || path_->match(request.path)) &&
               (options_.command.empty() || commandOf(options_.command) == request.command) &&
               (options_.status.empty() || hasStatus(request)) &&
               request.duration >= std::chrono::microseconds(options_.slower).count();
    }

private:
    // Returns the command for "get" and "put", and every other text unchanged.
    static std::string commandOf(const std::string& word) {
        return word == "get" ? "retrieve" : word == "put" ? "update" : word;
    }
    // A status is a code, a class of codes such as "4xx", or an end such as "cancelled".
    bool hasStatus(const kit::MonitoredRequest& request) const {
        const std::string code = std::to_string(request.code);
        const std::string& wanted = options_.status;
        const bool isClass = wanted.size() == 3 && wanted.compare(1, 2, "xx") == 0;
        if (request.end == "cancelled") {
            return wanted == request.end;
        }
        return wanted == request.end || wanted == code ||
               (isClass && code.size() == 3 && code[0] == wanted[0]);
    }

    const MonitorOptions& options_;
    const std::optional<PathPatterns> path_;
};

/// Prints the requests of the stream.
class Monitor {
public:
    Monitor(const Context& context, const MonitorOptions& options,
            const std::optional<PathPatterns>& path)
        : context_(context), options_(options), filter_(options, path) {}

    int run();

private:
    kit::Result<void> onRequests(const Payload& batch);
    kit::Result<void> onEvents(const Payload& batch);
    void onEvent(kit::MonitoredEvent&& event);
    void show(const Shown& shown);
    void showLost(std::uint64_t lost);
    std::string lineOf(const Shown& shown) const;
    std::string rowOf(const Shown& shown) const;
    std::string payloadText(const Payload& payload) const;
    bool hasEnough() const { return options_.count != 0 && count_ >= options_.count; }

    const Context& context_;
    const MonitorOptions& options_;
    const Filter filter_;
    LossCounter losses_;
    std::map<std::uint64_t, Shown> pending_;
    unsigned long count_ = 0;
};

kit::Result<void> Monitor::onRequests(const Payload& batch) {
    const auto read = kit::fromPayload<kit::MonitoredRequests>(batch, unlimited());
    if (!read) {
        return read.error();
    }
    showLost(losses_.add(read->first, read->requests.size()));
    for (const kit::MonitoredRequest& request : read->requests) {
        show({request, {}, {}, false});
    }
    context_.out.stream.flush();
    return {};
}

kit::Result<void> Monitor::onEvents(const Payload& batch) {
    auto read = kit::fromPayload<kit::MonitoredEvents>(batch, unlimited());
    if (!read) {
        return read.error();
    }
    const std::uint64_t lost = losses_.add(read->first, read->events.size());
    if (lost != 0) {
        pending_.clear();  // their ends may be lost
    }
    showLost(lost);
    for (kit::MonitoredEvent& event : read->events) {
        onEvent(std::move(event));
    }
    context_.out.stream.flush();
    return {};
}

// Keeps the payload of the request and the latest payload of its answer, until the request ends.
void Monitor::onEvent(kit::MonitoredEvent&& event) {
    const auto recorded = RecordedEvent::of(event, 0);
    if (!recorded || (recorded->kind != EventKind::request && pending_.count(event.id) == 0)) {
        return;  // the request is older than the stream
    }
    Shown& shown = pending_[event.id];
    kit::MonitoredRequest& request = shown.request;
    shown.isCut = shown.isCut || recorded->omitted != 0;
    if (recorded->kind == EventKind::request) {
        request = {event.id,  event.time,    0,  event.command, event.path, "",          event.uid,
                   event.pid, event.address, "", 204,           0,          event.bytes, 0};
        if (const auto header = kit::fromPayload<std::map<std::string, Payload>>(
                Payload::createFromJSON(event.header))) {
            const auto client = header->find(headers::CLIENT_ID);
            request.client = client == header->end()
                                 ? ""
                                 : kit::fromPayload<std::string>(client->second).valueOr("");
        }
        shown.asked = recorded->payload;
        return;
    }
    request.answerBytes += event.bytes;
    if (event.code != 0) {
        request.code = event.code;
    }
    if (recorded->kind == EventKind::value || event.bytes != 0) {
        shown.answered = recorded->payload;
    }
    if (recorded->kind == EventKind::value) {
        ++request.values;
        return;
    }
    request.end = event.kind;
    request.duration = event.time - request.start;
    show(shown);
    pending_.erase(event.id);
}

void Monitor::show(const Shown& shown) {
    if (hasEnough() || !filter_.accepts(shown.request)) {
        return;
    }
    ++count_;
    context_.out.stream << (context_.out.isTerminal ? rowOf(shown) : lineOf(shown)) << '\n';
}

void Monitor::showLost(std::uint64_t lost) {
    if (lost == 0) {
        return;
    }
    if (context_.out.isTerminal) {
        context_.out.stream << coloured(context_.out, Colour::red,
                                        std::to_string(lost) + " lost: the program was too slow")
                            << '\n';
    } else {
        context_.out.stream << "{\"lost\":" << lost << "}\n";
    }
}

// Returns a payload as JSON, or its size if it exceeds the limit.
std::string Monitor::payloadText(const Payload& payload) const {
    if (payload.size() > options_.limit) {
        return omittedLineOf(payload.getMimeType(), payload.size());
    }
    return jsonLineOf(payload);
}

std::string Monitor::lineOf(const Shown& shown) const {
    const kit::MonitoredRequest& request = shown.request;
    std::string line =
        R"({"start":")" + utcText(request.start) + R"(","ms":)" +
        jsonLineOf(static_cast<double>(request.duration) / 1000) +
        ",\"command\":" + jsonLineOf(request.command) + ",\"path\":" + jsonLineOf(request.path) +
        ",\"client\":" + jsonLineOf(request.client) + ",\"uid\":" + std::to_string(request.uid) +
        ",\"pid\":" + std::to_string(request.pid) + ",\"address\":" + jsonLineOf(request.address) +
        ",\"end\":" + jsonLineOf(request.end) + ",\"code\":" + std::to_string(request.code) +
        ",\"values\":" + std::to_string(request.values) +
        ",\"requestBytes\":" + std::to_string(request.requestBytes) +
        ",\"answerBytes\":" + std::to_string(request.answerBytes);
    if (options_.payloads) {
        line += ",\"request\":" + payloadText(shown.asked) +
                ",\"answer\":" + payloadText(shown.answered);
    }
    return line + (shown.isCut ? ",\"omitted\":true}" : "}");
}

// Returns "22:30:00.123  404  retrieve /level  1.25 ms  kova 4711".
std::string Monitor::rowOf(const Shown& shown) const {
    const kit::MonitoredRequest& request = shown.request;
    const bool isCancelled = request.end == "cancelled";
    const Colour colour = isCancelled           ? Colour::faint
                          : request.code >= 400 ? Colour::red
                                                : Colour::green;
    std::string row =
        utcText(request.start).substr(11, 12) + "  " +
        coloured(context_.out, colour, isCancelled ? "---" : std::to_string(request.code)) + "  " +
        visible(request.command) + ' ' + visible(request.path) + "  " +
        jsonLineOf(static_cast<double>(request.duration) / 1000) + " ms  " +
        visible(request.client) + ' ' + std::to_string(request.pid);
    if (options_.payloads) {
        row += "\n              " + visible(payloadText(shown.asked)) + " -> " +
               visible(payloadText(shown.answered));
    }
    return row;
}

int Monitor::run() {
    MonitorReading reading;
    reading.service = options_.to;
    reading.path = options_.payloads ? "/.kova/monitor/events" : "/.kova/monitor";
    reading.timeout = options_.timeout;
    reading.hasEnough = [this] { return hasEnough(); };
    reading.position = [this] { return losses_.position(); };
    reading.onBatch = [this](const Payload& batch) {
        return options_.payloads ? onEvents(batch) : onRequests(batch);
    };
    const MonitorEnd end = readMonitor(context_, reading);
    if (end.status != DONE || hasEnough()) {
        return end.status;
    }
    if (end.reason == CallLoop::Reason::timedOut && options_.count != 0) {
        printError(context_, std::to_string(count_) + " requests within " +
                                 std::to_string(options_.timeout.count()) + " ms");
        return TIMED_OUT;
    }
    switch (end.reason) {
        case CallLoop::Reason::interrupted:
            return INTERRUPTED;
        case CallLoop::Reason::unread:
            return OUTPUT_FAILED;
        default:
            return DONE;
    }
}

int monitor(const Context& context, const MonitorOptions& options) {
    std::optional<PathPatterns> glob;
    if (!options.path.empty()) {
        try {
            glob.emplace(options.path);
        } catch (const std::exception& error) {  // the glob is malformed
            return misused(context, {400, "--path: " + std::string(error.what())});
        }
    }
    return Monitor(context, options, glob).run();
}

void addFilters(CLI::App& word, MonitorOptions& options) {
    word.add_option("--path", options.path,
                    "shows requests for these paths: * is any text without /, ** any text")
        ->type_name("GLOB");
    word.add_option("--command", options.command,
                    "shows requests with this command: get, put, insert, delete or another one")
        ->type_name("WORD");
    word.add_option("--status", options.status,
                    "shows requests with this code (404), class of codes (4xx) or end: completed, "
                    "failed, cancelled")
        ->type_name("STATUS");
    addTime(word, "--slower", options.slower, "shows requests that took at least this time");
}

}  // namespace

void addMonitor(Words& words) {
    const auto options = std::make_shared<MonitorOptions>();
    CLI::App& word = words.add(
        "monitor", "Prints the requests that pass a service, and how they were answered",
        {"kova monitor kova:/device", "kova monitor kova:/device --path '/system/**' --slower 10ms",
         "kova monitor unix:player.sock --status 4xx --payloads",
         "kova monitor unix:player.sock --count 100 | jq -r .path | sort | uniq -c"});
    addServiceArgument(word, options->to);
    addFilters(word, *options);
    word.add_option("--count", options->count, "ends after this number of requests")
        ->check(CLI::Range(1UL, 1'000'000'000UL))
        ->type_name("N");
    addTime(word, "--timeout", options->timeout,
            "ends after this time; with status 124 if --count is not reached");
    word.add_flag("--payloads", options->payloads,
                  "shows the payload of the request and of the last value of the answer");
    word.add_option("--limit", options->limit,
                    "the bytes up to which a payload is shown; else its size is [4096]")
        ->type_name("BYTES");
    words.onSelected(word,
                     [options](const Context& context) { return monitor(context, *options); });
}

}  // namespace kova::tool
