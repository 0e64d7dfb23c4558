// A field reader: it accepts no payload that a pull reader rejects, and reads the same values.
#include "support/FieldWalk.h"
#include "support/Fuzz.h"

using namespace fuzz;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    const bool binary = input.byte() == 'b';
    const std::string payload = input.rest();
    const auto result =
        binary ? payloads::compareBinaryFields(payload) : payloads::compareJsonFields(payload);
    require(result != payloads::Comparison::Differs, "a field reader reads like a pull reader");
    require(binary || result != payloads::Comparison::Refused,
            "a field reader accepts every JSON text");
    return 0;
}
