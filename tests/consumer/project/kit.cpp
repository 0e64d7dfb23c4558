// Uses the kit and its headers for tests.
#include <iostream>
#include <string>
#include <vector>

#include "kova/kit/Values.h"
#include "kova/testing/ManualClock.h"

struct Volume {
    int level = 30;
    bool muted = false;
};
KOVA_FIELDS(Volume, level, optional(muted))

int main() {
    const kova::Payload payload = kova::kit::toPayload(Volume{55, true}).orThrow();
    std::string text;
    static_cast<void>(kova::Payload::createStringFrom(payload, text, true));
    std::cout << text << '\n';
    const auto wrong = kova::kit::fromPayload<Volume>(kova::Payload::createFromJSON("{}"));
    std::cout << wrong.error().toString() << '\n';
    return 0;
}
