#include "Completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <map>
#include <set>
#include <string_view>

#include "Session.h"
#include "Target.h"
#include "Times.h"
#include "kova/http/Directory.h"
#include "kova/kit/Command.h"
#include "kova/kit/InspectionViews.h"

namespace kova::tool {

namespace {

using Candidates = std::set<std::string>;

// The default is short, because the user waits at the prompt.
constexpr std::chrono::milliseconds PATIENCE{500};
constexpr std::string_view URL = "http://";
// The characters that a candidate may contain, besides '$'. None of them has a meaning to a shell.
// '$' is literal in front of '/'.
constexpr std::string_view HARMLESS =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/_-.:,+@%=";

bool begins(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

std::string variable(char const* name) {
    char const* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

/// What an argument or the value of an option is.
enum class Kind { resource, service, colour, other };

/// The part of a command line in front of the cursor.
struct Line {
    const CLI::App* word = nullptr;
    const CLI::Option* open = nullptr;  // the option whose value comes next
    std::size_t arguments = 0;
    bool hasOnlyArguments = false;  // after "--"
    std::string to;
};

std::vector<const CLI::App*> wordsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* word) { return !word->get_group().empty(); });
}

const CLI::App* wordNamed(const CLI::App& app, const std::string& name) {
    const auto words = wordsOf(app);
    const auto found = std::find_if(words.begin(), words.end(), [&name](const CLI::App* word) {
        return word->get_name() == name;
    });
    return found == words.end() ? nullptr : *found;
}

const CLI::Option* optionOf(const CLI::App& app, const CLI::App* word, const std::string& name) {
    const CLI::Option* const own = word == nullptr ? nullptr : word->get_option_no_throw(name);
    return own == nullptr ? app.get_option_no_throw(name) : own;
}

bool namesService(const CLI::Option& option) {
    const auto& names = option.get_lnames();
    return std::find(names.begin(), names.end(), "to") != names.end();
}

// Consumes a word that begins with '-'.
void consumeOption(const CLI::App& app, const std::string& text, Line& line) {
    const std::size_t equals = text.find('=');
    const CLI::Option* const option = optionOf(app, line.word, text.substr(0, equals));
    if (option == nullptr || option->get_items_expected_max() == 0) {
        return;
    }
    if (equals == std::string::npos) {
        line.open = option;
    } else if (namesService(*option)) {
        line.to = text.substr(equals + 1);
    }
}

void consume(const CLI::App& app, const std::string& text, Line& line) {
    if (line.open != nullptr) {
        line.to = namesService(*line.open) ? text : line.to;
        line.open = nullptr;
    } else if (text == "--" && !line.hasOnlyArguments) {
        line.hasOnlyArguments = true;
    } else if (text.size() > 1 && text[0] == '-' && !line.hasOnlyArguments) {
        consumeOption(app, text, line);
    } else if (line.word == nullptr) {
        line.word = wordNamed(app, text);
    } else {
        ++line.arguments;
    }
}

Line parse(const CLI::App& app, const std::vector<std::string>& words) {
    Line line;
    for (std::size_t at = 0; at + 1 < words.size(); ++at) {
        consume(app, words[at], line);
    }
    if (line.to.empty()) {
        line.to = variable("KOVA_SERVICE");
    }
    return line;
}

Kind kindOfArgument(const Line& line) {
    std::size_t at = 0;
    for (const CLI::Option* option :
         line.word->get_options([](const CLI::Option* each) { return each->get_positional(); })) {
        const bool isLast = option->get_items_expected_max() > 1;
        if (at++ != line.arguments && !isLast) {
            continue;
        }
        const std::string name = option->get_name(true);
        if (name == "PATH" || name == "PATHS") {
            return Kind::resource;
        }
        return name == "SERVICE" || name == "ADDRESS" || name == "FROM" ? Kind::service
                                                                        : Kind::other;
    }
    return Kind::other;
}

Kind kindOfValue(const CLI::Option& option) {
    if (namesService(option)) {
        return Kind::service;
    }
    return begins(option.get_type_name(), "WHEN") ? Kind::colour : Kind::other;
}

void addOptions(const CLI::App& app, Candidates& candidates) {
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            candidates.insert("--" + name);
        }
    }
}

void addServices(const std::string& suffix, Candidates& candidates) {
    for (const http::Registered& service : http::registeredServices()) {
        if (service.servicePath.find_first_not_of(HARMLESS) == std::string::npos) {
            candidates.insert("kova:" + service.servicePath + suffix);
        }
    }
}

// Returns whether a word of the program can use an operation.
bool canUse(const CLI::App& word, const kit::OperationView& operation) {
    static const std::map<std::string, std::string_view> COMMANDS = {
        {"get", kit::command::retrieve},
        {"bench", kit::command::retrieve},
        {"put", kit::command::update},
        {"insert", kit::command::insert},
        {"delete", kit::command::remove}};
    if (word.get_name() == "watch") {
        return operation.streams;
    }
    const auto command = COMMANDS.find(word.get_name());
    return command == COMMANDS.end() || command->second == operation.command;
}

std::string joinedPath(const std::string& mount, const std::string& path) {
    if (path.empty()) {
        return mount;
    }
    return (mount == "/" ? "" : mount) + "/" + path;
}

// The longest description of a service that is read.
constexpr std::size_t LONGEST_ANSWER = std::size_t{4} * 1024 * 1024;

std::chrono::milliseconds patience() {
    const auto time = parseTime(variable("KOVA_COMPLETION_DEADLINE"));
    return time && time->count() > 0 ? *time : PATIENCE;
}

// Returns the mounts of a service, or none if it does not answer with them.
std::vector<kit::MountView> mountsOf(const Target& target, const Context& context) {
    kit::ClientOptions options;
    options.deadline = patience();
    const auto session = Session::open(target, context, options, LONGEST_ANSWER);
    if (!session) {
        return {};
    }
    kit::CallDraft draft =
        (*session)->client().makeDraft(kit::command::retrieve, "/.kova/resources", Payload());
    headers::appendResponseSemantic(draft.request, headers::SINGLE_RESPONSE);
    const Answer answer = (*session)->ask(std::move(draft), {});
    if (!answer.end.ok() || !answer.value) {
        return {};
    }
    return kit::fromPayload<std::vector<kit::MountView>>(answer.value->getPayload()).valueOr({});
}

void addPath(const std::string& before, const std::string& path, Candidates& candidates) {
    const std::string literal = path.substr(0, path.find('{'));
    if (literal[0] == '/' && literal.find_first_not_of(HARMLESS) == std::string::npos) {
        candidates.insert(before + literal);
    }
}

// Adds the resources of a service. `before` is put in front of each path.
void addResources(const Target& target, const std::string& before, const CLI::App& word,
                  const Context& context, Candidates& candidates) {
    for (const kit::MountView& mount : mountsOf(target, context)) {
        if (mount.operations.empty()) {
            addPath(before, mount.path, candidates);
        }
        for (const kit::OperationView& operation : mount.operations) {
            if (canUse(word, operation)) {
                addPath(before, joinedPath(mount.path, operation.path), candidates);
            }
        }
    }
}

// Returns the part of the text before the path of the resource, or nothing if the text is still an
// incomplete service.
std::optional<std::string> serviceIn(const std::string& text) {
    const std::size_t dollar = text.rfind('$');
    if (dollar != std::string::npos) {
        return text.substr(0, dollar + 1);
    }
    if (begins(text, URL)) {
        const std::size_t slash = text.find('/', URL.size());
        return slash == std::string::npos ? std::nullopt : std::optional(text.substr(0, slash));
    }
    return text.empty() || text[0] == '/' ? std::optional<std::string>("") : std::nullopt;
}

void addResources(const std::string& text, const Line& line, const Context& context,
                  Candidates& candidates) {
    if (text.find('$') == std::string::npos && !begins(text, "/")) {
        addServices("$", candidates);
    }
    const auto before = serviceIn(text);
    if (!before || (before->empty() && line.to.empty())) {
        return;
    }
    if (const auto target = Target::ofResource(*before + "/", line.to)) {
        addResources(*target, *before, *line.word, context, candidates);
    }
}

void addKind(Kind kind, const std::string& text, const Line& line, const Context& context,
             Candidates& candidates) {
    switch (kind) {
        case Kind::resource:
            addResources(text, line, context, candidates);
            break;
        case Kind::service:
            addServices("", candidates);
            break;
        case Kind::colour:
            candidates.insert({"auto", "always", "never"});
            break;
        case Kind::other:
            break;
    }
}

// Adds the values of "--option=VALUE".
void addValues(const CLI::App& app, const std::string& text, const Line& line,
               const Context& context, Candidates& candidates) {
    const std::size_t value = text.find('=') + 1;
    const CLI::Option* const option = optionOf(app, line.word, text.substr(0, value - 1));
    if (option == nullptr) {
        return;
    }
    Candidates values;
    addKind(kindOfValue(*option), text.substr(value), line, context, values);
    for (const std::string& each : values) {
        candidates.insert(text.substr(0, value) + each);
    }
}

Candidates allCandidates(const CLI::App& app, const Line& line, const std::string& text,
                         const Context& context) {
    Candidates candidates;
    if (line.open != nullptr) {
        addKind(kindOfValue(*line.open), text, line, context, candidates);
    } else if (begins(text, "-") && text.find('=') != std::string::npos && !line.hasOnlyArguments) {
        addValues(app, text, line, context, candidates);
    } else if (begins(text, "-") && !line.hasOnlyArguments) {
        addOptions(app, candidates);
        if (line.word != nullptr) {
            addOptions(*line.word, candidates);
        }
    } else if (line.word != nullptr) {
        addKind(kindOfArgument(line), text, line, context, candidates);
    } else if (line.arguments == 0) {
        for (const CLI::App* word : wordsOf(app)) {
            candidates.insert(word->get_name());
        }
    }
    return candidates;
}

}  // namespace

std::vector<std::string> candidatesFor(const CLI::App& app, const std::vector<std::string>& words,
                                       const Context& context) {
    const std::string text = words.empty() ? "" : words.back();
    std::vector<std::string> result;
    for (const std::string& candidate : allCandidates(app, parse(app, words), text, context)) {
        if (begins(candidate, text)) {
            result.push_back(candidate);
        }
    }
    return result;
}

}  // namespace kova::tool
