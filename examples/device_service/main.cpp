// This machine as a service, and a client that sends it requests: one process, one composed service
// with two resource handlers.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
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

void readLines(device::LineReader& lines, device::Client& client) {
    const bool terminal = isatty(STDIN_FILENO) != 0;
    if (terminal) {
        client.say("Send requests to this machine; \"help\" tells how, \"quit\" ends.");
    }
    while (true) {
        if (terminal) {
            std::cout << "kova> " << std::flush;
        }
        const auto line = lines.next();
        if (!line || !client.execute(*line)) {
            return;
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("This machine as a kova service, with a client that sends it requests.");
    std::string storeFile = "kova-store.json";
    unsigned int interval = 1000;
    std::vector<std::string> arguments;
    app.add_option("--store", storeFile, "JSON file behind /store; made when it is not there")
        ->capture_default_str();
    app.add_option("--interval", interval, "milliseconds between the values of a stream")
        ->capture_default_str()
        ->check(CLI::Range(1U, 3600000U));
    app.add_option("request", arguments, "a request, or several as one argument each");
    app.footer(std::string("Without a request, lines are read from standard input:\n\n") +
               device::Client::help());
    app.positionals_at_end();
    CLI11_PARSE(app, argc, argv);

    device::StoreDocument document(storeFile);
    std::string reason;
    if (document.load(reason)) {
        std::cerr << reason << '\n';
        return 1;
    }

    // The root of a service answers in the type that this function picks; without one, a request
    // for the root ends the process.
    kova::servicecomp::overrideMimeTypeFunc(device::acceptedType);
    std::map<std::string, std::unique_ptr<kova::IResourceHandler>> handlers;
    handlers["/system"] = std::make_unique<device::SystemHandler>(
        device::SystemInfo(), std::chrono::milliseconds(interval));
    handlers["/store"] = std::make_unique<device::StoreHandler>(std::move(document));

    device::LineReader lines(STDIN_FILENO);
    // The client is declared first, so that it is there as long as the service may send events.
    std::unique_ptr<kova::StaticComposedKovaService> service =
        std::make_unique<kova::StaticComposedKovaService>(std::move(handlers));
    device::Client client(
        *service, [&service] { service->shutdown(); }, std::cout);

    bool more = true;
    for (const std::string& line : linesOf(arguments)) {
        more = more && client.execute(line);
    }
    if (arguments.empty()) {
        readLines(lines, client);
        more = !lines.stopped();
    }
    // At the end of the input, streams go on until somebody stops them.
    while (more && client.hasPending() && !lines.waitForStop(100)) {
    }
    service->shutdown();
    service.reset();
    client.say("the service is shut down");
    return 0;
}
