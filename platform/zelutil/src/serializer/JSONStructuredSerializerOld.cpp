#include "util/serializer/JSONStructuredSerializerOld.h"

#include <cmath>
#include <cstring>

#include "JsonText.h"
#include "util/serializer/SequencedSerializerLevels.h"
#include "util/serializer/SequencedSerializerValues.h"

namespace util::serializer {

JSONStructuredSerializerOld::JSONStructuredSerializerOld(bool compact) noexcept
    : SequencedSerializer(CAPABILITY_TEXT | CAPABILITY_NAMED_FIELDS, compact) {}

JSONStructuredSerializerOld::~JSONStructuredSerializerOld() = default;

bool JSONStructuredSerializerOld::putNull() {
    return writer().append("null", 4);
}

bool JSONStructuredSerializerOld::putBoolean(bool value) {
    return value ? writer().append("true", 4) : writer().append("false", 5);
}

bool JSONStructuredSerializerOld::putSigned(std::int64_t value) {
    return json::appendInteger(writer(), value);
}

bool JSONStructuredSerializerOld::putUnsigned(std::uint64_t value) {
    return json::appendInteger(writer(), value);
}

bool JSONStructuredSerializerOld::putFloat(float value) {
    return !std::isfinite(value) || json::appendFloat(writer(), value);
}

bool JSONStructuredSerializerOld::putDouble(double value) {
    return !std::isfinite(value) || json::appendDouble(writer(), value);
}

bool JSONStructuredSerializerOld::putString(std::string_view bytes) {
    return !zel::unicode::isUtf8(bytes) || putText(bytes);
}

bool JSONStructuredSerializerOld::putText(std::string_view utf8) {
    return json::appendString(writer(), utf8);
}

bool JSONStructuredSerializerOld::putArrayBegin() {
    return writer().appendByte('[');
}

bool JSONStructuredSerializerOld::putArrayEnd(bool empty) {
    return putEnd(']', empty);
}

bool JSONStructuredSerializerOld::putStructBegin() {
    return writer().appendByte('{');
}

bool JSONStructuredSerializerOld::putStructEnd(bool empty) {
    return putEnd('}', empty);
}

bool JSONStructuredSerializerOld::putElementBegin(bool first) {
    return putSeparator(first);
}

bool JSONStructuredSerializerOld::putEmptyElement(bool first) {
    return putSeparator(first) || putNull();
}

bool JSONStructuredSerializerOld::putFieldBegin(std::string_view name, bool first) {
    if (!zel::unicode::isUtf8(name) || putSeparator(first) || putText(name)) {
        return true;
    }
    return isCompact() ? writer().appendByte(':') : writer().append(": ", 2);
}

bool JSONStructuredSerializerOld::putEnd(char bracket, bool empty) {
    if (!empty && putLineBreak()) {
        return true;
    }
    return writer().appendByte(static_cast<unsigned char>(bracket));
}

// What stands before a field or element.
bool JSONStructuredSerializerOld::putSeparator(bool first) {
    if (!first && writer().appendByte(',')) {
        return true;
    }
    return putLineBreak();
}

bool JSONStructuredSerializerOld::putLineBreak() {
    if (isCompact()) {
        return false;
    }
    const std::size_t indent = 2 * depth();
    unsigned char* const line = writer().extend(1 + indent);
    if (line == nullptr) {
        return true;
    }
    line[0] = '\n';
    std::memset(line + 1, ' ', indent);
    return false;
}

template class SequencedSerializer<JSONStructuredSerializerOld>;

}  // namespace util::serializer
