#include "util/serializer/JSONStructuredSerializerOld.h"

#include <cmath>
#include <cstring>

#include "bytes/TextCheck.h"
#include "json/JsonScan.h"
#include "json/JsonText.h"
#include "serializer/FormatSerializerCalls.h"

namespace util::serializer {

/// Writes the JSON format: the tokens of JSON text, and the white space between them.
class JSONStructuredSerializerOld::Format
    : public SequencedFormat<JSONStructuredSerializerOld::Format> {
public:
    static constexpr unsigned int CAPABILITIES = CAPABILITY_TEXT | CAPABILITY_NAMED_FIELDS;

    using SequencedFormat::SequencedFormat;

    bool putNull() { return put("null"); }
    bool putBoolean(bool value) { return value ? put("true") : put("false"); }
    bool putSigned(std::int64_t value) { return json::appendInteger(writer(), value); }
    bool putUnsigned(std::uint64_t value) { return json::appendInteger(writer(), value); }
    bool putFloat(float value) {
        return std::isfinite(value) ? json::appendFloat(writer(), value)
                                    : refuse(Refusal::NotFinite, static_cast<double>(value));
    }
    bool putDouble(double value) {
        return std::isfinite(value) ? json::appendDouble(writer(), value)
                                    : refuse(Refusal::NotFinite, value);
    }
    bool putString(std::string_view bytes) {
        return isUtf8(bytes) ? putText(bytes) : refuse(Refusal::NotUtf8);
    }
    bool putText(std::string_view utf8) { return json::appendString(writer(), utf8); }
    bool putArrayBegin() { return put('['); }
    bool putArrayEnd(bool empty) { return (empty || putLineBreak()) && put(']'); }
    bool putStructBegin() { return put('{'); }
    bool putStructEnd(bool empty) { return (empty || putLineBreak()) && put('}'); }
    bool putElementBegin(bool first) { return putSeparator(first); }
    bool putEmptyElement(bool first) { return putSeparator(first) && putNull(); }
    bool putFieldBegin(std::string_view name, bool first) {
        if (!isUtf8(name)) {
            return refuse(Refusal::NotUtf8);
        }
        return putSeparator(first) && putText(name) && (isCompact() ? put(':') : put(": "));
    }

    static void locate(std::string_view written, bool isInItem, FieldPath& path) noexcept {
        JsonScan scan(written);
        scan.findEnd(isInItem);
        path = scan.path();
    }

private:
    bool put(char byte) { return !writer().appendByte(static_cast<unsigned char>(byte)); }
    bool put(std::string_view text) { return !writer().append(text.data(), text.size()); }
    // Writes the text before a field or element.
    bool putSeparator(bool first) { return (first || put(',')) && putLineBreak(); }
    bool putLineBreak() {
        if (isCompact()) {
            return true;
        }
        const std::size_t indent = 2 * depth();
        unsigned char* const line = writer().extend(1 + indent);
        if (line == nullptr) {
            return false;
        }
        line[0] = '\n';
        std::memset(line + 1, ' ', indent);
        return true;
    }
};

JSONStructuredSerializerOld::JSONStructuredSerializerOld(bool compact) noexcept
    : FormatSerializer(compact) {}
JSONStructuredSerializerOld::~JSONStructuredSerializerOld() = default;

template class FormatSerializer<JSONStructuredSerializerOld>;

}  // namespace util::serializer
