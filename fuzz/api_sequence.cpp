// Requests, cancellations, answers, ends, shutdowns and calls out of callbacks, in any order: every
// request that is taken ends at most once, gets no value after its end or the shutdown, is
// cancelled at most once and reaches the resource mounted nearest (support/Play.h).
#include "support/Fuzz.h"
#include "support/Play.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    fuzz::Input input(data, size);
    fuzz::Play play(input);
    while (!input.isEmpty()) {
        play.step();
    }
    return 0;
}
