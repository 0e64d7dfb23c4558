// A service that operators can look into: prints what a path below "/.kova" shows, or changes it.
//   kit_inspection PATH [JSON]
#include <iostream>
#include <optional>
#include <string>
#include <utility>

#include "kova/kit/Client.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"

struct Title {
    std::string title;
};
KOVA_FIELDS(Title, title)

namespace {

using namespace kova::kit;

void print(const kova::Payload& payload) {
    std::string text;
    if (!kova::Payload::createStringFrom(payload, text, false)) {
        std::cout << text << '\n';
    }
}

int show(kova::IKovaApi& service, const std::string& path, char const* json) {
    ClientOptions options;
    options.accept = kova::mimetypes::AXOBIN_TYPE;  // its values are printed as indented JSON
    Client client(service, options);
    const std::string full = "/.kova/" + path;
    const Result<kova::Payload> answer =
        json == nullptr
            ? client.retrieve<kova::Payload>(full).get()
            : client.update<kova::Payload>(full, kova::Payload::createFromJSON(json)).get();
    answer ? print(*answer) : print(kova::Payload::createFromString(answer.error().message));
    return answer ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    Resource playlist;
    playlist.on(command::retrieve, "{id:uint}", [](const Ask&, unsigned) { return Title{"Blue"}; });
    std::optional<Reply<double>> unanswered;
    Resource sensor;
    sensor.on(command::retrieve, "",
              [&](const Ask&, Reply<double> reply) { unanswered = std::move(reply); });

    InspectionOptions options;
    options.metrics = [] { return std::string("# TYPE tracks gauge\ntracks 1\n"); };
    ServiceBuilder builder;
    builder.name("player").version("1.2.0").inspect(options);
    builder.mount("/playlist", playlist).mount("/temperature", sensor);
    const auto service = builder.build();

    ClientOptions display;
    display.clientId = "display";
    Client client(*service, display);
    const Subscription waiting = client.retrieve<double>("/temperature").start();
    return show(*service, argc > 1 ? argv[1] : "version", argc > 2 ? argv[2] : nullptr);
}
