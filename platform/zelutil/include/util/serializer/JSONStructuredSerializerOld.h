#pragma once

#include "util/Export.h"
#include "util/serializer/SequencedSerializer.h"

namespace util::serializer {

/// Writes JSON text (RFC 8259, UTF-8); docs/formats.md gives the mapping.
///
/// It refuses what JSON cannot say: NaN and infinities, and strings and field names that are not
/// UTF-8. Typed arrays become plain arrays, an empty element becomes null. One thread at a time.
class UTIL_API JSONStructuredSerializerOld : public SequencedSerializer {
public:
    /// With `compact` no white space is written; without, each field and element gets a line of its
    /// own, indented by two spaces a level. `OptionTag::Compact` overrides it.
    explicit JSONStructuredSerializerOld(bool compact) noexcept;
    ~JSONStructuredSerializerOld() override;

protected:
    bool putNull() override;
    bool putBoolean(bool value) override;
    bool putSigned(std::int64_t value) override;
    bool putUnsigned(std::uint64_t value) override;
    bool putFloat(float value) override;
    bool putDouble(double value) override;
    bool putString(std::string_view bytes) override;
    bool putText(std::string_view utf8) override;
    bool putArrayBegin() override;
    bool putArrayEnd(bool empty) override;
    bool putStructBegin() override;
    bool putStructEnd(bool empty) override;
    bool putElementBegin(bool first) override;
    bool putEmptyElement(bool first) override;
    bool putFieldBegin(std::string_view name, bool first) override;

private:
    bool putEnd(char bracket, bool empty);
    bool putSeparator(bool first);
    bool putLineBreak();
};

}  // namespace util::serializer
