// Prints what each server and each client of libkova_nats costs its process.
//   nats_connection_cost [NUMBER]     connects 100 of each unless another number is given
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "kova/kit/Client.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "kova/nats/Connect.h"
#include "kova/nats/Server.h"
#include "support/Broker.h"

namespace kova::test {
namespace {

constexpr std::chrono::seconds LIMIT{30};

/// Returns the number after a name in a file of /proc/self.
long numberIn(const std::string& file, const std::string& name) {
    std::ifstream in("/proc/self/" + file);
    for (std::string word; in >> word;) {
        if (long number = 0; word == name && in >> number) {
            return number;
        }
    }
    throw std::runtime_error(file + " has no line " + name);
}

/// What the process uses.
struct Use {
    double kilobytes = static_cast<double>(numberIn("smaps_rollup", "Private_Dirty:"));
    double threads = static_cast<double>(numberIn("status", "Threads:"));
};

void print(char const* what, const Use& before, std::size_t number) {
    const Use now;
    const auto count = static_cast<double>(number);
    std::cout << what << ": " << (now.kilobytes - before.kilobytes) / count << " KB and "
              << (now.threads - before.threads) / count << " threads\n";
}

std::string answerOf(IKovaApi& device) {
    const auto answer = kit::Client(device).retrieve<std::string>("/name").get(LIMIT);
    return answer ? *answer : answer.error().toString();
}

int measure(std::size_t number) {
    kit::Resource name;
    name.on(kit::command::retrieve, "", [](const kit::Ask&) { return std::string("device"); });
    const auto service = kit::ServiceBuilder().mount("/name", name).build();
    const Broker broker;

    const Use atFirst;
    std::vector<std::unique_ptr<nats::Server>> servers;
    for (std::size_t i = 0; i < number; ++i) {
        nats::ServerOptions options;
        options.servicePath = "/device";
        options.instance = "car-" + std::to_string(i);
        servers.push_back(std::make_unique<nats::Server>(*service, broker.url(), options));
    }
    for (const auto& server : servers) {
        server->waitUntilServing(LIMIT).orThrow();
    }
    print("each server", atFirst, number);

    const Use withServers;
    std::vector<std::unique_ptr<IKovaApi>> clients;
    for (std::size_t i = 0; i < number; ++i) {
        const std::string instance = "car-" + std::to_string(i);
        clients.push_back(nats::connect(broker.url(), "/device", instance).orThrow());
        if (answerOf(*clients.back()) != "device") {
            std::cerr << "nats_connection_cost: " << instance << " does not answer\n";
            return 1;
        }
    }
    print("each client, and its first request", withServers, number);
    return 0;
}

}  // namespace
}  // namespace kova::test

int main(int argc, char* argv[]) {
    const long number = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 100;
    if (number < 1 || number > 10'000) {
        std::cerr << "usage: nats_connection_cost [NUMBER]     1 to 10000\n";
        return 2;
    }
    return kova::test::measure(static_cast<std::size_t>(number));
}
