// The words replay and diff: what a service answers now, and what it answered before.
#include "Replay.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <stdexcept>
#include <utility>

#include "Difference.h"
#include "Inspector.h"
#include "OutputFile.h"
#include "RecordingFile.h"
#include "Report.h"
#include "Text.h"
#include "Words.h"

namespace kova::tool {

namespace {

using std::chrono::milliseconds;

/// The parsed options that say what a comparison ignores.
struct IgnoredOptions {
    std::vector<std::string> paths;
    std::vector<std::string> fields;

    void addTo(CLI::App& word) {
        word.add_option("--ignore", paths, "requests for these paths do not count")
            ->allow_extra_args(false)
            ->type_name("GLOB");
        word.add_option("--ignore-field", fields,
                        "members of this name do not count, at any depth of payloads and headers")
            ->allow_extra_args(false)
            ->type_name("NAME");
    }
    kit::Result<Ignored> parse() const {
        Ignored result;
        for (const std::string& path : paths) {
            try {
                result.paths.emplace_back(path);
            } catch (const std::exception& error) {  // the glob is malformed
                return kit::Error{400, "--ignore '" + path + "': " + error.what()};
            }
        }
        result.fields.insert(fields.begin(), fields.end());
        return result;
    }
};

/// The parsed command line of replay.
struct ReplayWords {
    std::string file;
    std::string to;
    std::string speed = "1";
    milliseconds patience{30000};
    std::string output;
    IgnoredOptions ignored;
};

// Parses a factor, or "max". Returns a negative number if it is neither.
double parseSpeed(const std::string& text) {
    if (text == "max") {
        return 0;
    }
    try {
        std::size_t end = 0;
        const double speed = std::stod(text, &end);
        return end == text.size() && speed >= 0 && speed <= 1e6 ? speed : -1;
    } catch (const std::logic_error&) {
        return -1;
    }
}

void print(const Context& context, const std::string& text) {
    context.out.stream << (context.out.isTerminal ? visible(text, true) : text);
}

// Writes a recording to a file. Returns false, and reports the reason, if that is impossible.
bool write(const Context& context, const std::string& name, const Recording& recording) {
    OutputFile file(name);
    if (file.open()) {
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        file.write(firstLineOf(recording.service,
                               std::chrono::duration_cast<std::chrono::microseconds>(now).count()));
        for (const RecordedEvent& event : recording.events) {
            file.write(lineOf(event));
        }
        file.write(lastLineOf(recording.events.size(), recording.lost));
    }
    if (!file.close()) {
        printError(context, "cannot write '" + name + "': " + file.reason());
        return false;
    }
    return true;
}

// Reports that a recording is incomplete: a comparison could be wrong.
void warnOfLoss(const Context& context, const std::string& file, const Recording& recording) {
    if (recording.lost != 0) {
        printError(context, "'" + file + "' is incomplete: " + std::to_string(recording.lost) +
                                " events were lost");
    }
}

// Reports the requests that cannot be sent again.
void warnOfOmissions(const Context& context, const std::string& file, const Recording& recording) {
    const auto count = std::count_if(
        recording.events.begin(), recording.events.end(), [](const RecordedEvent& event) {
            return event.kind == EventKind::request && event.omitted != 0;
        });
    if (count != 0) {
        printError(context, "'" + file + "' does not have the payloads of " +
                                std::to_string(count) + " requests, which are not sent");
    }
}

int finish(const Context& context, const ReplayWords& options, const Recording& recorded,
           const Recording& again, const Ignored& ignored) {
    if (!options.output.empty() && !write(context, options.output, again)) {
        return OUTPUT_FAILED;
    }
    const Differences found = compare(recorded, again, ignored);
    print(context, found.text);
    context.err.stream << found.different << " of " << found.compared
                       << " requests were answered differently\n";
    return found.different == 0 ? DONE : DIFFERENT;
}

int replayFile(const Context& context, const ReplayWords& options) {
    const double speed = parseSpeed(options.speed);
    if (speed < 0) {
        return misused(context, {400, "--speed: '" + options.speed +
                                          "' is not a number from 0 to 1000000, or max"});
    }
    const auto ignored = options.ignored.parse();
    if (!ignored) {
        return misused(context, ignored.error());
    }
    const auto recorded = readRecording(options.file, context);
    if (!recorded) {
        return misused(context, recorded.error());
    }
    warnOfLoss(context, options.file, *recorded);
    warnOfOmissions(context, options.file, *recorded);
    const std::string& service = options.to.empty() ? recorded->service : options.to;
    const auto target = Target::ofService(service);
    if (!target) {
        return misused(context, target.error());
    }
    kit::ClientOptions clientOptions;
    clientOptions.deadline = milliseconds(0);
    const auto session = Session::open(*target, context, clientOptions);
    if (!session) {
        return reportOpen(context, session.error());
    }
    Recording again;
    again.service = service;
    ReplayOptions how;
    how.speed = speed;
    how.patience = options.patience;
    how.onEvent = [&again](const RecordedEvent& event) { again.events.push_back(event); };
    if (replay(*recorded, **session, how) == CallLoop::Reason::interrupted) {
        printError(context, "cancelled");
        return INTERRUPTED;
    }
    return finish(context, options, *recorded, again, *ignored);
}

int diffFiles(const Context& context, const std::vector<std::string>& files,
              const IgnoredOptions& options) {
    const auto ignored = options.parse();
    if (!ignored) {
        return misused(context, ignored.error());
    }
    std::vector<Recording> recordings;
    for (const std::string& file : files) {
        auto recording = readRecording(file, context);
        if (!recording) {
            return misused(context, recording.error());
        }
        warnOfLoss(context, file, *recording);
        recordings.push_back(*std::move(recording));
    }
    const Differences found = compare(recordings[0], recordings[1], *ignored);
    print(context, found.text);
    return found.different == 0 ? DONE : DIFFERENT;
}

void addDiff(Words& words) {
    struct Options {
        std::vector<std::string> files;
        IgnoredOptions ignored;
    };
    const auto options = std::make_shared<Options>();
    CLI::App& word = words.add(
        "diff", "Prints what two recordings answer differently; status 1 if there is something",
        {"kova diff before.jsonl after.jsonl",
         "kova diff before.jsonl after.jsonl --ignore '/system/**' --ignore-field uptimeMs"});
    word.add_option("FILES", options->files, "the two recordings; - is standard input")
        ->required()
        ->expected(2)
        ->type_name("");
    options->ignored.addTo(word);
    words.onSelected(word, [options](const Context& context) {
        return diffFiles(context, options->files, options->ignored);
    });
}

}  // namespace

void addReplay(Words& words) {
    const auto options = std::make_shared<ReplayWords>();
    CLI::App& word = words.add(
        "replay",
        "Sends the requests of a recording again, and prints what is answered differently",
        {"kova replay device.jsonl kova:/device", "kova replay device.jsonl --speed max",
         "kova replay device.jsonl kova:/device --speed 10 --output again.jsonl",
         "kova replay device.jsonl kova:/device --ignore '/system/**'"});
    word.add_option("FILE", options->file, "the recording; - is standard input")
        ->required()
        ->type_name("");
    addServiceArgument(word, options->to);
    word.add_option("--speed", options->speed,
                    "the factor by which the replay is faster; 0 or max: without pauses [1]")
        ->type_name("N");
    addTime(word, "--patience", options->patience,
            "the time to wait for a value or an end that the recording has [30s]");
    word.add_option("--output", options->output, "writes the new answers to this recording")
        ->type_name("FILE");
    options->ignored.addTo(word);
    words.onSelected(word,
                     [options](const Context& context) { return replayFile(context, *options); });
    addDiff(words);
}

}  // namespace kova::tool
