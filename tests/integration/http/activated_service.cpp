// Serves the service "/device", which has the number 30 at "/level", at the addresses that are the
// arguments, until SIGTERM.
#include <exception>
#include <iostream>
#include <list>
#include <map>
#include <string>

#include "kova/http/Endpoint.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"
#include "kova/kit/StopSignals.h"

int main(int argc, char** argv) try {
    const kova::kit::StopSignals stop;
    kova::kit::Resource level;
    level.on(kova::kit::command::retrieve, "", [](const kova::kit::Ask&) { return 30; });
    const auto service = kova::kit::ServiceBuilder().mount("/level", level).build();
    const std::map<std::string, kova::IKovaApi*> services{{"/device", service.get()}};
    std::list<kova::http::Endpoint> endpoints;
    for (int i = 1; i < argc; ++i) {
        endpoints.emplace_back(services, argv[i]);
        std::cout << endpoints.back().address() << std::endl;
    }
    stop.wait();
    return 0;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
