#pragma once

#include "util/Export.h"
#include "util/serializer/SequencedSerializer.h"

namespace util::serializer {

/// A serializer for the binary structured format: RFC 8949 (CBOR) with the big-endian typed arrays
/// of RFC 8746. docs/formats.md describes the mapping.
///
/// Every value of the interface can be written. Strings and field names that are not UTF-8 are
/// written as byte strings. With `OptionTag::PlainArrays`, typed arrays are written as arrays of
/// elements. Used by one thread at a time.
///
///     util::ByteBufferWriter writer(64);
///     util::serializer::AXOBinStructuredSerializerBE serializer;
///     unsigned long size = 0;
///     const bool failed = serializer.beginSerialize(&writer, nullptr) ||
///                         serializer.serializeInt32(640) || serializer.endSerialize(size);
class UTIL_API AXOBinStructuredSerializerBE
    : public SequencedSerializer<AXOBinStructuredSerializerBE> {
public:
    AXOBinStructuredSerializerBE() noexcept;
    ~AXOBinStructuredSerializerBE() override;

private:
    friend class SequencedSerializer<AXOBinStructuredSerializerBE>;

    bool putNull();
    bool putBoolean(bool value);
    bool putSigned(std::int64_t value);
    bool putUnsigned(std::uint64_t value);
    bool putFloat(float value);
    bool putDouble(double value);
    bool putString(std::string_view bytes);
    bool putText(std::string_view utf8);
    bool putPacked(NumberType type, void const* items, std::size_t count);
    bool putArrayBegin();
    bool putArrayEnd(bool empty);
    bool putStructBegin();
    bool putStructEnd(bool empty);
    static bool putElementBegin(bool first);
    bool putEmptyElement(bool first);
    bool putFieldBegin(std::string_view name, bool first);
    UTIL_LOCAL static void locate(std::string_view written, bool isInItem,
                                  FieldPath& path) noexcept;
};

extern template class SequencedSerializer<AXOBinStructuredSerializerBE>;

}  // namespace util::serializer
