// Requests, cancellations, answers, shutdowns and calls from callbacks, in any order. Every
// accepted request reaches the longest matching mount, terminates at most once and is cancelled at
// most once. It receives no value after its termination or the shutdown (support/Scenario.h).
#include "support/Fuzz.h"
#include "support/Scenario.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::Input input(data, size);
    fuzz::Scenario scenario(input);
    while (!input.isEmpty()) {
        scenario.step();
    }
    return 0;
}
