#include <chrono>
#include <iostream>
#include <string>

#include "kova/kit/Client.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "kova/nats/Connect.h"
#include "kova/nats/Server.h"

namespace kit = kova::kit;

int main(int argc, char* argv[]) {
    const std::string broker = argc > 1 ? argv[1] : "nats://127.0.0.1:4222";

    kit::Resource greeting;
    greeting.on(kit::command::retrieve, "{name}",
                [](const kit::Ask&, const std::string& name) { return "Hello, " + name + "!"; });
    const auto service = kit::ServiceBuilder().mount("/greeting", greeting).build();

    kova::nats::ServerOptions options;
    options.servicePath = "/device";
    options.instance = "car-17";
    kova::nats::Server server(*service, broker, options);
    if (const auto serving = server.waitUntilServing(std::chrono::seconds(10)); !serving) {
        std::cerr << serving.error().toString() << '\n';
        return 1;
    }

    const auto any = kova::nats::connect(broker, "/device").orThrow();            // any server
    const auto one = kova::nats::connect(broker, "/device", "car-17").orThrow();  // this server
    for (auto* const device : {any.get(), one.get()}) {
        const kit::Client client(*device);
        const auto answer = client.retrieve<std::string>("/greeting/world").get();
        std::cout << (answer ? *answer : answer.error().toString()) << '\n';
    }
}
