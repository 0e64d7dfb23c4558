#include "Program.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <exception>
#include <utility>

#include "Completion.h"
#include "ExitStatus.h"
#include "Report.h"
#include "Words.h"

namespace kova::tool {

namespace {

constexpr char const* SUMMARY = "Sees and drives the services of kova from a shell.";
constexpr char const* FOOTER = R"(
A resource is a locator (kova:/device$/system/memory), an address (unix:SOCKET$/PATH,
http://HOST:PORT/PATH, nats://BROKER/SERVICE$/PATH), or a path of the service that --to or
KOVA_SERVICE names.

The exit status is
  0    every request was answered
  1    the output cannot be written; or recordings differ
  2    the command line or a payload in it is not valid
  3    there is no service, or the connection was lost
  4    the service answered with a code from 400 to 499
  5    the service answered with another error
  124  the deadline passed
  130  Ctrl-C ended the program; the request was cancelled

'kova WORD --help' has the options of a word, and examples.
)";

std::string variable(char const* name) {
    char const* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

bool hasColours(const Screen& screen, const std::string& option) {
    if (option != "auto") {
        return option == "always";
    }
    return screen.isTerminal && variable("NO_COLOR").empty() && variable("TERM") != "dumb";
}

// Returns whether the error is a missing or unknown word, and not a wrong option.
bool isAboutWords(const CLI::ParseError& error) {
    return dynamic_cast<const CLI::RequiredError*>(&error) != nullptr ||
           dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
}

// Prints the reason of a usage error and what to do next.
int misusedBy(const CLI::App& app, const CLI::ParseError& error, const Context& context) {
    const std::vector<CLI::App*> words = app.get_subcommands();
    const std::vector<std::string> unknown = app.remaining();
    if (!words.empty()) {
        const std::string command = "kova " + words[0]->get_name() + " --help";
        printError(context, error.what(), "'" + command + "' shows the options, and examples");
    } else if (!isAboutWords(error)) {
        printError(context, error.what(), "'kova --help' shows the options, and the words");
    } else if (!unknown.empty()) {
        printError(context, "'" + unknown[0] + "' is not a word of kova",
                   "'kova --help' lists the words");
    } else {
        printError(context, "which word?", "'kova --help' lists the words");
    }
    return MISUSED;
}

// Prints the help, the version or the reason of a usage error.
int exitOf(const CLI::App& app, const CLI::ParseError& error, const Context& context) {
    if (error.get_exit_code() != 0) {
        return misusedBy(app, error, context);
    }
    app.exit(error, context.out.stream, context.err.stream);
    return DONE;
}

/// The options of the program.
struct Options {
    std::string colours = "auto";
    BrokerAccess broker;
};

// Adds the options and the words of the program.
void addAll(CLI::App& app, Options& options, Words& words) {
    app.add_option("--color", options.colours, "colours: auto, always or never [auto]")
        ->check([](const std::string& text) {
            return text == "auto" || text == "always" || text == "never"
                       ? std::string()
                       : "'" + text + "' is not auto, always or never";
        })
        ->type_name("WHEN");
    app.set_version_flag("--version", "kova " KOVA_VERSION);
    app.footer(FOOTER);
#ifdef KOVA_TOOL_NATS
    addBrokerAccess(app, options.broker);
#endif
    app.require_subcommand(1);
    addRequests(words);
    addWatch(words);
    addServices(words);
    addResources(words);
    addInspection(words);
    addPayloads(words);
    addShell(words);
    addBench(words);
    addMonitor(words);
    addRecord(words);
    addReplay(words);
    addMock(words);
#ifdef KOVA_TOOL_NATS
    addBridge(words);
#endif
}

// Returns whether the arguments are "complete -- WORDS...", with which the scripts for shells ask
// for candidates. It is not a word of the parser, because WORDS can be anything.
bool isCompletion(const std::vector<std::string>& arguments) {
    return arguments.size() >= 2 && arguments[0] == "complete" && arguments[1] == "--";
}

}  // namespace

std::vector<std::string> completionsOf(const std::vector<std::string>& arguments,
                                       const Context& context) {
    CLI::App app(SUMMARY, "kova");
    Options options;
    Words words(app);
    addAll(app, options, words);
    return candidatesFor(app, arguments, context);
}

int runProgram(std::vector<std::string> arguments, Context& context) {
    if (isCompletion(arguments)) {
        arguments.erase(arguments.begin(), arguments.begin() + 2);
        context.broker = BrokerAccess::ofEnvironment();
        for (const std::string& candidate : completionsOf(arguments, context)) {
            context.out.stream << candidate << '\n';
        }
        return DONE;
    }
    CLI::App app(SUMMARY, "kova");
    Options options;
    // The lines of a shell have the access of the shell, unless they have options of their own.
    options.broker = context.isInShell ? context.broker : BrokerAccess::ofEnvironment();
    Words words(app);
    addAll(app, options, words);
    try {
        std::reverse(arguments.begin(), arguments.end());  // the order that the parser wants
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        return exitOf(app, error, context);
    }
    context.out.hasColours = hasColours(context.out, options.colours);
    context.err.hasColours = hasColours(context.err, options.colours);
    context.broker = options.broker;
    return words.selected()(context);
}

}  // namespace kova::tool
