// Typed arrays: the items of every number type, in both byte orders, come through the three ways to
// write them (packed, plain, JSON) as they are.
#include "support/Arrays.h"
#include "support/Fuzz.h"

using namespace fuzz;
using P = util::serializer::PullFromPushDeserializer;

namespace {

/// For a getter, the numbers that it reads, and the tags of these in both byte orders.
template <auto Get, typename Number, int BIG, int LITTLE>
void check(const std::string& bytes) {
    const std::vector<Number> items = itemsOf<Number>(bytes);
    const std::optional<std::string> text = asJson(items);
    requireItems<Get, BinaryReader>(packed(items), items, "packed");
    requireItems<Get, BinaryReader>(plain(items), items, "plain");
    require(text.has_value() == areFinite(items), "JSON has finite numbers only");
    if (text) {
        requireItems<Get, JsonReader>(text, items, "JSON");
    }
    requireItems<Get, BinaryReader>(tagged(LITTLE, littleEndian(items)), items, "little-endian");
    requireItems<Get, BinaryReader>(tagged(BIG, bigEndian(items)), items, "big-endian");
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
