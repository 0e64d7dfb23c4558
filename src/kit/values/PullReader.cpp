#include "PullReader.h"

#include <algorithm>
#include <charconv>

#include "kova/kit/values/Writer.h"
#include "util/Limits.h"

namespace kova::kit::detail {

namespace {

using util::serializer::EntryType;
using util::serializer::Options;
using util::serializer::OptionTag;

/// Returns the number in a text like "... (byte 84)".
std::optional<std::size_t> byteOf(std::string_view reason) noexcept {
    constexpr std::string_view WORD = "(byte ";
    const std::size_t begin = reason.rfind(WORD);
    if (begin == std::string_view::npos || reason.back() != ')') {
        return std::nullopt;
    }
    std::size_t byte = 0;
    char const* const end = reason.data() + reason.size() - 1;
    const auto result = std::from_chars(reason.data() + begin + WORD.size(), end, byte);
    return result.ec == std::errc() && result.ptr == end ? std::optional(byte) : std::nullopt;
}

}  // namespace

bool PullReader::begin(util::ByteBufferReader& bytes) {
    if (depth_ >= util::MAX_NESTING_DEPTH) {
        return done(in_->beginDeserialize(&bytes, nullptr), "a payload");
    }
    const Options options{{OptionTag::NestingLimit, static_cast<int>(depth_)}};
    return done(in_->beginDeserialize(&bytes, &options), "a payload");
}

bool PullReader::end() {
    return done(in_->endDeserialize(), "the end of the payload");
}

// The reason that the platform records already contains all parts of the message. A replacement
// platform may record no reason.
bool PullReader::failOf(char const* expected) {
    std::string reason = recorded_.reason();
    return reason.empty() ? refuse(expected, {}) : fail(std::move(reason));
}

// Provokes a failure: no scope of options is open, so ending one fails. The reason of that failure
// names the byte of the latest value.
std::optional<std::size_t> PullReader::position() {
    return in_->endOption() ? byteOf(recorded_.reason()) : std::nullopt;
}

Kind PullReader::kind() {
    switch (in_->peekNextEntry()->type) {
        case EntryType::Null:
            return Kind::Null;
        case EntryType::Boolean:
            return Kind::Boolean;
        case EntryType::Int8:
        case EntryType::UInt8:
        case EntryType::Int16:
        case EntryType::UInt16:
        case EntryType::Int32:
        case EntryType::UInt32:
        case EntryType::Int64:
        case EntryType::UInt64:
        case EntryType::Float:
        case EntryType::Double:
            return Kind::Number;
        case EntryType::String:
            return Kind::Text;
        case EntryType::ArrayBegin:
            return Kind::Array;
        case EntryType::StructBegin:
            return Kind::Object;
        default:
            return Kind::None;
    }
}

bool PullReader::null() {
    return done(in_->getNull(), "null");
}

bool PullReader::value(bool& out) {
    return done(in_->getBoolean(out), "a boolean");
}

bool PullReader::value(std::int8_t& out) {
    return done(in_->getInt8(out), "an integer of 8 bits");
}

bool PullReader::value(std::uint8_t& out) {
    return done(in_->getUInt8(out), "an unsigned integer of 8 bits");
}

bool PullReader::value(std::int16_t& out) {
    return done(in_->getInt16(out), "an integer of 16 bits");
}

bool PullReader::value(std::uint16_t& out) {
    return done(in_->getUInt16(out), "an unsigned integer of 16 bits");
}

bool PullReader::value(std::int32_t& out) {
    return done(in_->getInt32(out), "an integer of 32 bits");
}

bool PullReader::value(std::uint32_t& out) {
    return done(in_->getUInt32(out), "an unsigned integer of 32 bits");
}

bool PullReader::value(std::int64_t& out) {
    return done(in_->getInt64(out), "an integer of 64 bits");
}

bool PullReader::value(std::uint64_t& out) {
    return done(in_->getUInt64(out), "an unsigned integer of 64 bits");
}

bool PullReader::value(float& out) {
    return done(in_->getFloat(out), "a number within the range of a float");
}

bool PullReader::value(double& out) {
    return done(in_->getDouble(out), "a number");
}

bool PullReader::value(std::string& out) {
    return done(in_->getString(out), "a string");
}

bool PullReader::values(std::vector<bool>& out) {
    return done(in_->getBooleanArray(out), "an array");
}

bool PullReader::values(std::vector<std::int8_t>& out) {
    return done(in_->getInt8Array(out), "an array");
}

bool PullReader::values(std::vector<std::uint8_t>& out) {
    return done(in_->getUInt8Array(out), "an array");
}

bool PullReader::values(std::vector<std::int16_t>& out) {
    return done(in_->getInt16Array(out), "an array");
}

bool PullReader::values(std::vector<std::uint16_t>& out) {
    return done(in_->getUInt16Array(out), "an array");
}

bool PullReader::values(std::vector<std::int32_t>& out) {
    return done(in_->getInt32Array(out), "an array");
}

bool PullReader::values(std::vector<std::uint32_t>& out) {
    return done(in_->getUInt32Array(out), "an array");
}

bool PullReader::values(std::vector<std::int64_t>& out) {
    return done(in_->getInt64Array(out), "an array");
}

bool PullReader::values(std::vector<std::uint64_t>& out) {
    return done(in_->getUInt64Array(out), "an array");
}

bool PullReader::values(std::vector<float>& out) {
    return done(in_->getFloatArray(out), "an array");
}

bool PullReader::values(std::vector<double>& out) {
    return done(in_->getDoubleArray(out), "an array");
}

bool PullReader::beginArray() {
    return done(in_->beginArray(), "an array");
}

bool PullReader::beginElement() {
    return done(in_->beginElement(), "an element");
}

bool PullReader::endElement() {
    return done(in_->endElement(), "the end of an element");
}

bool PullReader::endArray() {
    return done(in_->endArray(), "the end of an array");
}

bool PullReader::beginObject() {
    return done(in_->beginStruct(nullptr), "a struct");
}

bool PullReader::skipField() {
    return done(in_->skipField(), "a field");
}

bool PullReader::endField() {
    return done(in_->endField(), "the end of a field");
}

bool PullReader::endObject() {
    return done(in_->endStruct(), "the end of a struct");
}

bool PullReader::text(std::string_view& out) {
    if (!value(name_)) {
        return false;
    }
    out = name_;
    return checkText(out.size());
}

template <typename T>
bool PullReader::copy(Writer& out) {
    T scalar{};
    return value(scalar) && out.value(scalar);
}

bool PullReader::copyScalar(Writer& out) {
    switch (in_->peekNextEntry()->type) {
        case EntryType::Null:
            return null() && out.null();
        case EntryType::Boolean:
            return copy<bool>(out);
        case EntryType::UInt8:
        case EntryType::UInt16:
        case EntryType::UInt32:
        case EntryType::UInt64:
            return copy<std::uint64_t>(out);
        case EntryType::Float:
            return copy<float>(out);
        case EntryType::Double:
            return copy<double>(out);
        case EntryType::String: {
            std::string_view view;
            return text(view) && out.value(view);
        }
        default:
            return copy<std::int64_t>(out);
    }
}

bool PullReader::atArrayEnd() {
    return in_->isArrayEnd();
}

bool PullReader::atObjectEnd() {
    return in_->isStructEnd();
}

bool PullReader::beginField(std::string_view& name) {
    if (in_->beginField(name_)) {
        return failOf("a field");
    }
    name = name_;
    return true;
}

}  // namespace kova::kit::detail
