#pragma once

#include "util/Export.h"
#include "util/serializer/FormatSerializer.h"

namespace util::serializer {

/// A serializer for the binary structured format: RFC 8949 (CBOR) with the big-endian typed arrays
/// of RFC 8746. docs/formats.md describes the mapping.
///
/// The format can represent NaN, infinities and strings of any bytes: strings and field names that
/// are not UTF-8 are written as byte strings. With `OptionTag::PlainArrays`, typed arrays are
/// written as arrays of elements. Used by one thread at a time.
///
///     util::ByteBufferWriter writer(64);
///     util::serializer::AXOBinStructuredSerializerBE serializer;
///     unsigned long size = 0;
///     const bool failed = serializer.beginSerialize(&writer, nullptr) ||
///                         serializer.serializeInt32(640) || serializer.endSerialize(size);
class UTIL_API AXOBinStructuredSerializerBE
    : public FormatSerializer<AXOBinStructuredSerializerBE> {
public:
    AXOBinStructuredSerializerBE() noexcept;
    ~AXOBinStructuredSerializerBE() override;

private:
    friend class FormatSerializer<AXOBinStructuredSerializerBE>;
    class UTIL_LOCAL Format;
};

extern template class FormatSerializer<AXOBinStructuredSerializerBE>;

}  // namespace util::serializer
