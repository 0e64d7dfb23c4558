// This machine as a service, and a client that sends it requests: one process, one composed service
// with two resource handlers.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <exception>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Client.h"
#include "LineReader.h"
#include "Replies.h"
#include "StoreHandler.h"
#include "SystemHandler.h"
#include "kova/core/StaticComposedKovaService.h"

namespace {

// Either each argument is a line, or all of them together are one: what has a blank in it is a
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

// False when a line asks to quit.
bool readLines(device::LineReader& lines, device::Client& client) {
    const bool terminal = isatty(STDIN_FILENO) != 0;
    if (terminal) {
        client.say("Send requests to this machine; \"help\" tells how, \"quit\" ends.");
    }
    while (true) {
        if (terminal) {
            std::cout << "kova> " << std::flush;
        }
        const auto line = lines.next();
        if (!line) {
            return true;
        }
        if (!client.execute(*line)) {
            return false;
        }
    }
}

std::unique_ptr<kova::StaticComposedKovaService> makeService(device::StoreDocument document,
                                                             std::chrono::milliseconds interval) {
    // The root of a service answers in the type that this function picks; without one, a request
    // for the root ends the process.
    kova::servicecomp::overrideMimeTypeFunc(device::acceptedType);
    std::map<std::string, std::unique_ptr<kova::IResourceHandler>> handlers;
    handlers["/system"] = std::make_unique<device::SystemHandler>(device::SystemInfo(), interval);
    handlers["/store"] = std::make_unique<device::StoreHandler>(std::move(document));
    return std::make_unique<kova::StaticComposedKovaService>(std::move(handlers));
}

}  // namespace

int main(int argc, char** argv) try {
    CLI::App app("This machine as a kova service, with a client that sends it requests.");
    std::string storeFile = "kova-store.json";
    unsigned int interval = 1000;
    app.add_option("--store", storeFile, "JSON file behind /store; made when it is not there")
        ->capture_default_str();
    app.add_option("--interval", interval, "milliseconds between the values of a stream")
        ->capture_default_str()
        ->check(CLI::Range(1U, 3600000U));
    app.footer(std::string("Behind the options comes a request, or several as one argument each. "
                           "Without one, lines\nare read from standard input:\n\n") +
               device::Client::help());
    // From the first word of a request on nothing is an option or a list: dashes and brackets
    // belong to the request.
    app.prefix_command();
    CLI11_PARSE(app, argc, argv);
    const std::vector<std::string> arguments = app.remaining();
    if (!arguments.empty() && arguments[0][0] == '-') {
        std::cerr << "unknown option " << arguments[0] << "; --help tells which there are\n";
        return 1;
    }

    device::StoreDocument document(storeFile);
    std::string reason;
    if (document.load(reason)) {
        std::cerr << reason << '\n';
        return 1;
    }

    device::LineReader lines(STDIN_FILENO);
    device::Client client(
        makeService(std::move(document), std::chrono::milliseconds(interval)),
        [&lines] { return lines.waitForStop(0); }, std::cout);

    bool more = !arguments.empty() || readLines(lines, client);
    for (const std::string& line : linesOf(arguments)) {
        more = more && !lines.waitForStop(0) && client.execute(line);
    }
    // At the end of the input, streams go on until somebody stops them.
    while (more && client.hasPending() && !lines.waitForStop(100)) {
    }
    client.shutdown();
    client.say("the service is shut down");
    return 0;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
