// Asks for a service at a broker that does not exist.
#include <chrono>
#include <iostream>
#include <string>

#include "kova/kit/Client.h"
#include "kova/nats/Connect.h"

int main() {
    kova::nats::ConnectOptions options;
    options.patience = std::chrono::milliseconds(1);
    const auto device = kova::nats::connect("nats://127.0.0.1:1", "/device", "", options);
    const kova::kit::Client client(**device);
    const auto level = client.retrieve<int>("/level").get();
    std::cout << (level ? "answered" : level.error().toString().substr(0, 23)) << '\n';
    return 0;
}
