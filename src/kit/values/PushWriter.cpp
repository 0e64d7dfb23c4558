#include "PushWriter.h"

#include <algorithm>
#include <cmath>

namespace kova::kit::detail {

bool PushWriter::begin(util::ByteBufferWriter& bytes) {
    return done(out_->beginSerialize(&bytes, nullptr));
}

bool PushWriter::end() {
    unsigned long size = 0;
    return done(out_->endSerialize(size));
}

// The reason that the platform records already contains all parts of the message. A replacement
// platform may record no reason.
bool PushWriter::failOf() {
    std::string reason = recorded_.reason();
    return reason.empty() ? refuse("a value that the format can represent", "another one")
                          : fail(std::move(reason));
}

// Describes why an array of numbers was not written, and returns false. Finds the element that
// failed, because the platform's reason names only the array.
template <typename T>
bool PushWriter::failOf(const std::vector<T>& values) {
    const auto bad = std::find_if_not(values.begin(), values.end(),
                                      [](T value) { return std::isfinite(value); });
    if (bad == values.end() || (out_->getApiCapibilites() &
                                util::serializer::IStructuredSerializer::CAPABILITY_NON_FINITE)) {
        return failOf();
    }
    refuse("a finite number", std::isnan(*bad) ? "nan" : *bad < 0 ? "-inf" : "inf");
    return inElement(static_cast<std::size_t>(bad - values.begin()));
}

bool PushWriter::null() {
    return done(out_->serializeNull());
}

bool PushWriter::value(bool value) {
    return done(out_->serializeBoolean(value));
}

bool PushWriter::value(std::int8_t value) {
    return done(out_->serializeInt8(value));
}

bool PushWriter::value(std::uint8_t value) {
    return done(out_->serializeUInt8(value));
}

bool PushWriter::value(std::int16_t value) {
    return done(out_->serializeInt16(value));
}

bool PushWriter::value(std::uint16_t value) {
    return done(out_->serializeUInt16(value));
}

bool PushWriter::value(std::int32_t value) {
    return done(out_->serializeInt32(value));
}

bool PushWriter::value(std::uint32_t value) {
    return done(out_->serializeUInt32(value));
}

bool PushWriter::value(std::int64_t value) {
    return done(out_->serializeInt64(value));
}

bool PushWriter::value(std::uint64_t value) {
    return done(out_->serializeUInt64(value));
}

bool PushWriter::value(float value) {
    return done(out_->serializeFloat(value));
}

bool PushWriter::value(double value) {
    return done(out_->serializeDouble(value));
}

bool PushWriter::value(std::string_view value) {
    return done(out_->serializeString(value));
}

bool PushWriter::values(const std::vector<bool>& values) {
    return done(out_->serializeArray(values));
}

bool PushWriter::values(const std::vector<std::int8_t>& values) {
    return done(out_->serializeArray(values));
}

bool PushWriter::values(const std::vector<std::uint8_t>& values) {
    return done(out_->serializeArray(values));
}

bool PushWriter::values(const std::vector<std::int16_t>& values) {
    return done(out_->serializeArray(values));
}

bool PushWriter::values(const std::vector<std::uint16_t>& values) {
    return done(out_->serializeArray(values));
}

bool PushWriter::values(const std::vector<std::int32_t>& values) {
    return done(out_->serializeArray(values));
}

bool PushWriter::values(const std::vector<std::uint32_t>& values) {
    return done(out_->serializeArray(values));
}

bool PushWriter::values(const std::vector<std::int64_t>& values) {
    return done(out_->serializeArray(values));
}

bool PushWriter::values(const std::vector<std::uint64_t>& values) {
    return done(out_->serializeArray(values));
}

bool PushWriter::values(const std::vector<float>& values) {
    return !out_->serializeArray(values) || failOf(values);
}

bool PushWriter::values(const std::vector<double>& values) {
    return !out_->serializeArray(values) || failOf(values);
}

bool PushWriter::beginArray() {
    return done(out_->beginArray());
}

bool PushWriter::beginElement() {
    return done(out_->beginElement());
}

bool PushWriter::endElement() {
    return done(out_->endElement());
}

bool PushWriter::endArray() {
    return done(out_->endArray());
}

bool PushWriter::beginObject() {
    return done(out_->beginStruct(nullptr));
}

bool PushWriter::beginField(std::string_view name) {
    return done(out_->beginField(name, -1, false));
}

bool PushWriter::endField() {
    return done(out_->endField());
}

bool PushWriter::endObject() {
    return done(out_->endStruct());
}

}  // namespace kova::kit::detail
