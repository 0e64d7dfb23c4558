#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <vector>

#include "support/Convert.h"
#include "support/Fuzz.h"

/// Arrays of numbers, their byte representations, and payloads with them.
namespace fuzz {

/// Returns the numbers whose bytes are in `bytes`. Ignores an incomplete number at the end.
template <typename Number>
std::vector<Number> itemsOf(const std::string& bytes) {
    std::vector<Number> items(bytes.size() / sizeof(Number));
    if (!items.empty()) {
        std::memcpy(items.data(), bytes.data(), items.size() * sizeof(Number));
    }
    return items;
}

/// Returns the bytes of the numbers in memory. The target must be little-endian.
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
/// Returns a payload with the numbers, or nullopt if the format cannot represent them.
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

/// Returns a binary payload with a tag and a byte string of up to 65535 bytes.
inline std::string tagged(int tag, const std::string& bytes) {
    const std::size_t size = bytes.size();
    return {"\xD8" + std::string(1, static_cast<char>(tag)) + '\x59' +
            static_cast<char>(size >> 8) + static_cast<char>(size & 0xFF) + bytes};
}

/// Returns whether JSON can represent the numbers.
template <typename Number>
bool areFinite(const std::vector<Number>& items) {
    return std::all_of(items.begin(), items.end(), [](Number item) {
        return !std::is_floating_point_v<Number> || std::isfinite(static_cast<double>(item));
    });
}

/// Requires that the getter of the pull interface reads the numbers from the payload bit by bit.
/// Any NaN is accepted for a NaN.
template <auto Get, typename Reader, typename Number>
void requireItems(const std::optional<std::string>& payload, const std::vector<Number>& items,
                  char const* invariant) {
    require(payload.has_value(), invariant);
    payloads::Pull<Reader> pull(*payload);
    std::vector<Number> read;
    require(pull.begun && !(pull.*Get)(read) && !pull.endDeserialize(), "an array can be read");
    require(std::equal(items.begin(), items.end(), read.begin(), read.end(),
                       [](Number a, Number b) {
                           return std::memcmp(&a, &b, sizeof a) == 0 || (a != a && b != b);
                       }),
            invariant);
}

}  // namespace fuzz
