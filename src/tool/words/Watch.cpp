// The word watch: the values of streams, one line each, or a table that is updated in place.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <memory>
#include <utility>

#include "ExitStatus.h"
#include "JsonLine.h"
#include "Report.h"
#include "Session.h"
#include "Table.h"
#include "Target.h"
#include "Text.h"
#include "Words.h"
#include "kova/core/StatusCodes.h"
#include "kova/kit/Command.h"
#include "kova/kit/Receiver.h"
#include "kova/kit/Values.h"

namespace kova::tool {

namespace {

using std::chrono::milliseconds;

// The maximum number of bytes that a table keeps of a value.
constexpr std::size_t LONGEST_SHOWN = 4096;
// kova::nats::INSTANCE_HEADER, which a kova without libkova_nats gets through a bridge.
constexpr char const* INSTANCE_HEADER = "$instance";

// Returns the name of the instance that has sent a value of all instances; else "".
std::string instanceOf(const Response& value) {
    std::string name;
    return value.getHeaderValue(INSTANCE_HEADER).get(name) ? std::string() : name;
}

bool isError(const Response& value) {
    return value.isErrorResponse() || value.getStatusCode() >= statuscodes::BAD_REQUEST;
}

// Returns a value as JSON. A value of all instances is an object that names its instance, and may
// be the error of that instance.
std::string jsonOf(const Response& value) {
    const std::string instance = instanceOf(value);
    if (instance.empty()) {
        return jsonLineOf(value.getPayload());
    }
    const std::string begin = "{\"instance\":" + jsonLineOf(visible(instance));
    return isError(value)
               ? begin + ",\"error\":" + jsonLineOf(visible(kit::Error::of(value).toString())) + "}"
               : begin + ",\"value\":" + jsonLineOf(value.getPayload()) + "}";
}

/// Receives the answer to one request. Other than the functions of a `kit::Call`, it also receives
/// the values of all instances that are errors: the other instances go on.
class StreamReceiver final : public kit::Receiver {
public:
    using ValueFunction = std::function<void(const Response&)>;
    using EndFunction = std::function<void(const kit::End&)>;

    StreamReceiver(ValueFunction onValue, EndFunction onEnd)
        : onValue_(std::move(onValue)), onEnd_(std::move(onEnd)) {}

    kit::Result<void> onValue(const Response& value) override {
        if (isError(value) && instanceOf(value).empty()) {
            return kit::Error::of(value);
        }
        if (value.getStatusCode() != statuscodes::MULTI_RESPONSE) {  // not the progress
            onValue_(value);
        }
        return {};
    }
    void onEnd(const kit::End& end) override { onEnd_(end); }

private:
    const ValueFunction onValue_;
    const EndFunction onEnd_;
};

/// The parsed command line.
struct WatchOptions {
    std::string to;
    std::vector<std::string> paths;
    unsigned long count = 0;
    milliseconds timeout{0};
};

/// Prints the values of all streams, until there are as many as the user asked for.
class Watch {
public:
    Watch(const Context& context, const WatchOptions& options)
        : context_(context), options_(options), lines_(context.out) {}

    int run();

private:
    /// A watched resource.
    struct Stream {
        std::string name;
        Target target;
        std::unique_ptr<Session> own;
        Session* session = nullptr;
        kit::Subscription call;
        std::string latest = "…";
    };

    ExitStatus addTargets();
    ExitStatus openSessions();
    void start(Stream& stream, CallLoop& loop);
    void onValue(Stream& stream, const Response& value);
    void onEnd(Stream& stream, const kit::End& end);
    void showTable();
    void end(CallLoop::Reason reason);
    bool hasEnough() const { return options_.count != 0 && values_ >= options_.count; }

    const Context& context_;
    const WatchOptions& options_;
    LiveLines lines_;
    std::vector<Stream> streams_;
    std::size_t pending_ = 0;
    unsigned long values_ = 0;
    unsigned long changes_ = 0;  // values and ends, since each of them changes the table
    ExitStatus status_ = DONE;
};

ExitStatus Watch::addTargets() {
    for (const std::string& path : options_.paths) {
        auto target = Target::ofResource(path, options_.to);
        if (!target) {
            return misused(context_, target.error());
        }
        streams_.push_back({path, *std::move(target), nullptr, nullptr, {}});
    }
    return DONE;
}

// Streams of the same service share a connection.
ExitStatus Watch::openSessions() {
    kit::ClientOptions options;
    options.deadline = milliseconds(0);  // a stream may have no value for long
    for (Stream& stream : streams_) {
        for (const Stream& other : streams_) {
            if (other.own && other.target.serviceText() == stream.target.serviceText()) {
                stream.session = other.own.get();
            }
        }
        if (stream.session != nullptr) {
            continue;
        }
        auto session = Session::open(stream.target, context_, options);
        if (!session) {
            return reportOpen(context_, session.error());
        }
        stream.own = *std::move(session);
        stream.session = stream.own.get();
    }
    return DONE;
}

void Watch::start(Stream& stream, CallLoop& loop) {
    ++pending_;
    const kit::Client& client = stream.session->client();
    const kit::CallDraft draft =
        client.watch<Payload>(stream.target.resource).on(loop.executor()).release();
    stream.call = client.calls()->start(
        draft.request,
        std::make_unique<StreamReceiver>(
            [this, &stream](const Response& value) { onValue(stream, value); },
            [this, &stream](const kit::End& end) { onEnd(stream, end); }),
        draft.options);
}

void Watch::onValue(Stream& stream, const Response& value) {
    if (hasEnough()) {
        return;
    }
    ++values_;
    ++changes_;
    stream.latest = jsonOf(value);
    if (context_.out.isTerminal) {  // `run` shows the table after each round of values
        stream.latest.resize(std::min(stream.latest.size(), LONGEST_SHOWN));
        return;
    }
    std::ostream& out = context_.out.stream;
    if (streams_.size() == 1) {
        out << stream.latest << '\n' << std::flush;
        return;
    }
    out << "{\"path\":" << jsonLineOf(visible(stream.name)) << ",\"value\":" << stream.latest
        << "}\n"
        << std::flush;
}

void Watch::onEnd(Stream& stream, const kit::End& end) {
    --pending_;
    ++changes_;
    if (status_ == DONE) {
        status_ = exitStatusOf(end);
    }
    if (!context_.out.isTerminal) {
        reportEnd(context_, stream.target, end);
    } else if (!end.ok()) {
        stream.latest = end.error().toString();
    }
}

void Watch::showTable() {
    const Screen::Size size = context_.out.size();
    std::vector<std::vector<std::string>> rows;
    for (const Stream& stream : streams_) {
        rows.push_back({visible(stream.name), visible(stream.latest)});
    }
    // The last column stays empty, because a full line wraps in some terminals.
    lines_.show(table(rows, size.columns > 1 ? size.columns - 1 : 1));
}

int Watch::run() {
    if (const ExitStatus status = addTargets(); status != DONE) {
        return status;
    }
    if (const ExitStatus status = openSessions(); status != DONE) {
        return status;
    }
    CallLoop loop(context_.interrupt, context_.output);
    for (Stream& stream : streams_) {
        start(stream, loop);
    }
    unsigned long shown = 0;
    const auto isOver = [&] {
        if (context_.out.isTerminal && shown != changes_) {
            shown = changes_;
            showTable();
        }
        return hasEnough() || pending_ == 0 || !context_.out.stream;
    };
    std::optional<CallLoop::Clock::time_point> until;
    if (options_.timeout.count() != 0) {
        until = CallLoop::Clock::now() + options_.timeout;
    }
    end(loop.run(isOver, until));
    return status_;
}

// Cancels the streams that have not ended. Their ends are not reported.
void Watch::end(CallLoop::Reason reason) {
    for (Stream& stream : streams_) {
        stream.call.reset();
    }
    if (reason == CallLoop::Reason::interrupted) {
        status_ = INTERRUPTED;
    } else if (reason == CallLoop::Reason::unread) {
        status_ = OUTPUT_FAILED;
    } else if (reason == CallLoop::Reason::timedOut && (options_.count != 0 || values_ == 0)) {
        printError(context_, std::to_string(values_) + " values within " +
                                 std::to_string(options_.timeout.count()) + " ms");
        status_ = TIMED_OUT;
    }
}

}  // namespace

void addWatch(Words& words) {
    const auto options = std::make_shared<WatchOptions>();
    CLI::App& word = words.add(
        "watch", "Prints the values of resources as they change",
        {"kova watch 'kova:/device$/system/load'",
         "kova watch --to unix:player.sock /level /tracks",
         "kova watch --to unix:player.sock /level --count 3 --timeout 5s | jq --unbuffered .",
         "kova watch http://127.0.0.1:8080/level --count 1"});
    word.add_option("PATHS", options->paths, "the resources: paths, locators or addresses")
        ->required()
        ->type_name("");
    word.add_option("--count", options->count, "ends after this number of values of all resources")
        ->check(CLI::Range(1UL, 1'000'000'000UL))
        ->type_name("N");
    addTime(word, "--timeout", options->timeout,
            "ends after this time; with status 124 if --count or the first value is missing");
    addService(word, options->to);
    words.onSelected(word,
                     [options](const Context& context) { return Watch(context, *options).run(); });
}

}  // namespace kova::tool
