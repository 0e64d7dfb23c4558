// A service for data about this machine, and a client that sends it requests, in one process.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <exception>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "Client.h"
#include "Console.h"
#include "Device.h"
#include "Display.h"
#include "ExitStatus.h"
#include "LineReader.h"
#include "kova/core/headers.h"
#include "tracing/client_helper.h"

namespace {

constexpr char const* SERVICE_PATH = "/device";
/// The version of the interface that the client was built for.
constexpr char const* BUILT_FOR = "1.2.0";

// If the first argument contains a blank, each argument is a line. Otherwise all arguments form one
// line.
std::vector<std::string> linesOf(const std::vector<std::string>& arguments) {
    if (arguments.empty() || arguments[0].find(' ') != std::string::npos) {
        return arguments;
    }
    std::string line;
    for (const std::string& argument : arguments) {
        line += (line.empty() ? "" : " ") + argument;
    }
    return {line};
}

// Executes the lines of standard input. Returns false if a line is the command to quit.
bool readLines(device::LineReader& lines, device::Client& client, device::Console& console,
               bool quiet) {
    const bool terminal = isatty(STDIN_FILENO) != 0 && !quiet;
    if (terminal) {
        client.say(R"(Send requests to this machine; "help" tells how, "quit" ends.)");
    }
    while (true) {
        if (terminal) {
            std::cout << "kova> " << std::flush;
        }
        const auto line = lines.next();
        if (!line) {
            return true;
        }
        if (!console.execute(*line)) {
            return false;
        }
    }
}

/// The parsed command line.
struct Options {
    std::string storeFile = "kova-store.json";
    unsigned int interval = 1000;
    std::string speaks = BUILT_FOR;
    std::string clientId = "console";
    bool quiet = false;
    /// The words or lines of the requests.
    std::vector<std::string> arguments;
};

void describe(CLI::App& app, Options& options) {
    app.add_option("--store", options.storeFile,
                   "JSON file of /store; created if it does not exist")
        ->capture_default_str();
    app.add_option("--interval", options.interval, "milliseconds between the values of a stream")
        ->capture_default_str()
        ->check(CLI::Range(1U, 3600000U));
    app.add_option("--speaks", options.speaks,
                   "version of the interface that the client is built for")
        ->capture_default_str();
    app.add_option("--client", options.clientId, "name under which the client sends its requests")
        ->capture_default_str();
    app.add_flag("--quiet", options.quiet,
                 "only payloads on standard output, each on lines of its own; errors on standard "
                 "error");
    app.footer(std::string("A request follows the options, or several requests as one argument "
                           "each. Without one, lines\nare read from standard input:\n\n") +
               device::Console::help() +
               "\nThe variable ZEL_CONFIG_KOVA_AGT, if set, is the token that requests carry.\n\n"
               "The exit status is the highest of:\n"
               "  0  every request was answered\n"
               "  1  no request was sent: the store cannot be read, or no version is compatible\n"
               "  2  the command line or a line of input was not understood\n"
               "  4  an answer had a code from 400 to 499\n"
               "  5  an answer had a code of 500 or above, or there was no answer\n");
    // Parse no options or lists after the first word of a request: dashes and brackets belong to
    // the request.
    app.prefix_command();
}

// Sends the requests of the command line; without any, those of standard input.
void play(const Options& options, device::LineReader& lines, device::Client& client) {
    device::Console console(client);
    bool more = !options.arguments.empty() || readLines(lines, client, console, options.quiet);
    for (const std::string& line : linesOf(options.arguments)) {
        more = more && !lines.waitForStop(0) && console.execute(line);
    }
    // After the end of the input, streams continue until a signal stops the process.
    while (more && client.hasPending() && !lines.waitForStop(100)) {
    }
}

int run(const Options& options) {
    device::StoreDocument document(options.storeFile);
    if (const auto loaded = document.load(); !loaded) {
        std::cerr << loaded.error().message << '\n';
        return device::exitstatus::NOT_STARTED;
    }
    tracing::client_helper::setClientId(options.clientId);
    kova::headers::setAgt("");  // use the environment's token: a process list would show an option

    device::DeviceOptions settings;
    settings.interval = std::chrono::milliseconds(options.interval);
    device::LineReader lines(STDIN_FILENO);
    device::Device machine(std::move(document), settings);
    device::Client client(
        machine.service(), SERVICE_PATH, [&lines] { return lines.waitForStop(0); },
        options.quiet ? device::Display(std::cout, std::cerr) : device::Display(std::cout));
    if (client.connect(options.speaks)) {
        play(options, lines, client);
    }
    client.shutdown();
    client.say("the service is shut down");
    return client.exitStatus();
}

}  // namespace

int main(int argc, char** argv) try {
    CLI::App app("This machine as a kova service, with a client that sends it requests.");
    Options options;
    describe(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? device::exitstatus::ANSWERED : device::exitstatus::MISUSED;
    }
    options.arguments = app.remaining();
    if (!options.arguments.empty() && options.arguments[0][0] == '-') {
        std::cerr << "unknown option " << options.arguments[0]
                  << "; --help tells which there are\n";
        return device::exitstatus::MISUSED;
    }
    return run(options);
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return device::exitstatus::NOT_STARTED;
}
