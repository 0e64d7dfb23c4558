// Binary payloads: what is decoded can be encoded, and decodes and encodes to the same bytes again.
#include "support/Convert.h"
#include "support/Fuzz.h"
#include "support/RecordingSerializer.h"

using namespace fuzz;

namespace {

/// What the payload says, call by call; nothing when it is refused.
std::optional<std::vector<std::string>> callsOf(std::string_view payload) {
    BinaryReader source;
    kova::test::RecordingSerializer recorder;
    const bool taken = payloads::replayed(source, payload, recorder);
    return taken ? std::optional(recorder.calls()) : std::nullopt;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    const std::string_view payload(reinterpret_cast<char const*>(data), size);
    const auto calls = callsOf(payload);
    const auto encoded = converted(BinaryReader(), payload, BinaryWriter());
    require(encoded.has_value() == calls.has_value(), "what is decoded can be encoded");
    if (!encoded) {
        return 0;
    }
    require(callsOf(*encoded) == calls, "what was encoded says the same");
    const auto again = converted(BinaryReader(), *encoded, BinaryWriter());
    require(again == encoded, "what was encoded encodes to the same bytes");
    return 0;
}
