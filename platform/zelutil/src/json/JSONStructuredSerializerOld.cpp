#include "util/serializer/JSONStructuredSerializerOld.h"

#include <cmath>
#include <cstring>

#include "json/JsonScan.h"
#include "json/JsonText.h"
#include "serializer/SequencedSerializerLevels.h"
#include "serializer/SequencedSerializerValues.h"

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
    if (!std::isfinite(value)) {
        return refuse(Refusal::NotFinite, static_cast<double>(value));
    }
    return json::appendFloat(writer(), value);
}

bool JSONStructuredSerializerOld::putDouble(double value) {
    if (!std::isfinite(value)) {
        return refuse(Refusal::NotFinite, value);
    }
    return json::appendDouble(writer(), value);
}

bool JSONStructuredSerializerOld::putString(std::string_view bytes) {
    return zel::unicode::isUtf8(bytes) ? putText(bytes) : refuse(Refusal::NotUtf8);
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
    if (!zel::unicode::isUtf8(name)) {
        return refuse(Refusal::NotUtf8);
    }
    if (putSeparator(first) || putText(name)) {
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

// Writes the text before a field or element.
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

void JSONStructuredSerializerOld::locate(std::string_view written, bool isInItem,
                                         FieldPath& path) noexcept {
    JsonScan scan(written);
    scan.findEnd(isInItem);
    path = scan.path();
}

template class SequencedSerializer<JSONStructuredSerializerOld>;

}  // namespace util::serializer
