// Tests of a service, without a test framework.
#include <chrono>
#include <future>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "kova/core/KovaException.h"
#include "kova/core/headers.h"
#include "kova/kit/Client.h"
#include "kova/kit/Middleware.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "kova/testing/Conformance.h"
#include "kova/testing/ManualClock.h"
#include "kova/testing/Recording.h"
#include "kova/testing/Reports.h"
#include "kova/testing/Script.h"
#include "kova/testing/Traces.h"

namespace command = kova::kit::command;
using kova::kit::Ask;
using kova::kit::Chain;
using kova::kit::Client;
using Events = kova::testing::Recording::Events;

// The service under test: a heater with a target that clients set, and a sensor that never answers.
class Heater {
public:
    Heater() {
        target_.onWrite([](const double& wanted) -> kova::kit::Result<void> {
            if (wanted > 30) {
                return kova::kit::Error{400, "30 degrees are enough"};
            }
            return kova::kit::done();
        });
        sensor_.on(command::retrieve, "", [this](const Ask&, kova::kit::Reply<double> reply) {
            unanswered_ = std::move(reply);
        });
        sensor_.on(command::update, "", [](const Ask&) { throw std::runtime_error("no driver"); });
        service_ =
            kova::kit::ServiceBuilder().mount("/target", target_).mount("/sensor", sensor_).build();
    }
    kova::IKovaApi& api() { return *service_; }
    std::unique_ptr<kova::IResourceHandler> target() const { return target_.handler(); }

private:
    std::optional<kova::kit::Reply<double>> unanswered_;
    kova::kit::Observable<double> target_{20};
    kova::kit::Resource sensor_;
    std::unique_ptr<kova::kit::Service> service_;
};

int failures = 0;

void check(const std::string& name, bool holds) {
    std::cout << (holds ? "passed: " : "FAILED: ") << name << '\n';
    failures += holds ? 0 : 1;
}

void testValues() {
    Heater heater;
    const Client client(heater.api());
    check("a target is stored", client.update("/target", 22.5).get().ok() &&
                                    client.retrieve<double>("/target").get().valueOr(0) == 22.5);
    const auto refused = client.update("/target", 31).get();
    check("a target that is too hot is refused",
          !refused && refused.error() == kova::kit::Error{400, "30 degrees are enough"});
}

// Checks the events that a client would get, and their order.
void testEvents() {
    Heater heater;
    const auto recording = kova::testing::record();
    kova::Request request("retrieve", "/target");
    heater.api().actionRequest(request, recording.handler());
    check("a target is one value and a completion",
          recording.waitFor(2) == Events{"value 200 20.0", "completed"});

    const auto stream = kova::testing::record();
    kova::headers::appendResponseSemantic(request, kova::headers::PERSISTENT_STREAM);
    void* const handle = heater.api().actionRequest(request, stream.handler());
    check("a stream begins with the target", stream.waitFor(1) == Events{"value 299 20.0"});
    heater.api().cancelRequest(handle);
    check("a cancelled stream is released", stream.waitUntilDestroyed());
}

// A manual clock lets half a minute pass without waiting.
void testDeadline() {
    Heater heater;
    kova::testing::ManualClock clock;
    kova::kit::ClientOptions options;
    options.clock = &clock;
    const Client client(heater.api(), options);
    auto reading = client.retrieve<double>("/sensor").future();
    const auto isOver = [&] {
        return reading.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    };
    clock.advance(std::chrono::seconds(29));
    check("the client still waits after 29 s", !isOver());
    clock.advance(std::chrono::seconds(1));
    std::string reason;
    try {
        reading.get();
    } catch (const kova::KovaException& error) {
        reason = error.what();
    }
    check("the client gives up after 30 s", reason.find("504") == 0);
}

void testReports() {
    Heater heater;
    kova::testing::Reports reports;
    const Client client(heater.api());
    check("an exception is answered with 500",
          client.update("/sensor", 1).get().error().code == 500);
    const auto seen = reports.take();
    check("an exception is reported",
          seen.size() == 1 && seen[0].reason.find("no driver") != std::string::npos);
}

void testTraces() {
    Heater heater;
    Chain api(heater.api());
    api.use(kova::kit::logging("HEATER_REQUESTS"));
    kova::testing::Traces traces("HEATER_*", 2);
    const Client client(api);
    client.retrieve<double>("/target").get().orThrow();
    const auto lines = traces.take();
    check("a request is traced",
          lines.size() == 1 && lines[0].text.find("code=200") != std::string::npos);
}

// Does each request end, even if the service drops half of the requests?
void testFaults() {
    Heater heater;
    Chain api(heater.api());
    kova::kit::FaultOptions options;
    options.drop = 0.5;
    api.use(kova::kit::faults(options));
    const Client client(api);
    int answered = 0;
    int dropped = 0;
    for (int i = 0; i < 100; ++i) {
        const auto target = client.retrieve<double>("/target").get();
        answered += target ? 1 : 0;
        dropped += !target && target.error().code == 500 ? 1 : 0;
    }
    check("each request has an end", answered > 0 && dropped > 0 && answered + dropped == 100);
}

// Tests a client with a fake service, which answers when the test calls `go`.
void testClient() {
    kova::testing::Script sensor;
    sensor.wait().value({200, kova::Payload::createFromJSON("21.5")}).complete();
    const auto service = kova::kit::ServiceBuilder().mount("/sensor", sensor.handler()).build();
    const Client client(*service);
    auto reading = client.retrieve<double>("/sensor").future();
    check("the client has sent its request", sensor.pending() == 1);
    sensor.go();
    check("the client gets the value", reading.get() == 21.5);
}

// Does the handler answer every request once, end cancellations, serve several threads ...?
void testContract() {
    const Heater heater;
    kova::testing::ConformanceOptions options;
    options.limit = std::chrono::seconds(5);
    const auto findings = kova::testing::conformance([&] { return heater.target(); }, options);
    check("the target keeps the contract of handlers", findings.empty());
}

int main() {
    testValues();
    testEvents();
    testDeadline();
    testReports();
    testTraces();
    testFaults();
    testClient();
    testContract();
    return failures == 0 ? 0 : 1;
}
