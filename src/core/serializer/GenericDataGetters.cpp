#include "kova/core/GenericDataPullDeserializer.h"

#include <cmath>
#include <limits>
#include <new>
#include <type_traits>

#include "util/config/Scalars.h"

// The getters of the deserializer of value trees: conversions from a leaf to the requested type.

namespace kova::serializer {

using util::config::Value;

namespace {

/// Returns the float truncated towards zero, the nearest limit if it is outside the target's range,
/// or 0 for NaN.
template <typename Target>
Target convert(double value) noexcept {
    if constexpr (std::is_floating_point_v<Target>) {
        return static_cast<Target>(value);
    } else {
        using Limits = std::numeric_limits<Target>;
        if (std::isnan(value)) {
            return 0;
        }
        if (value <= static_cast<double>(Limits::min())) {
            return Limits::min();
        }
        if (value >= std::ldexp(1.0, Limits::digits)) {  // maximum + 1, exact as a double
            return Limits::max();
        }
        return static_cast<Target>(value);
    }
}

/// Reads the node with the value tree's getter for `Read` and stores `make` of the value.
template <typename Read, typename Number, typename Make>
bool read(const Value& node, Number& out, Make make) noexcept {
    Read value{};
    const bool failed = node.get(value);
    if (!failed) {
        out = make(value);
    }
    return failed;
}

/// Reads an integer node as `Integer`, converts a float node to `Float`, and casts that.
template <typename Integer, typename Float, typename Number>
bool readNumber(Value const* node, Number& out) noexcept {
    if (node == nullptr) {
        return true;
    }
    if (node->isInt()) {
        return read<Integer>(*node, out, [](Integer value) { return static_cast<Number>(value); });
    }
    if (node->isFloat()) {
        return read<double>(
            *node, out, [](double value) { return static_cast<Number>(convert<Float>(value)); });
    }
    return !node->isBool() ||
           read<bool>(*node, out, [](bool value) { return static_cast<Number>(value ? 1 : 0); });
}

}  // namespace

/// Consumes the node on top, even if the read fails then. Returns null if nothing was begun.
Value const* GenericDataPullDeserializer::readLeaf() noexcept {
    if (frames_.empty()) {
        return nullptr;
    }
    frames_.back().position = CONSUMED;
    return frames_.back().node;
}

bool GenericDataPullDeserializer::getNull() noexcept {
    Value const* node = readLeaf();
    return node == nullptr || !node->isNull();
}

bool GenericDataPullDeserializer::getBoolean(bool& out) noexcept {
    Value const* node = readLeaf();
    return node == nullptr || !node->isBool() || node->get(out);
}

bool GenericDataPullDeserializer::getString(std::string& out) noexcept {
    Value const* node = readLeaf();
    if (node == nullptr || !node->isString()) {
        return true;
    }
    try {
        return node->get(out);
    } catch (const std::bad_alloc&) {
        return true;
    }
}

bool GenericDataPullDeserializer::getInt8(std::int8_t& out) noexcept {
    return readNumber<long, std::int32_t>(readLeaf(), out);
}

bool GenericDataPullDeserializer::getUInt8(std::uint8_t& out) noexcept {
    return readNumber<unsigned long, std::uint32_t>(readLeaf(), out);
}

bool GenericDataPullDeserializer::getInt16(std::int16_t& out) noexcept {
    return readNumber<long, std::int32_t>(readLeaf(), out);
}

bool GenericDataPullDeserializer::getUInt16(std::uint16_t& out) noexcept {
    return readNumber<unsigned long, std::uint32_t>(readLeaf(), out);
}

bool GenericDataPullDeserializer::getInt32(std::int32_t& out) noexcept {
    return readNumber<int, std::int32_t>(readLeaf(), out);
}

bool GenericDataPullDeserializer::getUInt32(std::uint32_t& out) noexcept {
    return readNumber<unsigned int, std::uint32_t>(readLeaf(), out);
}

bool GenericDataPullDeserializer::getInt64(std::int64_t& out) noexcept {
    return readNumber<long, std::int64_t>(readLeaf(), out);
}

bool GenericDataPullDeserializer::getUInt64(std::uint64_t& out) noexcept {
    return readNumber<unsigned long, std::uint64_t>(readLeaf(), out);
}

bool GenericDataPullDeserializer::getFloat(float& out) noexcept {
    return readNumber<long, double>(readLeaf(), out);
}

bool GenericDataPullDeserializer::getDouble(double& out) noexcept {
    return readNumber<long, double>(readLeaf(), out);
}

bool GenericDataPullDeserializer::getNullArray(unsigned long&) noexcept {
    return true;
}

bool GenericDataPullDeserializer::getBooleanArray(std::vector<bool>&) noexcept {
    return true;
}

bool GenericDataPullDeserializer::getInt8Array(std::vector<std::int8_t>&) noexcept {
    return true;
}

bool GenericDataPullDeserializer::getUInt8Array(std::vector<std::uint8_t>&) noexcept {
    return true;
}

bool GenericDataPullDeserializer::getInt16Array(std::vector<std::int16_t>&) noexcept {
    return true;
}

bool GenericDataPullDeserializer::getUInt16Array(std::vector<std::uint16_t>&) noexcept {
    return true;
}

bool GenericDataPullDeserializer::getInt32Array(std::vector<std::int32_t>&) noexcept {
    return true;
}

bool GenericDataPullDeserializer::getUInt32Array(std::vector<std::uint32_t>&) noexcept {
    return true;
}

bool GenericDataPullDeserializer::getInt64Array(std::vector<std::int64_t>&) noexcept {
    return true;
}

bool GenericDataPullDeserializer::getUInt64Array(std::vector<std::uint64_t>&) noexcept {
    return true;
}

bool GenericDataPullDeserializer::getFloatArray(std::vector<float>&) noexcept {
    return true;
}

bool GenericDataPullDeserializer::getDoubleArray(std::vector<double>&) noexcept {
    return true;
}

bool GenericDataPullDeserializer::getStringArray(std::vector<std::string>&) noexcept {
    return true;
}

}  // namespace kova::serializer
