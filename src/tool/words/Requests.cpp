// The words get, put, insert and delete: one request each.
#include <CLI/CLI.hpp>
#include <memory>
#include <utility>

#include "ExitStatus.h"
#include "PayloadInput.h"
#include "PayloadOutput.h"
#include "Report.h"
#include "Session.h"
#include "Target.h"
#include "Text.h"
#include "Words.h"
#include "kova/kit/Command.h"
#include "kova/kit/Describe.h"

namespace kova::tool {

namespace {

/// The parsed command line of a request.
struct RequestOptions {
    ServiceOptions service;
    std::string path;
    PayloadInput payload;
    PayloadForm form;
    bool header = false;
    bool progress = false;
};

/// A word that sends a request.
struct RequestWord {
    char const* name;
    char const* summary;
    std::string_view command;
    bool hasPayload;
    bool needsPayload;
    std::vector<std::string> examples;
};

void addPayload(CLI::App& word, RequestOptions& options) {
    auto* const text = word.add_option("PAYLOAD", options.payload.text,
                                       "the value as JSON; - reads it from standard input");
    text->type_name("");
    word.add_option("--file", options.payload.file, "reads the payload from a file")
        ->type_name("FILE")
        ->excludes(text);
    word.add_option("--type", options.payload.type,
                    "the mime type of the payload; only JSON is checked")
        ->type_name("MIME")
        ->capture_default_str();
}

void addOutput(CLI::App& word, RequestOptions& options) {
    word.add_flag("--header", options.header,
                  "prints the code and the header of the answer on standard error");
    word.add_flag("--binary", options.form.binary,
                  "uses the binary format for payloads, in both directions");
    word.add_flag("--raw", options.form.raw,
                  "prints the bytes of the payload verbatim, without a line break at the end");
    word.add_flag("--progress", options.progress,
                  "shows the progress of the request, if standard error is a terminal");
}

// Shows the latest progress in the last line of the terminal. The next progress replaces it.
void showProgress(const Context& context, const Response& value) {
    const std::string text = visible(kit::plainText(value.getPayload()).value_or(""));
    context.err.stream << "\r\x1b[K" << cut(text, context.err.size().columns - 1) << std::flush;
}

void hideProgress(const Context& context) {
    context.err.stream << "\r\x1b[K" << std::flush;
}

AskPolicy policyOf(const RequestWord& word, const RequestOptions& options, const Context& context) {
    AskPolicy policy;
    policy.firstValueOnly = word.command == kit::command::retrieve;
    if (options.progress && context.err.isTerminal) {
        policy.onProgress = [&context](const Response& value) { showProgress(context, value); };
    }
    return policy;
}

int printAnswer(const Context& context, const Target& target, const RequestOptions& options,
                const Answer& answer) {
    const bool isError = answer.end.kind() == kit::End::Kind::failed;
    if (options.header && (answer.value || isError)) {
        printHeader(context, isError ? answer.end.response() : *answer.value);
    }
    if (!answer.end.ok()) {
        return reportEnd(context, target, answer.end);
    }
    return answer.value ? printPayload(context, answer.value->getPayload(), options.form) : DONE;
}

int request(const RequestWord& word, const RequestOptions& options, const Context& context) {
    const auto target = Target::ofResource(options.path, options.service.to);
    if (!target) {
        return misused(context, target.error());
    }
    if (word.needsPayload && !options.payload.text && !options.payload.file) {
        return misused(context, {400, std::string(word.name) + " needs a payload: a value as JSON, "
                                                               "- for standard input, or --file"});
    }
    PayloadInput input = options.payload;
    input.binary = options.form.binary;
    auto payload = readPayload(input, context);
    if (!payload) {
        return misused(context, payload.error());
    }
    kit::ClientOptions clientOptions;
    clientOptions.deadline = options.service.deadline;
    clientOptions.accept = options.form.binary ? mimetypes::AXOBIN_TYPE : mimetypes::JSON_TYPE;
    const auto session = Session::open(*target, context, clientOptions);
    if (!session) {
        return reportOpen(context, session.error());
    }
    kit::CallDraft draft = (*session)->client().makeDraft(word.command, target->resource, payload);
    headers::appendResponseSemantic(draft.request, headers::SINGLE_RESPONSE);
    const AskPolicy policy = policyOf(word, options, context);
    const Answer answer = (*session)->ask(std::move(draft), policy);
    if (policy.onProgress) {
        hideProgress(context);
    }
    return printAnswer(context, *target, options, answer);
}

void addRequest(Words& words, const RequestWord& word) {
    const auto options = std::make_shared<RequestOptions>();
    CLI::App& app = words.add(word.name, word.summary, word.examples);
    app.add_option("PATH", options->path, "the resource: a path, a locator or an address")
        ->required()
        ->type_name("");
    if (word.hasPayload) {
        addPayload(app, *options);
    }
    options->service.addTo(app);
    addOutput(app, *options);
    words.onSelected(
        app, [word, options](const Context& context) { return request(word, *options, context); });
}

}  // namespace

void addRequests(Words& words) {
    addRequest(words, {"get",
                       "Prints the value of a resource",
                       kit::command::retrieve,
                       true,
                       false,
                       {"kova get 'kova:/device$/system/memory'",
                        "kova get 'kova:/device$/system/memory' | jq .free",
                        "kova get --to unix:player.sock /level --header",
                        "kova get http://127.0.0.1:8080/level --deadline 500ms"}});
    addRequest(words, {"put",
                       "Sets the value of a resource",
                       kit::command::update,
                       true,
                       true,
                       {"kova put --to unix:player.sock /level 40",
                        "kova put --to unix:player.sock /name '\"blue\"'",
                        "echo '{\"level\": 12}' | kova put --to unix:player.sock /volume -"}});
    addRequest(words, {"insert",
                       "Adds a value to a resource",
                       kit::command::insert,
                       true,
                       false,
                       {"kova insert --to unix:player.sock /tracks '\"blue\"'",
                        "kova insert --to unix:player.sock /tracks --file track.json --progress"}});
    addRequest(words, {"delete",
                       "Removes a resource",
                       kit::command::remove,
                       false,
                       false,
                       {"kova delete --to unix:player.sock /tracks/1"}});
}

}  // namespace kova::tool
