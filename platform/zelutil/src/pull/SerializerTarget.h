#pragma once

#include <cstdint>
#include <string_view>

#include "util/serializer/IStructuredSerializer.h"

namespace util::serializer {

/// The target of a decoder that calls a serializer. The functions return true on success.
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

private:
    IStructuredSerializer& target_;
};

}  // namespace util::serializer
