#pragma once

#include "util/Export.h"
#include "util/serializer/SequencedSerializer.h"

namespace util::serializer {

/// A serializer for JSON text (RFC 8259, UTF-8). docs/formats.md describes the mapping.
///
/// It refuses values without a JSON form: NaN and infinities, and strings and field names that are
/// not UTF-8. Typed arrays are written as plain arrays, an empty element as null. Used by one
/// thread at a time.
///
///     util::ByteBufferWriter writer(64);
///     util::serializer::JSONStructuredSerializerOld serializer(true);
///     unsigned long size = 0;
///     const bool failed = serializer.beginSerialize(&writer, nullptr) ||
///                         serializer.serializeInt32(640) || serializer.endSerialize(size);
class UTIL_API JSONStructuredSerializerOld
    : public SequencedSerializer<JSONStructuredSerializerOld> {
public:
    /// Creates a serializer. With `compact` true it writes no white space. With `compact` false it
    /// writes each field and element on a separate line, indented by two spaces a level.
    /// `OptionTag::Compact` overrides the argument.
    explicit JSONStructuredSerializerOld(bool compact) noexcept;
    ~JSONStructuredSerializerOld() override;

private:
    friend class SequencedSerializer<JSONStructuredSerializerOld>;

    bool putNull();
    bool putBoolean(bool value);
    bool putSigned(std::int64_t value);
    bool putUnsigned(std::uint64_t value);
    bool putFloat(float value);
    bool putDouble(double value);
    bool putString(std::string_view bytes);
    bool putText(std::string_view utf8);
    bool putArrayBegin();
    bool putArrayEnd(bool empty);
    bool putStructBegin();
    bool putStructEnd(bool empty);
    bool putElementBegin(bool first);
    bool putEmptyElement(bool first);
    bool putFieldBegin(std::string_view name, bool first);
    UTIL_LOCAL static void locate(std::string_view written, bool isInItem,
                                  FieldPath& path) noexcept;
    bool putEnd(char bracket, bool empty);
    bool putSeparator(bool first);
    bool putLineBreak();
};

extern template class SequencedSerializer<JSONStructuredSerializerOld>;

}  // namespace util::serializer
