// Typed arrays: items of every number type survive the three representations (packed, plain, JSON)
// unchanged, and can be read in both byte orders.
#include "support/Arrays.h"
#include "support/Fuzz.h"

using namespace fuzz;
using P = util::serializer::PullFromPushDeserializer;

namespace {

/// Checks the getter of one number type. BIG and LITTLE are the tags of its two byte orders.
template <auto Get, typename Number, int BIG, int LITTLE>
void check(const std::string& bytes) {
    const std::vector<Number> items = itemsOf<Number>(bytes);
    const std::optional<std::string> text = asJson(items);
    requireItems<Get, BinaryReader>(packed(items), items, "packed arrays are unchanged");
    requireItems<Get, BinaryReader>(plain(items), items, "plain arrays are unchanged");
    require(text.has_value() == areFinite(items), "JSON accepts finite numbers only");
    if (text) {
        requireItems<Get, JsonReader>(text, items, "JSON arrays are unchanged");
    }
    requireItems<Get, BinaryReader>(tagged(LITTLE, littleEndian(items)), items,
                                    "little-endian arrays can be read");
    requireItems<Get, BinaryReader>(tagged(BIG, bigEndian(items)), items,
                                    "big-endian arrays can be read");
}

constexpr void (*CHECKS[])(const std::string&) = {check<&P::getUInt8Array, std::uint8_t, 64, 68>,
                                                  check<&P::getUInt16Array, std::uint16_t, 65, 69>,
                                                  check<&P::getUInt32Array, std::uint32_t, 66, 70>,
                                                  check<&P::getUInt64Array, std::uint64_t, 67, 71>,
                                                  check<&P::getInt8Array, std::int8_t, 72, 72>,
                                                  check<&P::getInt16Array, std::int16_t, 73, 77>,
                                                  check<&P::getInt32Array, std::int32_t, 74, 78>,
                                                  check<&P::getInt64Array, std::int64_t, 75, 79>,
                                                  check<&P::getFloatArray, float, 81, 85>,
                                                  check<&P::getDoubleArray, double, 82, 86>};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    CHECKS[input.byte() % std::size(CHECKS)](input.take(0xFFFF));
    return 0;
}
