// The service of a car: in the process of its client, at a Unix socket, or at a broker.
#include <chrono>
#include <exception>
#include <iostream>
#include <memory>
#include <string>

#include "kova/http/Connect.h"
#include "kova/http/Endpoint.h"
#include "kova/kit/Client.h"
#include "kova/kit/Observable.h"
#include "kova/kit/Service.h"
#include "kova/kit/StopSignals.h"
#include "kova/nats/Connect.h"
#include "kova/nats/Server.h"

// The service does not know where its clients are.
class Car {
public:
    Car() {
        state_.onWrite([](const std::string&) { return kova::kit::Result<void>(); });
        service_ = kova::kit::ServiceBuilder().mount("/state", state_).build();
    }
    kova::IKovaApi& service() const { return *service_; }

private:
    kova::kit::Observable<std::string> state_{"parked"};
    std::unique_ptr<kova::kit::Service> service_;
};

// A client does not know where the service is.
void use(kova::IKovaApi& car) {
    const kova::kit::Client client(car);
    std::cout << "it is " << client.retrieve<std::string>("/state").get().orThrow() << '\n';
    client.update("/state", "driving").get().orThrow();
    std::cout << "it is " << client.retrieve<std::string>("/state").get().orThrow() << '\n';
}

bool isBroker(const std::string& address) {
    return address.rfind("nats:", 0) == 0;
}

// Returns the car at a socket, or one of the cars at a broker.
std::unique_ptr<kova::IKovaApi> find(const std::string& address, const std::string& name) {
    return isBroker(address) ? kova::nats::connect(address, "/device", name).orThrow()
                             : kova::http::connect(address).orThrow();
}

// Serves a car until the process is told to end.
void serve(const std::string& address, const std::string& name) {
    const kova::kit::StopSignals stop;
    const Car car;
    std::unique_ptr<kova::http::Endpoint> endpoint;
    std::unique_ptr<kova::nats::Server> server;
    if (isBroker(address)) {
        kova::nats::ServerOptions options;
        options.servicePath = "/device";
        options.instance = name;
        server = std::make_unique<kova::nats::Server>(car.service(), address, options);
        server->waitUntilServing(std::chrono::seconds(30)).orThrow();
    } else {
        endpoint = std::make_unique<kova::http::Endpoint>(car.service(), address);
    }
    std::cout << "serving " << address << ' ' << name << std::endl;
    static_cast<void>(stop.wait());
}

int main(int argc, char* argv[]) {
    try {
        const std::string address = argc > 2 ? argv[2] : "";
        const std::string name = argc > 3 ? argv[3] : "";
        if (argc == 1) {
            const Car car;
            use(car.service());
        } else if (std::string(argv[1]) == "serve") {
            serve(address, name);
        } else {
            use(*find(address, name));
        }
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
