// The words openapi, metrics, pending and trace: what a running service shows of itself.
#include <CLI/CLI.hpp>
#include <charconv>
#include <memory>

#include "Inspector.h"
#include "JsonLine.h"
#include "PayloadOutput.h"
#include "Report.h"
#include "Table.h"
#include "Text.h"
#include "Times.h"
#include "Words.h"
#include "kova/kit/InspectionViews.h"

namespace kova::tool {

namespace {

using Rows = std::vector<std::vector<std::string>>;

// Prints the values as a table on a terminal, and elsewhere each value as a line of JSON.
template <typename T, typename RowOf>
void printValues(const Context& context, const std::vector<T>& values,
                 std::vector<std::string> heading, RowOf rowOf) {
    Rows rows = {std::move(heading)};
    for (const T& value : values) {
        if (context.out.isTerminal) {
            rows.push_back(rowOf(value));
        } else {
            context.out.stream << jsonLineOf(value) << '\n';
        }
    }
    if (context.out.isTerminal) {
        printTable(context.out, rows);
    }
}

// Adds a word with a service as its argument.
void addWord(Words& words, char const* name, char const* summary,
             const std::vector<std::string>& examples,
             const std::function<void(const Context&, Inspector&)>& function) {
    const auto options = std::make_shared<ServiceOptions>();
    CLI::App& word = words.add(name, summary, examples);
    addServiceArgument(word, options->to);
    addDeadline(word, options->deadline);
    words.onSelected(word, [options, function](const Context& context) {
        return withInspector(context, *options,
                             [&](Inspector& inspector) { function(context, inspector); });
    });
}

// Prints a payload of the inspection verbatim.
void addDocument(Words& words, char const* name, char const* summary,
                 const std::vector<std::string>& examples) {
    addWord(words, name, summary, examples,
            [path = std::string(name)](const Context& context, Inspector& inspector) {
                if (const auto payload = inspector.ask(kit::command::retrieve, path)) {
                    inspector.note(printPayload(context, *payload, {}));
                }
            });
}

void printPending(const Context& context, Inspector& inspector) {
    const auto calls = inspector.read<std::vector<kit::PendingView>>("pending");
    if (!calls) {
        return;
    }
    printValues(context, *calls, {"AGE", "COMMAND", "PATH", "CLIENT", "PHASE", "THREAD"},
                [](const kit::PendingView& call) {
                    return std::vector<std::string>{
                        toText(call.age),    visible(call.command),
                        visible(call.path),  visible(call.client),
                        visible(call.phase), call.thread == 0 ? "" : std::to_string(call.thread)};
                });
}

void printChannels(const Context& context, Inspector& inspector) {
    const auto channels = inspector.read<std::vector<kit::ChannelView>>("trace");
    if (channels) {
        printValues(context, *channels, {"CHANNEL", "LEVEL"}, [](const kit::ChannelView& channel) {
            return std::vector<std::string>{visible(channel.name), std::to_string(channel.level)};
        });
    }
}

// Parses "PATTERN=LEVEL". The service checks the values.
kit::Result<kit::TraceLevel> parseLevel(const std::string& text) {
    const std::size_t at = text.rfind('=');
    kit::TraceLevel result;
    if (at != std::string::npos) {
        char const* const end = text.data() + text.size();
        const auto read = std::from_chars(text.data() + at + 1, end, result.level);
        if (read.ec == std::errc() && read.ptr == end) {
            result.pattern = text.substr(0, at);
            return result;
        }
    }
    return kit::Error{400, "'" + text +
                               "' is not PATTERN=LEVEL, such as 'KOVA_*=2'; the levels are 0, "
                               "everything, to 7, nothing"};
}

int setLevel(const Context& context, const ServiceOptions& options, const std::string& text) {
    const auto level = parseLevel(text);
    if (!level) {
        return misused(context, level.error());
    }
    return withInspector(context, options, [&](Inspector& inspector) {
        const auto answer = inspector.ask(kit::command::update, "trace", kit::toPayload(*level));
        if (answer) {
            inspector.note(printPayload(context, *answer, {}));
        }
    });
}

void addTrace(Words& words) {
    struct Options {
        ServiceOptions service;
        std::string level;
    };
    const auto options = std::make_shared<Options>();
    CLI::App& word =
        words.add("trace", "Lists the trace channels of a service, or sets the level of some",
                  {"kova trace --to kova:/device", "kova trace --to kova:/device 'KOVA_*=2'"});
    word.add_option(
            "LEVEL", options->level,
            "PATTERN=LEVEL: sets the level of the channels that match; '*' matches any text")
        ->type_name("");
    options->service.addTo(word);
    words.onSelected(word, [options](const Context& context) {
        if (!options->level.empty()) {
            return setLevel(context, options->service, options->level);
        }
        return withInspector(context, options->service, [&context](Inspector& inspector) {
            printChannels(context, inspector);
        });
    });
}

}  // namespace

void addInspection(Words& words) {
    addDocument(words, "openapi", "Prints the OpenAPI document of a service",
                {"kova openapi kova:/device > device.json"});
    addDocument(words, "metrics", "Prints the metrics of a service, for Prometheus",
                {"kova metrics kova:/device", "kova metrics unix:player.sock | grep requests"});
    addWord(words, "pending", "Lists the requests of a service that have not ended",
            {"kova pending kova:/device", "kova pending kova:/device | jq -r .path"}, printPending);
    addTrace(words);
}

}  // namespace kova::tool
