#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "util/Export.h"
#include "util/Limits.h"
#include "util/serializer/IStructuredPushDeserializer.h"
#include "util/serializer/RecordSource.h"

namespace util::serializer {

class Record;
struct CborMistake;

/// Reads the binary structured format and replays it. The bytes are RFC 8949 (CBOR) with the typed
/// arrays of RFC 8746; docs/formats.md gives the mapping.
///
/// Definite and indefinite lengths are read. Typed arrays arrive through `serializeArray`, integers
/// as 64-bit integers, signed where they fit. Refused: tags other than typed arrays, keys that are
/// no strings, integers below -2^63, lengths beyond the payload, bytes after the value.
class UTIL_API AXOBinStructuredPushDeserializer : public IStructuredPushDeserializer,
                                                  public RecordSource {
public:
    /// The byte order is that of the serializer that wrote the payload; the format is big-endian by
    /// definition, so only `Big` can be read and `Little` fails in `beginDeserialize`.
    explicit AXOBinStructuredPushDeserializer(Endianess order) noexcept : order_(order) {}
    /// The same with the number of the byte order: 1 is big-endian. Any other number fails in
    /// `beginDeserialize`, as `Little` does.
    explicit AXOBinStructuredPushDeserializer(int order) noexcept
        : order_(static_cast<Endianess>(order)) {}

    bool beginDeserialize(ByteBufferReader* reader, IStructuredSerializer* target) override;
    int deserialize() override;
    bool endDeserialize() override;
    void setNestingLimit(unsigned int limit) noexcept override;
    std::size_t positionOf(std::string_view payload, std::uint32_t event) const noexcept override;

private:
    UTIL_LOCAL bool replayFails(std::string_view payload);
    UTIL_LOCAL bool failBegin(bool hasBoth);
    UTIL_LOCAL bool fail(const CborMistake& mistake, std::string_view payload, unsigned int limit,
                         Record const* record) noexcept;

    Endianess order_;
    ByteBufferReader* reader_ = nullptr;
    IStructuredSerializer* target_ = nullptr;
    unsigned int nestingLimit_ = MAX_NESTING_DEPTH;
    bool done_ = false;
    bool hasFailed_ = false;
};

}  // namespace util::serializer
