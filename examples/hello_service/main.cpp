#include <iostream>

#include "kova/kit/Client.h"
#include "kova/kit/Resource.h"
#include "kova/kit/Service.h"

namespace kit = kova::kit;

int main() {
    kit::Resource greeting;
    greeting.on(kit::command::retrieve, "{name}",
                [](const kit::Ask&, const std::string& name) { return "Hello, " + name + "!"; });
    const auto service = kit::ServiceBuilder().mount("/greeting", greeting).build();

    const kit::Client client(*service);
    for (char const* path : {"/greeting/world", "/greetings"}) {
        const auto answer = client.retrieve<std::string>(path).get();
        std::cout << (answer ? *answer : answer.error().toString()) << '\n';
    }
}
