#pragma once

#include <new>
#include <utility>

#include "serializer/SequencedFormatCalls.h"
#include "util/serializer/FormatSerializer.h"

// The functions of `FormatSerializer`. Include this header in the file that instantiates the
// template for a format. On success, the functions of the format return true, and the functions of
// the interface return false.
namespace util::serializer {

/// @cond

// ---- the state

template <class Serializer>
template <class... Arguments>
FormatSerializer<Serializer>::FormatSerializer(Arguments&&... arguments) noexcept {
    using Format = typename Serializer::Format;
    static_assert(sizeof(Format) <= sizeof(state_) && alignof(Format) <= alignof(void*));
    new (state_.data()) Format(std::forward<Arguments>(arguments)...);
}

template <class Serializer>
FormatSerializer<Serializer>::~FormatSerializer() {
    using Format = typename Serializer::Format;
    format().~Format();
}

template <class Serializer>
auto& FormatSerializer<Serializer>::format() noexcept {
    return *std::launder(reinterpret_cast<typename Serializer::Format*>(state_.data()));
}

template <class Serializer>
unsigned int FormatSerializer<Serializer>::getApiCapibilites() const noexcept {
    return Serializer::Format::CAPABILITIES;
}

// ---- the payload

template <class Serializer>
bool FormatSerializer<Serializer>::beginSerialize(ByteBufferWriter* writer,
                                                  Options const* options) {
    return !format().begin(writer, options);
}

template <class Serializer>
bool FormatSerializer<Serializer>::endSerialize(unsigned long& written) {
    return !format().end(written);
}

// ---- values

template <class Serializer>
bool FormatSerializer<Serializer>::serializeNull() {
    return !format().value([&] { return format().putNull(); });
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeBoolean(bool value) {
    return !format().value([&] { return format().putBoolean(value); });
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeInt8(std::int8_t value) {
    return !format().number(value);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeUInt8(std::uint8_t value) {
    return !format().number(value);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeInt16(std::int16_t value) {
    return !format().number(value);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeUInt16(std::uint16_t value) {
    return !format().number(value);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeInt32(std::int32_t value) {
    return !format().number(value);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeUInt32(std::uint32_t value) {
    return !format().number(value);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeInt64(std::int64_t value) {
    return !format().number(value);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeUInt64(std::uint64_t value) {
    return !format().number(value);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeFloat(float value) {
    return !format().number(value);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeDouble(double value) {
    return !format().number(value);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeEnum(int value, int count, bool checked) {
    return !format().enumerator(value, count, checked);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeString(std::string_view value) {
    return !format().value([&] { return format().putString(value); });
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeString(const UnicodeString8& value) {
    return !format().text(value);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeString(const UnicodeString16& value) {
    return !format().text(value);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeString(const zel::unicode::String& value) {
    return !format().value([&] { return format().putText(value.utf8()); });
}

// ---- typed arrays

template <class Serializer>
bool FormatSerializer<Serializer>::serializeNullArray(unsigned long count) {
    return !format().elements(count, [&](std::size_t) { return format().putNull(); });
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeArray(const std::vector<bool>& values) {
    return !format().elements(values.size(),
                              [&](std::size_t i) { return format().putBoolean(values[i]); });
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeArray(const std::vector<std::int8_t>& values) {
    return !format().numbers(NumberType::Int8, values);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeArray(const std::vector<std::uint8_t>& values) {
    return !format().numbers(NumberType::UInt8, values);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeArray(const std::vector<std::int16_t>& values) {
    return !format().numbers(NumberType::Int16, values);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeArray(const std::vector<std::uint16_t>& values) {
    return !format().numbers(NumberType::UInt16, values);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeArray(const std::vector<std::int32_t>& values) {
    return !format().numbers(NumberType::Int32, values);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeArray(const std::vector<std::uint32_t>& values) {
    return !format().numbers(NumberType::UInt32, values);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeArray(const std::vector<std::int64_t>& values) {
    return !format().numbers(NumberType::Int64, values);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeArray(const std::vector<std::uint64_t>& values) {
    return !format().numbers(NumberType::UInt64, values);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeArray(const std::vector<float>& values) {
    return !format().numbers(NumberType::Float, values);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeArray(const std::vector<double>& values) {
    return !format().numbers(NumberType::Double, values);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeArray(const std::vector<std::string>& values) {
    return !format().elements(values.size(),
                              [&](std::size_t i) { return format().putString(values[i]); });
}

// ---- scopes of options

template <class Serializer>
bool FormatSerializer<Serializer>::beginArrayOption() {
    return !format().beginArrayOption();
}

template <class Serializer>
bool FormatSerializer<Serializer>::endArrayOption() {
    return !format().endScope(Bracket::ArrayOption);
}

template <class Serializer>
bool FormatSerializer<Serializer>::beginOption(Options const* options) {
    return !format().beginOption(options);
}

template <class Serializer>
bool FormatSerializer<Serializer>::endOption() {
    return !format().endScope(Bracket::Option);
}

// ---- arrays and structs

template <class Serializer>
bool FormatSerializer<Serializer>::beginArray() {
    return !format().beginArray();
}

template <class Serializer>
bool FormatSerializer<Serializer>::endArray() {
    return !format().endArray();
}

template <class Serializer>
bool FormatSerializer<Serializer>::beginElement() {
    return !format().beginElement();
}

template <class Serializer>
bool FormatSerializer<Serializer>::endElement() {
    return !format().endItem(Item::Element);
}

template <class Serializer>
bool FormatSerializer<Serializer>::serializeEmptyElement() {
    return !format().emptyElement();
}

template <class Serializer>
bool FormatSerializer<Serializer>::beginStruct(Options const* options) {
    return !format().beginStruct(options);
}

template <class Serializer>
bool FormatSerializer<Serializer>::endStruct() {
    return !format().endStruct();
}

template <class Serializer>
bool FormatSerializer<Serializer>::beginField(std::string_view name, int, bool) {
    return !format().beginField(name, Item::Field);
}

template <class Serializer>
bool FormatSerializer<Serializer>::endField() {
    return !format().endItem(Item::Field);
}

template <class Serializer>
bool FormatSerializer<Serializer>::beginMandatoryField(std::string_view name, int) {
    return !format().beginField(name, Item::MandatoryField);
}

template <class Serializer>
bool FormatSerializer<Serializer>::endMandatoryField() {
    return !format().endItem(Item::MandatoryField);
}

template <class Serializer>
bool FormatSerializer<Serializer>::beginOptionalField(std::string_view name, int, bool present) {
    return !(present ? format().beginField(name, Item::OptionalField)
                     : format().beginAbsentField());
}

template <class Serializer>
bool FormatSerializer<Serializer>::endOptionalField() {
    return !format().endItem(Item::OptionalField);
}

/// @endcond

}  // namespace util::serializer
