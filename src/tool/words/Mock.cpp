// The word mock: a service that behaves as an OpenAPI document describes.
#include <poll.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <list>
#include <memory>
#include <utility>

#include "MockDocument.h"
#include "MockService.h"
#include "PayloadInput.h"
#include "Report.h"
#include "Text.h"
#include "Words.h"
#include "kova/http/Endpoint.h"

namespace kova::tool {

namespace {

constexpr std::chrono::seconds PATIENCE(2);

/// The parsed command line.
struct MockOptions {
    std::string file;
    std::vector<std::string> addresses = {"kova:/mock"};
    /// The time after which streams repeat their value; 0 for never.
    std::chrono::milliseconds repeat{0};
};

// Repeats the values of streams until Ctrl-C.
void runUntilInterrupt(const Context& context, const MockOptions& options, MockService& service) {
    const int timeout = options.repeat.count() == 0 ? -1 : static_cast<int>(options.repeat.count());
    pollfd source{context.interrupt, POLLIN, 0};
    for (int ready = 0; ready <= 0;) {
        ready = ::poll(&source, 1, timeout);
        if (ready == 0) {
            service.repeat();
        }
    }
}

// Serves at the addresses until Ctrl-C. Prints the addresses. Throws if an address cannot be
// served.
void serve(const Context& context, const MockOptions& options, MockService& service) {
    std::list<http::Endpoint> endpoints;
    for (const std::string& address : options.addresses) {
        endpoints.emplace_back(service, address);
    }
    for (const http::Endpoint& endpoint : endpoints) {
        context.out.stream << endpoint.address() << '\n';
    }
    context.out.stream.flush();
    context.err.stream << "serving; Ctrl-C ends it\n" << std::flush;
    runUntilInterrupt(context, options, service);
    service.stop(PATIENCE);  // ends the streams, for which the endpoints would wait
    for (http::Endpoint& endpoint : endpoints) {
        endpoint.stop(PATIENCE);
    }
}

int mock(const Context& context, const MockOptions& options) {
    const auto text = readBytes(options.file, context, MockDocument::MOST_BYTES);
    if (!text) {
        return misused(context, text.error());
    }
    auto document = MockDocument::parse(*text);
    if (!document) {
        return misused(context, {400, options.file + ": " + document.error().message});
    }
    for (const std::string& operation : document->unserved()) {
        context.err.stream << "not served: " << visible(operation) << '\n';
    }
    MockService service(*std::move(document));
    try {
        serve(context, options, service);
    } catch (const std::exception& error) {
        return misused(context, {400, visible(error.what())});
    }
    return DONE;
}

}  // namespace

void addMock(Words& words) {
    const auto options = std::make_shared<MockOptions>();
    CLI::App& word =
        words.add("mock", "Serves an OpenAPI document, for a service that is not ready yet",
                  {"kova openapi kova:/device > device.json", "kova mock device.json kova:/device",
                   "kova mock device.json unix:device.sock tcp:127.0.0.1:8080 --repeat 1s"});
    word.add_option("FILE", options->file, "the document; - is standard input")
        ->required()
        ->type_name("");
    word.add_option("ADDRESSES", options->addresses,
                    "where to serve: kova:/SERVICE, unix:SOCKET or tcp:HOST:PORT [kova:/mock]")
        ->type_name("");
    addTime(word, "--repeat", options->repeat,
            "streams send their value again after this time, such as 1s; 0 for never [0]");
    words.onSelected(word, [options](const Context& context) { return mock(context, *options); });
}

}  // namespace kova::tool
