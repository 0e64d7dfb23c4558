#pragma once

#include "util/Export.h"
#include "util/serializer/SequencedSerializer.h"

namespace util::serializer {

/// Writes the binary structured format: the bytes of RFC 8949 (CBOR) with the big-endian typed
/// arrays of RFC 8746; docs/formats.md gives the mapping.
///
/// Every value of the interface can be written. Strings and field names that are not UTF-8 travel
/// as byte strings; `OptionTag::PlainArrays` writes typed arrays as arrays of elements. One thread
/// at a time.
class UTIL_API AXOBinStructuredSerializerBE : public SequencedSerializer {
public:
    AXOBinStructuredSerializerBE() noexcept;
    ~AXOBinStructuredSerializerBE() override;

protected:
    bool putNull() override;
    bool putBoolean(bool value) override;
    bool putSigned(std::int64_t value) override;
    bool putUnsigned(std::uint64_t value) override;
    bool putFloat(float value) override;
    bool putDouble(double value) override;
    bool putString(std::string_view bytes) override;
    bool putText(std::string_view utf8) override;
    bool putPacked(NumberType type, void const* items, std::size_t count) override;
    bool putArrayBegin() override;
    bool putArrayEnd(bool empty) override;
    bool putStructBegin() override;
    bool putStructEnd(bool empty) override;
    bool putElementBegin(bool first) override;
    bool putEmptyElement(bool first) override;
    bool putFieldBegin(std::string_view name, bool first) override;
};

}  // namespace util::serializer
