// Binary payloads: a payload that can be decoded can be encoded, and decoding and encoding the
// result produces the same bytes again.
#include "support/Convert.h"
#include "support/Fuzz.h"
#include "support/RecordingSerializer.h"

using namespace fuzz;

namespace {

/// Returns the calls by which the payload is replayed, or nullopt if it is rejected.
std::optional<std::vector<std::string>> callsOf(std::string_view payload) {
    BinaryReader source;
    kova::test::RecordingSerializer recorder;
    const bool accepted = payloads::replayed(source, payload, recorder);
    return accepted ? std::optional(recorder.calls()) : std::nullopt;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    const std::string_view payload(reinterpret_cast<char const*>(data), size);
    const auto calls = callsOf(payload);
    const auto encoded = converted(BinaryReader(), payload, BinaryWriter());
    require(encoded.has_value() == calls.has_value(), "a payload that is decoded can be encoded");
    if (!encoded) {
        return 0;
    }
    require(callsOf(*encoded) == calls, "an encoded payload decodes to the same calls");
    const auto again = converted(BinaryReader(), *encoded, BinaryWriter());
    require(again == encoded, "encoding again produces the same bytes");
    return 0;
}
