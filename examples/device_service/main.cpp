// A service for data about this machine. Serves other processes until a signal arrives.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>

#include "Device.h"
#include "kova/http/Endpoint.h"
#include "kova/kit/Chain.h"
#include "kova/kit/Middleware.h"
#include "kova/kit/StopSignals.h"

namespace {

constexpr int SERVED = 0;
constexpr int NOT_STARTED = 1;
constexpr int MISUSED = 2;
constexpr std::chrono::seconds PATIENCE(2);

/// The parsed command line.
struct Options {
    device::DeviceOptions device;
    unsigned int interval = 1000;
    std::uint16_t port = 8080;
};

void describe(CLI::App& app, Options& options) {
    app.option_defaults()->always_capture_default();
    app.add_option("--store", options.device.storeFile,
                   "JSON file of /store; created if it does not exist");
    app.add_option("--interval", options.interval, "milliseconds between the values of a stream")
        ->check(CLI::Range(1U, 3600000U));
    app.add_option("--port", options.port, "of 127.0.0.1; 0 is a free one");
    app.add_flag("--inspect", options.device.inspectsOverTcp,
                 "let all users of this machine inspect the service at the port");
    app.footer(R"(
The service is also registered as kova:/device, over a Unix socket.

The exit status is
  0  a signal ended the service
  1  the service was not started: the store cannot be read, or the name or the port is in use
  2  the command line is not valid
)");
}

void printCommands(const kova::http::Endpoint& local, const kova::http::Endpoint& web) {
    const std::string url = "http://" + web.address().substr(std::strlen("tcp:"));
    std::cout << "Serving this machine until Ctrl-C. Open " << url
              << "/ in a browser, or try in another terminal:\n"
              << "  curl --unix-socket " << local.address().substr(std::strlen("unix:"))
              << " http://localhost/system/memory\n"
              << "  curl -i -X PUT --json '{\"level\": 55}' " << url << "/volume\n"
              << "  curl -N -H 'Accept: text/event-stream' " << url << "/clock\n"
              << "  kova get 'kova:/device$/system/memory'\n"
              << "  kova put 'kova:/device$/volume' '{\"level\": 60}'\n"
              << "  kova watch 'kova:/device$/clock'" << std::endl;
}

void serve(const Options& options) {
    const kova::kit::StopSignals stop;  // created before the first thread starts
    device::Device machine(options.device);
    kova::kit::Chain api(machine.service());
    api.use(kova::kit::metrics(machine.metrics()));
    kova::http::Endpoint local(api, "kova:/device");
    kova::http::EndpointOptions loopback;
    loopback.inspectsOverTcp = options.device.inspectsOverTcp;
    kova::http::Endpoint web(api, "tcp:127.0.0.1:" + std::to_string(options.port), loopback);
    printCommands(local, web);
    stop.wait();
    machine.service().stop(PATIENCE);  // ends the streams, for which the endpoints would wait
    local.stop(PATIENCE);
    web.stop(PATIENCE);
    std::cout << "the service is shut down" << std::endl;
}

}  // namespace

int main(int argc, char** argv) try {
    CLI::App app("Serves data about this machine to other processes.");
    Options options;
    describe(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? SERVED : MISUSED;
    }
    options.device.interval = std::chrono::milliseconds(options.interval);
    serve(options);
    return SERVED;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return NOT_STARTED;
}
