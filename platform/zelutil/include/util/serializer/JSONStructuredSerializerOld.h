#pragma once

#include "util/Export.h"
#include "util/serializer/FormatSerializer.h"

namespace util::serializer {

/// A serializer for JSON text (RFC 8259, UTF-8). docs/formats.md describes the mapping.
///
/// It rejects values without a JSON form: NaN and infinities, and strings and field names that are
/// not UTF-8. Typed arrays are written as plain arrays, an empty element as null. Used by one
/// thread at a time.
///
///     util::ByteBufferWriter writer(64);
///     util::serializer::JSONStructuredSerializerOld serializer(true);
///     unsigned long size = 0;
///     const bool failed = serializer.beginSerialize(&writer, nullptr) ||
///                         serializer.serializeInt32(640) || serializer.endSerialize(size);
class UTIL_API JSONStructuredSerializerOld : public FormatSerializer<JSONStructuredSerializerOld> {
public:
    /// Creates a serializer. If `compact` is true, it writes no white space. If it is false, each
    /// field and element is on a separate line and each level is indented by two spaces.
    /// `OptionTag::Compact` overrides the argument.
    explicit JSONStructuredSerializerOld(bool compact) noexcept;
    ~JSONStructuredSerializerOld() override;

private:
    friend class FormatSerializer<JSONStructuredSerializerOld>;
    class UTIL_LOCAL Format;
};

extern template class FormatSerializer<JSONStructuredSerializerOld>;

}  // namespace util::serializer
