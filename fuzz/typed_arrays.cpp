// Typed arrays: the items of every number type, in both byte orders, come through the three ways to
// write them (packed, plain, JSON) as they are.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <type_traits>

#include "support/Convert.h"
#include "support/Fuzz.h"

using namespace fuzz;
using payloads::Pull;
using util::serializer::OptionTag;

namespace {

template <auto Get, typename Number, typename Reader>
std::vector<Number> read(const std::string& payload) {
    Pull<Reader> pull(payload);
    std::vector<Number> items;
    require(pull.begun && !(pull.*Get)(items) && !pull.endDeserialize(), "an array is read");
    return items;
}

template <typename Number>
bool isSame(const std::vector<Number>& left, const std::vector<Number>& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](auto a, auto b) {
        return std::memcmp(&a, &b, sizeof a) == 0 || (a != a && b != b);
    });
}

template <typename Number>
bool isFinite(const std::vector<Number>& items) {
    return std::all_of(items.begin(), items.end(), [](Number item) {
        return !std::is_floating_point_v<Number> || std::isfinite(static_cast<double>(item));
    });
}

/// A binary payload of a tag and a byte string of up to 65535 bytes.
std::string tagged(int tag, const std::string& bytes) {
    const std::size_t size = bytes.size();
    return {"\xD8" + std::string(1, static_cast<char>(tag)) + '\x59' +
            static_cast<char>(size >> 8) + static_cast<char>(size & 0xFF) + bytes};
}

template <auto Get, typename Number>
void check(std::string bytes, int bigEndianTag, int littleEndianTag) {
    std::vector<Number> items(bytes.size() / sizeof(Number));
    bytes.resize(items.size() * sizeof(Number));
    if (!items.empty()) {
        std::memcpy(items.data(), bytes.data(), bytes.size());
    }
    const auto write = [&](auto& serializer) { return serializer.serializeArray(items); };
    const util::serializer::Options plain{{OptionTag::PlainArrays, 1}};
    BinaryWriter binary;
    JsonWriter json(true);
    const auto packed = payloads::written(binary, write);
    const auto unpacked = payloads::written(binary, write, &plain);
    const auto text = payloads::written(json, write);
    require(packed && isSame(read<Get, Number, BinaryReader>(*packed), items), "packed");
    require(unpacked && isSame(read<Get, Number, BinaryReader>(*unpacked), items), "plain");
    require(text.has_value() == isFinite(items), "JSON has finite numbers only");
    require(!text || isSame(read<Get, Number, JsonReader>(*text), items), "JSON");
    const std::string little = tagged(littleEndianTag, bytes);
    require(isSame(read<Get, Number, BinaryReader>(little), items), "little-endian");
    for (auto at = bytes.begin(); at != bytes.end(); at += sizeof(Number)) {
        std::reverse(at, at + sizeof(Number));
    }
    const std::string big = tagged(bigEndianTag, bytes);
    require(isSame(read<Get, Number, BinaryReader>(big), items), "big-endian");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    using P = util::serializer::PullFromPushDeserializer;
    constexpr void (*CHECKS[])(std::string, int, int) = {
        check<&P::getUInt8Array, std::uint8_t>,   check<&P::getUInt16Array, std::uint16_t>,
        check<&P::getUInt32Array, std::uint32_t>, check<&P::getUInt64Array, std::uint64_t>,
        check<&P::getInt8Array, std::int8_t>,     check<&P::getInt16Array, std::int16_t>,
        check<&P::getInt32Array, std::int32_t>,   check<&P::getInt64Array, std::int64_t>,
        check<&P::getFloatArray, float>,          check<&P::getDoubleArray, double>};
    constexpr int TAGS[][2] = {{64, 68}, {65, 69}, {66, 70}, {67, 71}, {72, 72},
                               {73, 77}, {74, 78}, {75, 79}, {81, 85}, {82, 86}};
    Input input(data, size);
    const std::size_t type = input.byte() % std::size(CHECKS);
    CHECKS[type](input.take(0xFFFF), TAGS[type][0], TAGS[type][1]);
    return 0;
}
