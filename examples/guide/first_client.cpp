// A client that reads, writes and watches the values of a service.
#include <chrono>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kova/core/MimeTypes.h"
#include "kova/core/StaticComposedKovaService.h"
#include "kova/core/headers.h"
#include "kova/kit/Client.h"
#include "kova/kit/Stream.h"
#include "kova/kit/Worker.h"

using kova::Request;
using kova::Response;
using kova::kit::Client;
using kova::kit::Result;
using std::chrono::seconds;

struct Reading {
    double celsius = 21.5;
};
KOVA_FIELDS(Reading, celsius)

// The resource handler of the service: a temperature that can be read, watched and set. It has
// no lock, because only one thread uses this service.
class Thermostat : public kova::IResourceHandler {
public:
    using Handler = std::unique_ptr<kova::IResponseHandler<Response>>;

    void* actionRequest(const Request& request, Handler&& handler, const std::string&) override {
        if (request.getCommand() == kova::kit::command::update) {
            return set(request, *handler);
        }
        handler->onNext({200, kova::kit::toPayload(reading_).orThrow()});
        if (wantsStream(request)) {
            watcher_ = std::move(handler);
            return this;
        }
        handler->onCompleted();
        return kova::IKovaApi::UNDEFINED_REQUEST_HANDLE;
    }
    void cancelRequest(void* /*handle*/) override { watcher_.reset(); }

private:
    static bool wantsStream(const Request& request) {
        std::string semantic;
        return !request.getHeaderValue(kova::headers::RESPONSE_SEMANTIC).get(semantic) &&
               semantic == kova::headers::PERSISTENT_STREAM;
    }
    void* set(const Request& request, kova::IResponseHandler<Response>& handler) {
        const auto wanted = kova::kit::fromPayload<Reading>(request.getPayload());
        if (!wanted) {
            handler.onError(wanted.error().toResponse());
            return kova::IKovaApi::UNDEFINED_REQUEST_HANDLE;
        }
        reading_ = *wanted;
        if (watcher_ != nullptr) {
            watcher_->onNext({200, kova::kit::toPayload(reading_).orThrow()});
        }
        handler.onCompleted();
        return kova::IKovaApi::UNDEFINED_REQUEST_HANDLE;
    }

    Reading reading_;
    Handler watcher_;
};

void show(const Client& client, const std::string& path) {
    const Result<Reading> reading = client.retrieve<Reading>(path).get();
    if (reading) {
        std::cout << path << ": " << reading->celsius << " degrees\n";
    } else {
        std::cout << path << ": " << reading.error().toString() << '\n';
    }
}

// Fetches the values of a stream one by one.
void fetchValues(const Client& client) {
    kova::kit::Stream<Reading> readings(client.watch<Reading>("/room/temperature"));
    std::cout << "now " << readings.wait(seconds(1))->celsius << '\n';
    client.update("/room/temperature", Reading{22.5}).get().orThrow();
    std::cout << "now " << readings.wait(seconds(1))->celsius << '\n';
}

int main() {
    kova::servicecomp::overrideMimeTypeFunc(
        [](const Request&) { return kova::mimetypes::JSON_TYPE; });
    std::map<std::string, std::unique_ptr<kova::IResourceHandler>> handlers;
    handlers["/room/temperature"] = std::make_unique<Thermostat>();
    kova::StaticComposedKovaService service(std::move(handlers));

    kova::kit::ClientOptions options;
    options.clientId = "hmi";
    options.deadline = seconds(5);
    Client client(service, options);

    const auto resources = client.retrieve<std::vector<std::string>>("/").get().orThrow();
    std::cout << "resources: " << resources.size() << ", the first is " << resources[0] << '\n';
    show(client, "/room/temperature");
    show(client, "/attic/temperature");
    const Result<void> refused = client.update("/room/temperature", "warm").get();
    std::cout << "update: " << refused.error().toString() << '\n';
    fetchValues(client);

    // The functions run on the thread of the worker, in the order of the events.
    kova::kit::Worker worker;
    kova::kit::Subscription subscription =
        client.watch<Reading>("/room/temperature")
            .onValue([](const Reading& reading) {
                std::cout << "changed to " << reading.celsius << '\n';
            })
            .onEnd([](const kova::kit::End& end) { std::cout << end.toString() << '\n'; })
            .start(worker);
    client.update("/room/temperature", Reading{19}).get().orThrow();
    service.shutdown();
    worker.stop();  // waits until the functions have run

    show(client, "/room/temperature");
}
