#pragma once

#include <cstdint>
#include <string_view>

#include "pull/Record.h"
#include "util/serializer/IStructuredSerializer.h"

// Targets of a decoder. The decoder calls them for each value, field and end. All functions return
// true on success. Each source file derives its own class in an unnamed namespace, so that the
// compiler inlines the functions into the decoder. Otherwise reading takes 2.2 times as long.
namespace util::serializer {

/// A target that calls a serializer.
class SerializerTarget {
public:
    explicit SerializerTarget(IStructuredSerializer& target) noexcept : target_(target) {}

    bool putNull() { return !target_.serializeNull(); }
    bool putBoolean(bool value) { return !target_.serializeBoolean(value); }
    bool putSigned(std::int64_t value) { return !target_.serializeInt64(value); }
    bool putUnsigned(std::uint64_t value) { return !target_.serializeUInt64(value); }
    bool putFloat(float value) { return !target_.serializeFloat(value); }
    bool putDouble(double value) { return !target_.serializeDouble(value); }
    bool putString(std::string_view bytes) { return !target_.serializeString(bytes); }
    bool putEmptyElement() { return !target_.serializeEmptyElement(); }
    bool beginArray() { return !target_.beginArray(); }
    bool endArray() { return !target_.endArray(); }
    bool beginElement() { return !target_.beginElement(); }
    bool endElement() { return !target_.endElement(); }
    bool beginStruct() { return !target_.beginStruct(nullptr); }
    bool endStruct() { return !target_.endStruct(); }
    bool beginField(std::string_view name) { return !target_.beginField(name, -1, false); }
    bool endField() { return !target_.endField(); }

protected:
    IStructuredSerializer& target_;
};

/// A target that stores each value and field as an event of a `Record`. A pull reader reads the
/// record later.
class RecordTarget {
public:
    explicit RecordTarget(Record& record) noexcept : record_(record) {}

    bool putNull() noexcept { return record_.addNull(); }
    bool putBoolean(bool value) noexcept { return record_.addBoolean(value); }
    bool putSigned(std::int64_t value) noexcept { return record_.addSigned(value); }
    bool putUnsigned(std::uint64_t value) noexcept { return record_.addUnsigned(value); }
    bool putFloat(float value) noexcept {
        return record_.addReal(Event::Kind::Float, static_cast<double>(value));
    }
    bool putDouble(double value) noexcept { return record_.addReal(Event::Kind::Double, value); }
    bool putString(std::string_view bytes) noexcept {
        return record_.addText(Event::Kind::String, bytes);
    }
    bool putEmptyElement() noexcept {
        record_.countElement();
        return record_.addNull();
    }
    bool beginArray() noexcept { return record_.open(Event::Kind::Array); }
    bool endArray() noexcept {
        record_.close();
        return true;
    }
    bool beginElement() noexcept {
        record_.countElement();
        return true;
    }
    static bool endElement() noexcept { return true; }
    bool beginStruct() noexcept { return record_.open(Event::Kind::Struct); }
    bool endStruct() noexcept {
        record_.close();
        return true;
    }
    bool beginField(std::string_view name) noexcept {
        return record_.addText(Event::Kind::Field, name);
    }
    static bool endField() noexcept { return true; }

protected:
    Record& record_;
};

}  // namespace util::serializer
