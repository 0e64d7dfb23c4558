#include "kova/core/GenericDataPullDeserializer.h"

#include <cmath>
#include <limits>
#include <new>
#include <type_traits>

#include "util/config/Scalars.h"

// The stack has one frame for the root and one for each open field and element. Every function
// works on the top frame. The position in a frame states how far its node was read: not entered, at
// an entry or element, or consumed.

namespace kova::serializer {

using util::config::Value;
using util::serializer::EntryType;

namespace {

/// Returns the value of a leaf, or nothing if the leaf is of another kind.
template <typename T>
T valueOf(const Value& leaf) noexcept {
    T value{};
    static_cast<void>(leaf.get(value));
    return value;
}

/// Copies the text of a string node. Returns true on failure.
bool copy(const Value& leaf, std::string& out) noexcept {
    try {
        return leaf.get(out);
    } catch (const std::bad_alloc&) {
        return true;
    }
}

/// Copies the text. Returns true if memory is exhausted; `out` is then unchanged.
bool assign(std::string& out, std::string_view text) noexcept {
    try {
        out = text;
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

/// Returns the float truncated towards zero. Returns the nearest limit if the float is outside the
/// target's range, or 0 for NaN.
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

/// Reads the node with the value tree's getter for `Read`, converts the value with `make` and
/// stores the result.
template <typename Read, typename Number, typename Make>
bool read(const Value& node, Number& out, Make make) noexcept {
    Read value{};
    const bool failed = node.get(value);
    if (!failed) {
        out = make(value);
    }
    return failed;
}

/// Reads an integer node as `Integer`. Converts a float node to `Float` and casts the result.
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

bool GenericDataPullDeserializer::Frame::isConsumed() const noexcept {
    unsigned long const* index = std::get_if<unsigned long>(&position);
    return index != nullptr && *index == CONSUMED;
}

GenericDataPullDeserializer::GenericDataPullDeserializer(const Value& root) : root_(&root) {}

GenericDataPullDeserializer::~GenericDataPullDeserializer() = default;

bool GenericDataPullDeserializer::push(FrameKind kind, const Value& node) noexcept {
    try {
        frames_.push_back({kind, {}, &node});
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

bool GenericDataPullDeserializer::atDictionary() const noexcept {
    return !frames_.empty() && frames_.back().node->isDictionary();
}

bool GenericDataPullDeserializer::atArray() const noexcept {
    return !frames_.empty() && frames_.back().node->isArray();
}

bool GenericDataPullDeserializer::beginDeserialize(util::ByteBufferReader*,
                                                   Options const*) noexcept {
    return push(FrameKind::Root, *root_);
}

bool GenericDataPullDeserializer::endDeserialize() noexcept {
    return frames_.size() >= 2 && frames_.back().kind == FrameKind::Root;
}

void GenericDataPullDeserializer::reset() noexcept {
    frames_.clear();
}

bool GenericDataPullDeserializer::beginArray() noexcept {
    if (!atArray()) {
        return true;
    }
    frames_.back().position = 0UL;
    return false;
}

bool GenericDataPullDeserializer::isArrayEnd() noexcept {
    if (frames_.empty()) {
        return true;
    }
    const Frame& frame = frames_.back();
    return std::get<unsigned long>(frame.position) == frame.node->arraySize();
}

bool GenericDataPullDeserializer::endArray() noexcept {
    if (!atArray()) {
        return true;
    }
    frames_.back().position = CONSUMED;
    return false;
}

bool GenericDataPullDeserializer::beginElement() noexcept {
    if (!atArray()) {
        return true;
    }
    const Frame& frame = frames_.back();
    const unsigned long index = std::get<unsigned long>(frame.position);
    if (index >= frame.node->arraySize()) {
        return true;
    }
    return push(FrameKind::Element, (*frame.node)[index]);
}

bool GenericDataPullDeserializer::endElement() noexcept {
    if (frames_.empty()) {
        return true;
    }
    frames_.pop_back();
    if (!atArray()) {
        return true;
    }
    auto& index = std::get<unsigned long>(frames_.back().position);
    if (index >= frames_.back().node->arraySize()) {
        return true;
    }
    ++index;
    return false;
}

bool GenericDataPullDeserializer::beginStruct(Options const*) noexcept {
    if (!atDictionary()) {
        return true;
    }
    frames_.back().position = frames_.back().node->begin();
    return false;
}

bool GenericDataPullDeserializer::isStructEnd() noexcept {
    if (frames_.empty()) {
        return true;
    }
    const Frame& frame = frames_.back();
    return std::get<Fields>(frame.position) == frame.node->end();
}

bool GenericDataPullDeserializer::endStruct() noexcept {
    if (!atDictionary()) {
        return true;
    }
    frames_.back().position = CONSUMED;
    return false;
}

/// Returns the position of the next field of the top struct. Returns null at its end, or if the top
/// frame is not a struct.
auto GenericDataPullDeserializer::currentField() const noexcept -> Fields const* {
    if (!atDictionary()) {
        return nullptr;
    }
    const Frame& frame = frames_.back();
    Fields const* entry = std::get_if<Fields>(&frame.position);
    return entry == nullptr || *entry == frame.node->end() ? nullptr : entry;
}

bool GenericDataPullDeserializer::beginField(std::string& name) noexcept {
    Fields const* const field = currentField();
    std::string key;
    if (field == nullptr || assign(key, (*field)->first) ||
        push(FrameKind::Field, *(*field)->second)) {
        return true;
    }
    name.swap(key);
    return false;
}

bool GenericDataPullDeserializer::skipField() noexcept {
    unsigned long open = 1;
    while (open != 0) {
        switch (getNextEntry()->type) {
            case EntryType::Field:
                ++open;
                break;
            case EntryType::FieldEnd:
                --open;
                break;
            case EntryType::End:
            case EntryType::Failure:
                return false;
            default:
                break;
        }
    }
    return false;
}

bool GenericDataPullDeserializer::endField() noexcept {
    if (frames_.empty()) {
        return true;
    }
    frames_.pop_back();
    if (!atDictionary()) {
        return true;
    }
    auto& entry = std::get<Fields>(frames_.back().position);
    if (entry == frames_.back().node->end()) {
        return true;
    }
    ++entry;
    return false;
}

util::serializer::Entry const* GenericDataPullDeserializer::peekNextEntry() noexcept {
    if (frames_.empty()) {
        entry_.type = EntryType::End;
    } else if (frames_.back().isConsumed()) {
        announceEnd(frames_.back().kind);
    } else if (atDictionary()) {
        announceStruct(frames_.back());
    } else if (atArray()) {
        announceArray(frames_.back());
    } else {
        announceLeaf(*frames_.back().node);
    }
    return &entry_;
}

void GenericDataPullDeserializer::announceStruct(const Frame& frame) noexcept {
    Fields const* entry = std::get_if<Fields>(&frame.position);
    if (entry == nullptr) {
        entry_.type = EntryType::StructBegin;
    } else if (*entry == frame.node->end()) {
        entry_.type = EntryType::StructEnd;
    } else {
        announceText(EntryType::Field, (*entry)->first);
    }
}

void GenericDataPullDeserializer::announceArray(const Frame& frame) noexcept {
    unsigned long const* index = std::get_if<unsigned long>(&frame.position);
    if (index == nullptr) {
        entry_.type = EntryType::ArrayBegin;
    } else {
        entry_.type = *index == frame.node->arraySize() ? EntryType::ArrayEnd : EntryType::Element;
    }
}

void GenericDataPullDeserializer::announceLeaf(const Value& leaf) noexcept {
    if (leaf.isBool()) {
        entry_.type = EntryType::Boolean;
        entry_.scalar.boolean = valueOf<bool>(leaf);
    } else if (leaf.isFloat()) {
        entry_.type = EntryType::Double;
        entry_.scalar.number = valueOf<double>(leaf);
    } else if (leaf.isInt()) {
        entry_.type = EntryType::Int32;
        entry_.scalar.int32 = static_cast<std::int32_t>(valueOf<long>(leaf));
    } else if (leaf.isNull()) {
        entry_.type = EntryType::Null;
    } else if (leaf.isString()) {
        entry_.type = copy(leaf, entry_.text) ? EntryType::Failure : EntryType::String;
    } else {
        entry_.type = EntryType::None;
    }
}

void GenericDataPullDeserializer::announceText(EntryType type, std::string_view text) noexcept {
    entry_.type = assign(entry_.text, text) ? EntryType::Failure : type;
}

void GenericDataPullDeserializer::announceEnd(FrameKind kind) noexcept {
    switch (kind) {
        case FrameKind::Root:
            entry_.type = EntryType::End;
            break;
        case FrameKind::Field:
            entry_.type = EntryType::FieldEnd;
            break;
        case FrameKind::Element:
            entry_.type = EntryType::ElementEnd;
            break;
    }
}

util::serializer::Entry const* GenericDataPullDeserializer::getNextEntry() noexcept {
    peekNextEntry();
    if (consume(entry_.type)) {
        entry_.type = EntryType::Failure;
    }
    return &entry_;
}

/// Consumes the entry that `peekNextEntry` returned. Such an entry can always be consumed, so the
/// function fails only if memory is exhausted.
bool GenericDataPullDeserializer::consume(EntryType announced) noexcept {
    switch (announced) {
        case EntryType::End:
        case EntryType::Failure:
            return false;
        case EntryType::ArrayBegin:
            return beginArray();
        case EntryType::ArrayEnd:
            return endArray();
        case EntryType::StructBegin:
            return beginStruct(nullptr);
        case EntryType::StructEnd:
            return endStruct();
        case EntryType::Field:
            return push(FrameKind::Field, *(*currentField())->second);
        case EntryType::FieldEnd:
            return endField();
        case EntryType::Element:
            return beginElement();
        case EntryType::ElementEnd:
            return endElement();
        default:
            readLeaf();
            return false;
    }
}

// The getters convert a leaf to the requested type.

/// Consumes the top node, even if the read fails afterwards. Returns null if nothing is open.
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
