// A service for data about this machine, and a console that sends requests to it or to the same
// service of another process.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstring>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Console.h"
#include "Device.h"
#include "Journal.h"
#include "LineReader.h"
#include "kova/core/headers.h"
#include "kova/http/Directory.h"
#include "kova/http/Endpoint.h"
#include "kova/kit/StopSignals.h"
#include "tracing/client_helper.h"

namespace {

namespace exitstatus = device::exitstatus;
using kova::kit::StopSignals;

constexpr char const* SERVICE_PATH = "/device";
constexpr char const* SHUT_DOWN = "the service is shut down";
constexpr std::chrono::seconds PATIENCE(2);

/// The parsed command line.
struct Options {
    device::DeviceOptions device;
    unsigned int interval = 1000;
    std::string speaks = "1.2.0";
    std::string clientId = "console";
    bool quiet = false, remote = false;
    std::uint16_t port = 8080;
    /// The words of one request, or one request in each.
    std::vector<std::string> arguments;
};

void describe(CLI::App& app, Options& options) {
    app.option_defaults()->always_capture_default();
    app.add_option("--store", options.device.storeFile,
                   "JSON file of /store; created if it does not exist");
    app.add_option("--interval", options.interval, "milliseconds between the values of a stream")
        ->check(CLI::Range(1U, 3600000U));
    app.add_option("--speaks", options.speaks,
                   "version of the interface that the client is built for");
    app.add_option("--client", options.clientId, "name under which the client sends its requests");
    app.add_flag("--quiet", options.quiet,
                 "only payloads on standard output, each on lines of its own; errors on standard "
                 "error");
    app.add_flag("--remote", options.remote,
                 "send the requests to the service that another process serves");
    app.add_option("--port", options.port, "of 127.0.0.1 for \"serve\"; 0 is a free one");
    app.footer(std::string("\"serve\" serves other processes until a signal arrives, at "
                           "kova:/device and at the port.\n\n"
                           "A request follows the options, or several requests as one argument "
                           "each. Without one, lines\nare read from standard input:\n\n") +
               device::Console::help() + R"(
The variable ZEL_CONFIG_KOVA_AGT, if set, is the token that requests carry.

The exit status is the highest of:
  0  every request was answered
  1  no request was sent: the store cannot be read, or no version is compatible
  2  the command line or a line of input was not understood
  4  an answer had a code from 400 to 499
  5  an answer had a code of 500 or above, or there was no answer
)");
    // Parse no options or lists after the first word of a request: dashes and brackets belong to
    // the request.
    app.prefix_command();
}

// Executes the lines of standard input. Returns false if a line is the command to quit.
bool readLines(const StopSignals& stop, device::Console& console, bool quiet) {
    device::LineReader lines(STDIN_FILENO, stop);
    const bool prompts = isatty(STDIN_FILENO) != 0 && !quiet;
    if (prompts) {
        std::cout << "Send requests to this machine; \"help\" tells how, \"quit\" ends.\n";
    }
    while (true) {
        std::cout << (prompts ? "kova> " : "") << std::flush;
        const auto line = lines.next();
        if (!line || !console.execute(*line)) {
            return !line;
        }
    }
}

// Executes the arguments: each is a line if the first one contains a blank; otherwise all form one
// line. Returns false if a line is the command to quit.
bool execute(std::vector<std::string> arguments, const StopSignals& stop,
             device::Console& console) {
    if (arguments[0].find(' ') == std::string::npos) {
        std::string line;
        for (const std::string& word : arguments) {
            line += (line.empty() ? "" : " ") + word;
        }
        arguments = {line};
    }
    bool more = true;
    for (const std::string& line : arguments) {
        more = more && !stop.received() && console.execute(line);
    }
    return more;
}

// Serves the machine to other processes until a signal arrives.
int serve(const Options& options) {
    const StopSignals stop;  // before the first thread
    device::Device machine(options.device);
    kova::http::Endpoint local(machine.service(), std::string("kova:") + SERVICE_PATH);
    kova::http::Endpoint web(machine.service(), "tcp:127.0.0.1:" + std::to_string(options.port));
    const std::string url = "http://" + web.address().substr(std::strlen("tcp:"));
    std::cout
        << "Serving this machine until Ctrl-C. Try in another terminal:\n  curl --unix-socket "
        << local.address().substr(std::strlen("unix:")) << " http://localhost/system/memory\n"
        << "  curl -i -X PUT --json '{\"level\": 55}' " << url << "/volume\n"
        << "  curl -N -H 'Accept: text/event-stream' " << url << "/clock" << std::endl;
    stop.wait();
    machine.service().stop(PATIENCE);  // ends the streams, for which the endpoints would wait
    local.stop(PATIENCE);
    web.stop(PATIENCE);
    std::cout << SHUT_DOWN << std::endl;
    return exitstatus::ANSWERED;
}

int run(const Options& options) {
    const StopSignals stop;  // before the first thread
    std::optional<device::Device> machine;
    std::unique_ptr<kova::IKovaApi> remote;
    if (options.remote) {
        remote = kova::http::open(std::string("kova:") + SERVICE_PATH + "$/").orThrow().service;
    } else {
        machine.emplace(options.device);
    }
    tracing::client_helper::setClientId(options.clientId);
    kova::headers::setAgt("");  // use the environment's token: a process list would show an option
    device::Journal journal(std::cout, options.quiet ? &std::cerr : nullptr);
    device::Console console(options.remote ? *remote : machine->service(), SERVICE_PATH, journal,
                            [&stop] { return stop.received(); });
    if (console.connect(options.speaks)) {
        bool more = options.arguments.empty() ? readLines(stop, console, options.quiet)
                                              : execute(options.arguments, stop, console);
        // After the end of the input, streams continue until a signal stops the process.
        while (more && console.hasPending()) {
            more = !stop.wait(std::chrono::milliseconds(100));
        }
    }
    console.shutdown();
    if (machine) {
        machine->service().stop(PATIENCE);
        journal.say(SHUT_DOWN);
    }
    return journal.exitStatus();
}

}  // namespace

int main(int argc, char** argv) try {
    CLI::App app("This machine as a kova service, with a client that sends it requests.");
    Options options;
    describe(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? exitstatus::ANSWERED : exitstatus::MISUSED;
    }
    options.arguments = app.remaining();
    options.device.interval = std::chrono::milliseconds(options.interval);
    if (!options.arguments.empty() && options.arguments[0][0] == '-') {
        std::cerr << "unknown option " << options.arguments[0]
                  << "; --help tells which there are\n";
        return exitstatus::MISUSED;
    }
    if (!options.arguments.empty() && options.arguments[0] == "serve") {
        return serve(options);
    }
    return run(options);
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return exitstatus::NOT_STARTED;
}
