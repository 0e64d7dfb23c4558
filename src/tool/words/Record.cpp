// The word record: writes the requests that pass a service, and their answers, to a file.
#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <memory>
#include <set>
#include <system_error>
#include <utility>

#include "Inspector.h"
#include "MonitorStream.h"
#include "OutputFile.h"
#include "RecordingFile.h"
#include "Report.h"
#include "StoredPayload.h"
#include "Words.h"
#include "kova/kit/MonitorViews.h"

namespace kova::tool {

namespace {

using std::chrono::milliseconds;

/// The parsed command line.
struct RecordOptions {
    std::string file;
    std::string to;
    unsigned long count = 0;
    milliseconds timeout{0};
};

std::int64_t now() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

/// Writes the events of a stream to a file.
class Recorder {
public:
    Recorder(const Context& context, const RecordOptions& options)
        : context_(context), options_(options), file_(options.file), start_(now()) {}

    int run();

private:
    kit::Result<void> onBatch(const Payload& batch);
    void write(const kit::MonitoredEvent& event);
    int finish(const MonitorEnd& end);
    bool hasEnough() const {
        return file_.hasFailed() || (options_.count != 0 && ended_ >= options_.count);
    }

    const Context& context_;
    const RecordOptions& options_;
    OutputFile file_;
    const std::int64_t start_;
    LossCounter losses_;
    std::set<std::uint64_t> open_;  // the requests that have not ended
    bool isAnnounced_ = false;
    std::uint64_t events_ = 0;
    std::uint64_t ended_ = 0;
    std::uint64_t lost_ = 0;
    std::uint64_t omitted_ = 0;
};

int Recorder::run() {
    if (!file_.open()) {
        return misused(context_, {400, "cannot write '" + options_.file + "': " + file_.reason()});
    }
    file_.write(firstLineOf(options_.to, start_));
    MonitorReading reading;
    reading.service = options_.to;
    reading.path = "/.kova/monitor/events";
    reading.timeout = options_.timeout;
    reading.hasEnough = [this] { return hasEnough(); };
    reading.position = [this] { return losses_.position(); };
    reading.onBatch = [this](const Payload& batch) { return onBatch(batch); };
    return finish(readMonitor(context_, reading));
}

kit::Result<void> Recorder::onBatch(const Payload& batch) {
    const auto read = kit::fromPayload<kit::MonitoredEvents>(batch, unlimited());
    if (!read) {
        return read.error();
    }
    if (!std::exchange(isAnnounced_, true)) {
        context_.err.stream << "recording; Ctrl-C ends it\n" << std::flush;
    }
    lost_ += losses_.add(read->first, read->events.size());
    for (const kit::MonitoredEvent& event : read->events) {
        if (!hasEnough()) {
            write(event);
        }
    }
    return {};
}

void Recorder::write(const kit::MonitoredEvent& event) {
    const auto recorded = RecordedEvent::of(event, start_);
    if (!recorded || (recorded->kind != EventKind::request && open_.count(event.id) == 0)) {
        return;  // the request is older than the recording, or lost
    }
    if (!recorded->header.empty() && !readsBack(recorded->header)) {
        ++lost_;
        return;
    }
    omitted_ += recorded->omitted != 0 ? 1 : 0;
    if (recorded->isEnd()) {
        open_.erase(event.id);
        ++ended_;
    } else {
        open_.insert(event.id);
    }
    ++events_;
    file_.write(lineOf(*recorded));
}

int Recorder::finish(const MonitorEnd& end) {
    file_.write(lastLineOf(events_, lost_));
    if (!file_.close()) {
        printError(context_, "cannot write '" + options_.file + "': " + file_.reason());
        return OUTPUT_FAILED;
    }
    if (end.status != DONE) {
        return end.status;
    }
    context_.err.stream << ended_ << " requests are recorded\n";
    if (lost_ != 0 || omitted_ != 0) {
        printError(context_,
                   "the recording is incomplete: " + std::to_string(lost_) +
                       " events were lost, and " + std::to_string(omitted_) +
                       " payloads were too long",
                   "events are lost if the program is too slow, or if a header is nested too "
                   "deeply; a payload has at most 4 MiB");
        return FAILED;
    }
    if (end.reason == CallLoop::Reason::timedOut && options_.count != 0) {
        return TIMED_OUT;
    }
    return DONE;
}

}  // namespace

void addRecord(Words& words) {
    const auto options = std::make_shared<RecordOptions>();
    CLI::App& word = words.add(
        "record", "Writes the requests that pass a service, and their answers, to a file",
        {"kova record device.jsonl kova:/device", "kova record - unix:player.sock | jq .path",
         "kova record player.jsonl unix:player.sock --count 100 --timeout 1m"});
    word.add_option("FILE", options->file, "the file, which is replaced; - is standard output")
        ->required()
        ->type_name("");
    addServiceArgument(word, options->to);
    word.add_option("--count", options->count, "ends after this number of ended requests")
        ->check(CLI::Range(1UL, 1'000'000'000UL))
        ->type_name("N");
    addTime(word, "--timeout", options->timeout,
            "ends after this time; with status 124 if --count is not reached");
    words.onSelected(
        word, [options](const Context& context) { return Recorder(context, *options).run(); });
}

}  // namespace kova::tool
