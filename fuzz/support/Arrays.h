#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <vector>

#include "support/Convert.h"
#include "support/Fuzz.h"

/// Arrays of numbers, their bytes, and what is read from a payload of them.
namespace fuzz {

/// The numbers that lie in the bytes; what is left over at the end does not count.
template <typename Number>
std::vector<Number> itemsOf(const std::string& bytes) {
    std::vector<Number> items(bytes.size() / sizeof(Number));
    if (!items.empty()) {
        std::memcpy(items.data(), bytes.data(), items.size() * sizeof(Number));
    }
    return items;
}

/// The bytes of the numbers as they lie in memory, which is little-endian.
template <typename Number>
std::string littleEndian(const std::vector<Number>& items) {
    return {reinterpret_cast<char const*>(items.data()), items.size() * sizeof(Number)};
}

template <typename Number>
std::string bigEndian(const std::vector<Number>& items) {
    std::string bytes = littleEndian(items);
    for (auto at = bytes.begin(); at != bytes.end(); at += sizeof(Number)) {
        std::reverse(at, at + sizeof(Number));
    }
    return bytes;
}

/// @{
/// A payload of the numbers; nothing when the format cannot express them.
template <typename Number>
std::optional<std::string> packed(const std::vector<Number>& items) {
    BinaryWriter writer;
    return payloads::written(writer, [&](auto& target) { return target.serializeArray(items); });
}
template <typename Number>
std::optional<std::string> plain(const std::vector<Number>& items) {
    const util::serializer::Options options{{util::serializer::OptionTag::PlainArrays, 1}};
    BinaryWriter writer;
    return payloads::written(
        writer, [&](auto& target) { return target.serializeArray(items); }, &options);
}
template <typename Number>
std::optional<std::string> asJson(const std::vector<Number>& items) {
    JsonWriter writer(true);
    return payloads::written(writer, [&](auto& target) { return target.serializeArray(items); });
}
/// @}

/// A binary payload of a tag and a byte string of up to 65535 bytes.
inline std::string tagged(int tag, const std::string& bytes) {
    const std::size_t size = bytes.size();
    return {"\xD8" + std::string(1, static_cast<char>(tag)) + '\x59' +
            static_cast<char>(size >> 8) + static_cast<char>(size & 0xFF) + bytes};
}

/// Whether JSON can express the numbers.
template <typename Number>
bool areFinite(const std::vector<Number>& items) {
    return std::all_of(items.begin(), items.end(), [](Number item) {
        return !std::is_floating_point_v<Number> || std::isfinite(static_cast<double>(item));
    });
}

/// That the getter of the pull interface reads the numbers from the payload, bit by bit; one that
/// is not a number is as good as another.
template <auto Get, typename Reader, typename Number>
void requireItems(const std::optional<std::string>& payload, const std::vector<Number>& items,
                  char const* law) {
    require(payload.has_value(), law);
    payloads::Pull<Reader> pull(*payload);
    std::vector<Number> read;
    require(pull.begun && !(pull.*Get)(read) && !pull.endDeserialize(), "an array is read");
    require(std::equal(items.begin(), items.end(), read.begin(), read.end(),
                       [](Number a, Number b) {
                           return std::memcmp(&a, &b, sizeof a) == 0 || (a != a && b != b);
                       }),
            law);
}

}  // namespace fuzz
