#include "kova/core/TypeSerializers.h"

#include <new>

#include "kova/core/Number.h"
#include "kova/core/Path.h"
#include "kova/core/url.h"
#include "util/serializer/IStructuredPullDeserializer.h"
#include "util/serializer/IStructuredSerializer.h"
#include "zel/UUID.h"

namespace kova::serializer {

namespace {

/// Returns the result of `operation`. Returns true (failure) if memory is exhausted.
template <typename Operation>
bool guarded(Operation operation) {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        return true;
    }
}

/// Reads a string, calls `use` with it and returns the result.
template <typename Use>
bool readText(IStructuredPullDeserializer& deserializer, Use use) {
    return guarded([&] {
        std::string text;
        return deserializer.getString(text) || use(text);
    });
}

}  // namespace

bool serialize(IStructuredSerializer& serializer, bool value) {
    return serializer.serializeBoolean(value);
}

bool serialize(IStructuredSerializer& serializer, signed char value) {
    return serializer.serializeInt8(value);
}

bool serialize(IStructuredSerializer& serializer, unsigned char value) {
    return serializer.serializeUInt8(value);
}

bool serialize(IStructuredSerializer& serializer, short value) {
    return serializer.serializeInt16(value);
}

bool serialize(IStructuredSerializer& serializer, unsigned short value) {
    return serializer.serializeUInt16(value);
}

bool serialize(IStructuredSerializer& serializer, int value) {
    return serializer.serializeInt32(value);
}

bool serialize(IStructuredSerializer& serializer, unsigned int value) {
    return serializer.serializeUInt32(value);
}

bool serialize(IStructuredSerializer& serializer, long value) {
    return serializer.serializeInt64(value);
}

bool serialize(IStructuredSerializer& serializer, unsigned long value) {
    return serializer.serializeUInt64(value);
}

bool serialize(IStructuredSerializer& serializer, float value) {
    return serializer.serializeFloat(value);
}

bool serialize(IStructuredSerializer& serializer, double value) {
    return serializer.serializeDouble(value);
}

bool serialize(IStructuredSerializer& serializer, const std::string& value) {
    return serializer.serializeString(value);
}

bool deserialize(IStructuredPullDeserializer& deserializer, bool& out) {
    return deserializer.getBoolean(out);
}

bool deserialize(IStructuredPullDeserializer& deserializer, signed char& out) {
    return deserializer.getInt8(out);
}

bool deserialize(IStructuredPullDeserializer& deserializer, unsigned char& out) {
    return deserializer.getUInt8(out);
}

bool deserialize(IStructuredPullDeserializer& deserializer, short& out) {
    return deserializer.getInt16(out);
}

bool deserialize(IStructuredPullDeserializer& deserializer, unsigned short& out) {
    return deserializer.getUInt16(out);
}

bool deserialize(IStructuredPullDeserializer& deserializer, int& out) {
    return deserializer.getInt32(out);
}

bool deserialize(IStructuredPullDeserializer& deserializer, unsigned int& out) {
    return deserializer.getUInt32(out);
}

bool deserialize(IStructuredPullDeserializer& deserializer, long& out) {
    return deserializer.getInt64(out);
}

bool deserialize(IStructuredPullDeserializer& deserializer, unsigned long& out) {
    return deserializer.getUInt64(out);
}

bool deserialize(IStructuredPullDeserializer& deserializer, float& out) {
    return deserializer.getFloat(out);
}

bool deserialize(IStructuredPullDeserializer& deserializer, double& out) {
    return deserializer.getDouble(out);
}

bool deserialize(IStructuredPullDeserializer& deserializer, std::string& out) {
    return deserializer.getString(out);
}

bool serialize(IStructuredSerializer& serializer, const zel::UUID& value) {
    return guarded([&] { return serializer.serializeString(value.toString()); });
}

bool serialize(IStructuredSerializer& serializer, const Path& value) {
    return guarded([&] { return serializer.serializeString(value.toString()); });
}

bool serialize(IStructuredSerializer& serializer, const url& value) {
    return serializer.serializeString(value.toString());
}

bool serialize(IStructuredSerializer& serializer, const Number& value) {
    return serializer.serializeString(value.toString());
}

bool deserialize(IStructuredPullDeserializer& deserializer, zel::UUID& out) {
    return readText(deserializer,
                    [&](const std::string& text) { return zel::UUID::tryParse(out, text); });
}

bool deserialize(IStructuredPullDeserializer& deserializer, Path& out) {
    return readText(deserializer, [&](const std::string& text) {
        out = Path(text);
        return false;
    });
}

bool deserialize(IStructuredPullDeserializer& deserializer, url& out) {
    return readText(deserializer, [&](const std::string& text) {
        out.init(text);
        return false;
    });
}

bool deserialize(IStructuredPullDeserializer& deserializer, Number& out) {
    return readText(deserializer, [&](const std::string& text) {
        out = text;
        return false;
    });
}

}  // namespace kova::serializer
