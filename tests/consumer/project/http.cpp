// Serves a service at a Unix socket, and connects a client to this socket.
#include <iostream>
#include <string>

#include "kova/http/Connect.h"
#include "kova/http/Endpoint.h"
#include "kova/kit/Client.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"

int main() {
    kova::kit::Resource greeting;
    greeting.on(kova::kit::command::retrieve, "{name}",
                [](const kova::kit::Ask&, const std::string& name) { return "Hello, " + name; });
    const auto service = kova::kit::ServiceBuilder().mount("/greeting", greeting).build();
    const kova::http::Endpoint endpoint(*service, "unix:http_consumer.sock");

    const auto connection = kova::http::connect("unix:http_consumer.sock");
    const kova::kit::Client client(**connection);
    std::cout << client.retrieve<std::string>("/greeting/process").get().orThrow() << '\n';
    return 0;
}
